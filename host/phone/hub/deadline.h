// One call to come later, on a thread of its own.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

namespace phone {

// Any thread may start one, with any lock held: the call is made with no lock of this object held.
class Deadline {
 public:
  explicit Deadline(std::function<void()> call) : call_(std::move(call)) {}
  ~Deadline() { stop(); }
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;

  void start(std::chrono::milliseconds delay);
  // No call is under way when it returns, and none will come. Not to be called from inside the call.
  void stop();

 private:
  using Clock = std::chrono::steady_clock;

  void wait();

  const std::function<void()> call_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::optional<Clock::time_point> due_;  // guarded by mutex_
  bool stop_ = false;                     // guarded by mutex_
  std::thread thread_;                    // guarded by mutex_; started with the first deadline
};

}  // namespace phone
