// A child process in a process group of its own, and what is exchanged with it.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "station/runner.h"

namespace factory::station {

// Of its runner's thread.
class Child {
 public:
  using Clock = std::chrono::steady_clock;

  // Throws AppError where it cannot be started.
  explicit Child(const Runner::Order& order);
  // Nothing of its group is left.
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  // Waits a moment for either side: hands on whole lines, and writes what is to be said. False: it is gone, with all
  // that it said.
  bool exchange(int wake, std::string* unsaid, const std::function<bool(const std::string&)>& on_line);

  // Its input ends; a while later it is asked to go, then killed. `why`: what is wrong with it; the first one counts.
  void end(const record::Text& why) { end(why, leaving_); }
  void end(const record::Text& why, std::chrono::milliseconds leaving);
  Clock::duration silent_for() const { return Clock::now() - heard_; }
  void forgive_silence() { heard_ = Clock::now(); }
  bool ending() const { return ending_.has_value(); }

  RunnerEnd ended() const;

 private:
  void read_lines(const std::function<bool(const std::string&)>& on_line);
  void read_words();
  void write_some(std::string* unsaid, bool is_read);
  void urge();
  void look_for_exit();

  pid_t pid_ = -1;
  int in_ = -1, out_ = -1, err_ = -1, exit_ = -1;  // its streams, and what says that it has ended
  std::string unread_, tail_;
  record::Text why_;
  Clock::time_point heard_ = Clock::now();
  std::optional<Clock::time_point> ending_, exited_;
  std::chrono::milliseconds leaving_;
  int signals_ = 0;  // sent so far
  int code_ = -1;
};

}  // namespace factory::station
