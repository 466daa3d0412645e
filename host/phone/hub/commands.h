// The message codes of docs/formats/hub-record.md: one table, and what each code does to the store.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>

#include "phone/hub/record.h"
#include "phone/hub/store.h"

namespace phone {

// What differs from hub to hub.
struct HubChips {
  bool splits_crosstalk = false;         // code 7 answers low and high byte
  bool runs_colour_calibration = false;  // codes 39 and 40 are understood
  int colour_run_ms = 300;               // real time that such a run takes
  float tof_target_mm = 100;             // distance of the fixture's target at time-of-flight step 13
};

// How often code 2 or code 33 arrived for a gyroscope: the run-time bias estimate starts anew at each change.
struct GyroscopeBiasEpoch {
  uint32_t relearn = 0;  // code 2
  uint32_t clear = 0;    // code 33
};

// The hub's own colour run. One at a time.
struct ColourRunState {
  static constexpr int32_t kRunning = -1;
  static constexpr int32_t kDone = 0;
  static constexpr int32_t kNoGolden = 1;
  static constexpr int32_t kBadScale = 2;
  static constexpr int32_t kNoRun = 3;
  static constexpr int32_t kRunNotStored = 4;

  int chip_type = 0;  // plain type
  int32_t command = 0;
  int32_t result = kNoRun;
  uint32_t number = 0;  // counts the runs, so that a late end finds its own run gone
};

// What lives in the hub's memory only.
struct HubRuntime {
  std::map<int, GyroscopeBiasEpoch> bias_epochs;
  ColourRunState colour_run;
};

// What a command needs to know from outside, taken before the hub's lock.
struct Measured {
  Channels values{};
  bool dark_box = false;
};

// What is measured before a command runs.
enum class Measure { kNothing, kLux, kPanel, kProximity, kSar, kTof, kChannels, kDark };

struct CommandContext {
  const HubRecord& request;
  HubRecord& reply;
  const HubChips& chips;
  const Measured& measured;
  Store& store;
  HubRuntime& runtime;
  std::string& note;
  bool known_type;  // false only for codes that answer an unknown type
  bool changed = false;
};

struct Command {
  int32_t code;
  const char* name;
  bool (*serves)(int sensor_type);
  bool answers_unknown;  // with the defaults
  uint16_t words;        // bit n: the request may use word n
  bool counted;          // and those that the count in word 0 names
  Measure measure;
  void (*run)(CommandContext& c);
};

// Null for a code that no hub knows.
const Command* find_command(int32_t code);

// Whether `words` of the request that the command does not use are zero; else a remark is added to `note`.
void remark_unused_words(const Command& command, const HubRecord& request, std::string* note);
void add_note(std::string* note, const std::string& text);

// What a colour run finds at its end; sets its result.
void end_colour_run(const Channels& raw, ColourRunState* run, LightStore* light);

}  // namespace phone
