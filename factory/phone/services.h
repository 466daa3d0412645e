// What the phone says of itself, whether its services are there, and what notices a call that never comes back because
// one of them died.
#pragma once

#include <atomic>
#include <chrono>
#include <string>

namespace factory {

// A property's value; empty: not set.
std::string property(const char* name);

// Asked before the library is: on a phone its look-up of a service that is listed but does not run waits for ever.
// Wait for it as long as `patience`; any thread.
bool sensor_service_answers(std::chrono::milliseconds patience);
bool test_service_answers(std::chrono::milliseconds patience);

// Notices where a silence is longer than any that the library's own time limits allow: a call hangs.
class Watchdog {
  using Clock = std::chrono::steady_clock;

 public:
  // A call to the phone is under way while one lives.
  class Operation {
   public:
    explicit Operation(Watchdog& watchdog) : watchdog_(watchdog) { ++watchdog_.operations_; }
    ~Operation() { --watchdog_.operations_; }
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;

   private:
    Watchdog& watchdog_;
  };

  // Why a call will not come back; empty: it may. Asked several times a second, by one thread, with a number that
  // changes with everything that the library does.
  std::string hang(long progress);

  // Until it goes, a wait that is still under way when `limit` is over is overdue: its end may have gone away with a
  // clock that was set. One at a time.
  class Limit {
   public:
    Limit(Watchdog& watchdog, Clock::duration limit) : watchdog_(watchdog) { watchdog_.due_ = Clock::now() + limit; }
    ~Limit() { watchdog_.due_ = Clock::time_point::max(); }
    Limit(const Limit&) = delete;
    Limit& operator=(const Limit&) = delete;

   private:
    Watchdog& watchdog_;
  };
  bool overdue() const { return Clock::now() >= due_.load(); }

 private:
  std::atomic<int> operations_{0};
  long seen_ = 0;  // and since when; of the thread that asks
  Clock::time_point since_;
  std::atomic<Clock::time_point> due_{Clock::time_point::max()};
};

}  // namespace factory
