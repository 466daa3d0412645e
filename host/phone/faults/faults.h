// What can be wrong with a phone: faults asked for by name, as "NAME" or "NAME:ARGUMENT,ARGUMENT".
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace phone {

enum class FaultId {
  sensors_absent,
  sensors_vanish,
  sensors_fail,
  sensors_dead,
  hub_absent,
  hub_vanish,
  hub_dead,
  hub_fail,
  hub_slow,
  hub_word,
  clock_step,
  list_refused,
  queue_refused,
  queue_never,
  enable_refused,
  silent,
  stuck,
  motion,
  drift,
  out_of_range,
  not_a_number,
  duplicate,
  late,
  burst,
  straggler,
  wrong_handle,
  wrong_type,
  brightness_missing,
  brightness_read_only,
  brightness_clamped,
  persist_full,
  persist_read_only,
  persist_absent,
  truncated,
  garbled,
  no_property,
  property,
  wrong_fixture,
};

struct FaultInfo {
  FaultId id;
  const char* name;
  const char* arguments;  // as a person writes them; [] may be left out
  const char* what;       // one line
};

// "motion[:SENSOR[,RMS]]"
std::string usage(const FaultInfo& info);

// Every fault, in the order in which people read them.
const std::vector<FaultInfo>& fault_list();

struct Fault {
  static constexpr int kAllWords = -1;
  FaultId id = FaultId::silent;
  int sensor_type = 0;  // 0: every sensor
  double amount = 0;
  int code = 0;  // result, message code or count
  int word = 0;
  int32_t bits = 0;  // a forced hub word
  std::string text;
};

class Faults {
 public:
  // Throws PhoneError: an unknown name with the list of the valid ones, or what is wrong with the arguments.
  static Faults parse(const std::vector<std::string>& texts);

  const std::vector<Fault>& all() const { return faults_; }
  // Null when there is none; a fault of one sensor outranks one of every sensor.
  const Fault* find(FaultId id, int sensor_type = 0) const;
  // Whether one of these faults ends what it is about after `count` calls.
  bool is_over(std::initializer_list<FaultId> ids, int count) const;
  std::vector<const Fault*> each(FaultId id) const;

 private:
  std::vector<Fault> faults_;
};

}  // namespace phone
