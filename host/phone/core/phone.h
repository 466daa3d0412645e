// A simulated phone: a directory, its sensors, its hub, and the services a process on it can reach.
#pragma once

#include <json/json.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "phone/core/world.h"

namespace phone {

// What is wrong with a phone directory, a profile, a recording or an option; the text names it.
class PhoneError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Of these the options are to blame: an unknown fault or profile, a recording that cannot be read.
class OptionError : public PhoneError {
 public:
  using PhoneError::PhoneError;
  // A word is unknown.
  OptionError(const std::string& text, std::string unknown, std::vector<std::string> known_words,
              std::string lists_all = "")
      : PhoneError(text), word(std::move(unknown)), known(std::move(known_words)), lists(std::move(lists_all)) {}
  const std::string word;
  std::vector<std::string> known;  // in place of it; empty: something else is wrong
  std::string lists;               // says what has them all, where they are many
};

// One message to the hub and its answer, as they crossed the test service.
struct HubExchange {
  int64_t time_ns = 0;       // CLOCK_REALTIME
  int32_t request[18] = {};  // sensor_type, msg_type, data words
  int32_t reply[18] = {};
  bool answered = false;  // false: the transport failed and no reply came
  std::string note;       // what the hub remarks, for example an unused word that was not zero
};

struct PhoneOptions {
  std::string directory;              // empty: a temporary one, removed with the phone
  std::string profile = "reference";  // a shipped profile's name or a JSON file, for a directory that is new
  std::optional<uint64_t> seed;       // for a directory that is new: draws the errors that calibration must find
  double speed = 1;                   // sensor time over real time; infinity: no sleeping at all
  std::vector<std::string> replays;   // "TAG=FILE[,key=value]...": recordings in place of sensors
  std::vector<std::string> faults;    // "NAME[:ARGUMENTS]": see docs/faults.md
  bool looks = false;                 // a directory that cannot be written will do: what changes is not kept
};

// One process at a time holds a phone directory, and one phone at a time lives in a process: it owns the process's
// services, properties and device root while it lives. The application's thread calls; sensor events come from the
// event queues' threads.
class Phone {
 public:
  // Opens (or makes) the phone and registers its services. Throws PhoneError.
  static std::unique_ptr<Phone> open(const PhoneOptions& options);
  virtual ~Phone() = default;

  virtual const std::string& directory() const = 0;
  virtual std::string profile_name() const = 0;
  virtual uint64_t seed() const = 0;
  // What a person should know about this phone: unit slips and gaps of recordings, skipped lines of files.
  virtual std::vector<std::string> remarks() const = 0;

  virtual World world() const = 0;
  virtual void set_world(const World& world) = 0;
  // From now on this of the world is other than it is set, which world() does not tell: a fixture that is wrong.
  // Returns an empty text, or what is wrong with the key or the value; an empty value ends it.
  virtual std::string disturb(const std::string& key, const std::string& value) = 0;

  // What a perfect sensor of this type would report now, one number per value (three for an accelerometer). Empty where
  // the phone has no such sensor or, under a recording, no truth is known.
  virtual std::vector<float> truth(int sensor_type) const = 0;
  // The same in another world.
  virtual std::vector<float> truth(int sensor_type, const World& world) const = 0;

  // The hub's store, by name, for people and tests; see docs/formats/hub-registry.md.
  virtual Json::Value hub_state() const = 0;
  // Called for every message, on the thread that sent it. Empty: nobody listens.
  virtual void on_hub_message(std::function<void(const HubExchange&)> listener) = 0;

  // What a real one does: `reboot` drops the properties and states that do not outlive it, `factory_reset` restores the
  // hub's defaults and removes the calibration files.
  virtual void reboot() = 0;
  virtual void factory_reset() = 0;
};

// Names of the shipped profiles.
std::vector<std::string> shipped_profiles();

}  // namespace phone
