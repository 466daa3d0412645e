// What the hub and the device's files hold of a sensor before a calibration changes it, and the way back.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "phone/session.h"
#include "record/record.h"
#include "sensors/stored_values.h"

namespace factory {

using record::HeldValue;

// The light sensor's file, from "/": the library writes it in place, and a process that is killed meanwhile leaves a
// part of it. A copy of what it held lies beside it for as long as a step may write it.
struct LightFile {
  static constexpr char kPath[] = "mnt/vendor/nvcfg/sensor/lightSensorCali.json";
  static constexpr char kCopy[] = "mnt/vendor/nvcfg/sensor/lightSensorCali.json.before";

  bool there = false;
  bool whole = false;   // JSON, as its readers want it
  bool copied = false;  // a step that might have written it was ended from outside
};
LightFile light_file();
// Puts the copy back where the file is not whole, and takes the copy away. Throws AppError.
void repair_light_file();

class HeldValues {
 public:
  // Which values a calibration may change. Nothing is read yet.
  HeldValues(int type, int param, bool writes_golden);
  // One stored value; a name that no stored value has is something that nobody can read back.
  HeldValues(int type, const std::string& value, int count);

  // What the API has no way to put back; empty: everything can be.
  const std::vector<std::string>& irreversible() const { return irreversible_; }

  ~HeldValues();
  HeldValues(const HeldValues&) = delete;
  HeldValues& operator=(const HeldValues&) = delete;

  // Reads everything, or says why that cannot be done.
  std::optional<record::Reason> note(Session& session);

  const std::vector<HeldValue>& before() const { return before_; }
  // What is held now.
  std::vector<HeldValue> now(Session& session) const;

  // Writes back what has changed and reads it again. Says in the attempt what came of it.
  void put_back(Session& session, record::Attempt* attempt) const;

 private:
  struct Wanted {
    const StoredValue* value;
    int count;
  };
  void want(const StoredValue& value, int count);
  // Which of the values do not read as they were before.
  std::vector<size_t> changed(Session& session) const;
  bool misled(const record::Attempt& attempt) const;
  std::string put_back_value(Session& session, size_t which) const;

  const int type_;
  std::vector<Wanted> wanted_;
  std::vector<std::string> irreversible_;
  std::vector<std::string> files_;  // kept byte by byte
  std::vector<HeldValue> before_;
  std::map<std::string, std::optional<std::string>> file_bytes_;
};

}  // namespace factory
