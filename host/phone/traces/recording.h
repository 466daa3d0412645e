// A recording of a real sensor, read so that it can stand in for a simulated one.
#pragma once

#include <array>
#include <cstdint>
#include <istream>
#include <vector>

#include "phone/traces/recording_report.h"
#include "phone/traces/replay_option.h"
#include "phone/traces/units.h"

namespace phone {

inline constexpr int kMaxRecordedValues = 1 + kMaxChannels;

struct RecordedSample {
  int64_t time_ns = 0;  // from the first sample
  // What the event carries from its word Recording::first_word on: x, y, z; one value; lux (0 where the recording has
  // none) and channels for a light stream; channels for a colour sensor.
  std::array<float, kMaxRecordedValues> v{};
};

struct Recording {
  int sensor_type = 0;
  int axes = 0;                         // how many of `v` are used
  int first_word = 0;                   // where they stand in an event's data: 2 for colour sensors, else 0
  std::vector<RecordedSample> samples;  // never empty; in the file's order, duplicate and backward times kept
  RecordingReport report;
};

// Reads what `replay` names for its sensor type. Throws PhoneError when nothing can be used, saying what to try.
Recording load_recording(const ReplayOption& replay);
// The same from memory; replay.file serves as the name.
Recording load_recording(std::istream& in, const ReplayOption& replay);

}  // namespace phone
