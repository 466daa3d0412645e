// Ends what hangs: a call that never comes back because its service died meanwhile.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace factory {

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
