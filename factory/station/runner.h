// One slot's runner: a child process for each run, spoken to over its standard streams, a line at a time. A thread of
// its own starts it, reads it and ends it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "record/record.h"

namespace factory::station {

// How a run ended.
struct RunnerEnd {
  int code = -1;           // the program's exit code; -1: it has none
  record::Text why;        // what was wrong with it; without words: nothing
  std::string last_words;  // the end of its standard error, made safe
};

class Runner {
 public:
  struct Order {
    std::vector<std::string> command;  // the program and its arguments
    std::string folder;                // where it starts
    std::string first_line;
    std::chrono::milliseconds leaving{5000};    // that it may take to put things back when its input ends
    std::chrono::duration<double> silence{0};   // longer than so it must not be silent, unless it is patient()
    std::vector<std::string> environment = {};  // "NAME=VALUE", besides the station's own
    std::function<void()> before = {};          // on the runner's thread, before the child is started
  };

  // Both are called on the runner's thread. `on_line`: what came, without its line feed; false: nonsense, which ends
  // the run. `on_end`: nothing of the child is left.
  Runner(std::function<bool(const std::string& line)> on_line, std::function<void(const RunnerEnd& end)> on_end);
  ~Runner();

  // Any thread, and so are the following. One run after the other: the next one when on_end() was called.
  void start(Order order);
  void say(const std::string& line);
  // Ends its standard input, and it by a signal where it does not go.
  void stop();
  // Ends what runs as stop() does, and waits for it. Nothing is called any more, and nothing can be started.
  void leave();
  // While somebody is waited for it may be silent as long as it likes.
  void patient(bool is);

 private:
  void work();
  void run(const Order& order);
  void wake();

  const std::function<bool(const std::string&)> on_line_;
  const std::function<void(const RunnerEnd&)> on_end_;
  const int wake_;  // an event counter: something below was changed
  std::mutex mutex_;
  std::condition_variable changed_;
  std::optional<Order> order_;  // guarded by mutex_, and so are the following
  std::string unsaid_;
  bool stopped_ = false;
  bool patient_ = false;
  bool leaves_ = false;
  std::thread thread_;
};

}  // namespace factory::station
