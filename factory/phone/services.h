// What the phone says of itself, whether its services are there, and what ends a call that never comes back because one
// of them died.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace factory {

// A property's value; empty: not set.
std::string property(const char* name);

// Asked before the library is: on a phone its look-up of a service that is listed but does not run waits for ever.
// Wait for it as long as `patience`; any thread.
bool sensor_service_answers(std::chrono::milliseconds patience);
bool test_service_answers(std::chrono::milliseconds patience);

class Watchdog {
 public:
  // `progress` changes with everything that the library does; `bark` is told why, on the watchdog's own thread, and
  // need not come back.
  Watchdog(std::function<long()> progress, std::function<void(const std::string& why)> bark);
  ~Watchdog();
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

  // While one lives, a silence that is longer than any that the library's own time limits allow is a hang.
  class Operation {
   public:
    explicit Operation(Watchdog& watchdog) : watchdog_(watchdog) { ++watchdog_.operations_; }
    ~Operation() { --watchdog_.operations_; }
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

   private:
    Watchdog& watchdog_;
  };

 private:
  void watch();

  const std::function<long()> progress_;
  const std::function<void(const std::string&)> bark_;
  std::atomic<int> operations_{0};
  std::mutex mutex_;
  std::condition_variable ended_;
  bool end_ = false;  // guarded by mutex_
  std::thread thread_;
};

}  // namespace factory
