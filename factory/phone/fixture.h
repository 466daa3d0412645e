// What stands around the phone: on a real station people, on a simulated phone its world. The only door between the
// application and a simulated phone.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "phone/options.h"
#include "record/record.h"

namespace factory {

// One message to the hub and its answer: sensor_type, msg_type and 16 data words each.
struct HubMessage {
  int64_t time_ns = 0;  // CLOCK_REALTIME
  int32_t request[18] = {};
  int32_t reply[18] = {};
  bool answered = false;  // false: the call failed on its way
  std::string note;       // what the hub remarks
};

// What is asked for of a run, beside its plan.
struct RunOrder : record::Order {
  bool stop_on_failure = false;  // whatever the plan says
};

// A run as it is asked for.
struct RunHead {
  std::string plan_file;  // as it was named
  std::string plan_bytes;
  std::string speed;  // of its simulated phone
  RunOrder order;
};

class Fixture {
 public:
  using Settings = std::vector<std::pair<std::string, std::string>>;  // as set_world() takes them
  struct Arranged {
    std::vector<std::string> problems;
    std::vector<std::string> notes;  // for the record
  };

  virtual ~Fixture() = default;

  // The folder that stands for the phone's "/".
  virtual std::string device_root() const = 0;

  // Facts about the phone, in the order in which people read them: directory, profile, seed ...
  virtual std::vector<std::pair<std::string, std::string>> facts() const = 0;
  // What an operator should know before trusting a result: gaps and unit slips of a recording ...
  virtual std::vector<std::string> remarks() const = 0;

  virtual std::map<std::string, std::string> world() const = 0;
  // Returns an empty text, or what is wrong with the key or the value. On a station it asks the operator and comes back
  // when it is done, so that a caller need not know the difference.
  virtual std::string set_world(const std::string& key, const std::string& value) = 0;
  // Whether a person sets what is wanted.
  virtual bool asks_operator() const { return false; }
  // Sets what belongs together; an operator is asked once.
  virtual Arranged arrange(const Settings& settings) {
    Arranged out;
    for (const auto& [key, value] : settings) {
      std::string problem = set_world(key, value);
      if (!problem.empty()) out.problems.push_back(std::move(problem));
    }
    return out;
  }

  virtual void on_hub_message(std::function<void(const HubMessage&)> listener) = 0;

  // How a run goes on, for a fixture that keeps account of it.
  virtual void run_begins(const RunHead& /*head*/) {}
  virtual void attempt_begins(int /*step*/, int /*attempt*/, const std::string& /*name*/) {}
  virtual void run_ends(const record::Run& /*run*/) {}
  // A reading of a clock that the run tells or judges, and the one to use.
  virtual int64_t time_ns(int64_t measured) { return measured; }
  // What depends on how soon something was looked at, and what to go by.
  virtual int64_t by_chance(int64_t seen) { return seen; }
  // Ctrl-C came. A fixture without anything to put back may end the program here.
  virtual void interrupted() {}
};

// What a program's phones are: simulated ones, with a world to set and options that make them, or the one real phone
// that it runs on, whose fixture people set.
bool phones_are_simulated();

// Opens the fixture that the options ask for; the services are reachable while it lives. Throws AppError.
std::unique_ptr<Fixture> open_fixture(const Options& options);

// Who is asked to set a fixture.
class Asker {
 public:
  enum class Answer { done, skip, abort, interrupted };

  virtual ~Asker() = default;
  // Whether there is somebody to ask.
  virtual bool there() const { return true; }
  // Waits for the answer, or for `interrupted`. `instructions`: a sentence for each setting.
  virtual Answer ask(const Fixture::Settings& settings, const std::vector<std::string>& instructions,
                     const std::atomic<bool>& interrupted) = 0;
};

// A station where a person sets the fixture: what is wanted is asked for on the terminal, or by another asker, and
// counts once it is confirmed. What a program cannot know on a station, it does not know here either: of the world only
// what was confirmed. A simulated phone's world follows what the operator confirms, so that a plan can be tried without
// a station. Without a terminal everything that is asked for is a problem, and the phone works all the same.
// `interrupted` ends a wait for the operator, who can set it too: by Ctrl-C, or by the answer that aborts.
std::unique_ptr<Fixture> ask_operator(std::unique_ptr<Fixture> phone, std::shared_ptr<Asker> asker,
                                      const std::atomic<bool>& interrupted);
// Asks on the process's terminal.
std::shared_ptr<Asker> terminal_asker();
// Throws AppError(kUsage) where there is no terminal to ask on.
void require_terminal();

// Where the options want a recording: stands between a run and its phone, and keeps what passes. Throws AppError.
std::unique_ptr<Fixture> record_fixture(std::unique_ptr<Fixture> phone, const Options& options);

}  // namespace factory
