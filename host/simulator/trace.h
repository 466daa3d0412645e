// The trace of a recorded run: what its phone, and the fixture around it, answered and delivered; a JSON object a line.
#pragma once

#include <android/hardware/sensors/1.0/types.h>
#include <json/json.h>

#include <deque>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "phone/fixture.h"

namespace factory::trace {

using SensorEvent = ::android::hardware::sensors::V1_0::Event;

// What the interceptors before the phone's services write to, or read from. Any thread may call.
class Trace {
 public:
  virtual ~Trace() = default;

  // As the fixture is told them.
  virtual void run_begins(const RunHead& /*head*/) {}
  virtual void attempt_begins(int step, int attempt, const std::string& name) = 0;
  virtual void run_ends(const record::Run& /*record*/) {}
  virtual void interrupted() {}

  // Something is asked of the phone: `real` asks it, where there is one.
  virtual Json::Value ask(const std::string& name, const Json::Value& of, const std::function<Json::Value()>& real) = 0;
  // Whether this thread is in `real`.
  virtual bool asking() const { return false; }

  // What came since the enabling of a sensor that has this number: is noted, or was.
  virtual void note(int /*enabling*/, const SensorEvent& /*event*/) {}
  virtual std::vector<SensorEvent> events(int /*enabling*/) { return {}; }
  // All of it was delivered.
  virtual void delivered(int /*enabling*/) {}
};

// Attempts, and what is asked, as they are looked up. Which attempt a sensor's end falls into is chance: the thread
// that delivered the last event brings it about.
std::string attempt_key(int step, int attempt);
std::string key(const std::string& attempt, const std::string& name, const Json::Value& of);
inline constexpr char kFind[] = "find";
inline constexpr char kEnable[] = "enable";
inline constexpr char kDisable[] = "disable";

// Stands before the fixture of a phone, and before the services that are looked up while it lives: every question that
// a run asks of the services, the phone's files and the fixture goes through the trace. `real` is null in a replay:
// then the answers are the recorded ones.
std::unique_ptr<Fixture> traced_fixture(std::unique_ptr<Trace> trace, std::unique_ptr<Fixture> real, std::string root);

struct Recorded {
  Json::Value head;                                        // the first line
  std::map<std::string, std::deque<Json::Value>> answers;  // by their key, in order
  std::map<int, std::vector<SensorEvent>> events;          // by the enabling's number
  std::map<int, int> on;                                   // enablings that no line ends, and a 1
  std::string cut;                                         // why the last line is not one; empty when it is
};

// The text of a line with a sum of its bytes in it: a line that was damaged is refused, whatever it says.
std::string sealed(std::string line);

// Throws AppError where a line is missing, or is not as a recorder writes it.
Recorded read_trace(const std::string& file);
// The same of lines whose sums nobody looks at, or that have none.
Recorded read_trace(std::istream& in, const std::string& name, bool sums = false);

}  // namespace factory::trace
