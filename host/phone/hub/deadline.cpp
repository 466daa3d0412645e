#include "phone/hub/deadline.h"

namespace phone {

void Deadline::stop() {
  std::thread thread;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
    thread.swap(thread_);
  }
  wake_.notify_all();
  if (thread.joinable()) thread.join();
}

void Deadline::start(std::chrono::milliseconds delay) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (stop_) return;
  due_ = Clock::now() + delay;
  if (!thread_.joinable()) thread_ = std::thread(&Deadline::wait, this);
  wake_.notify_all();
}

void Deadline::wait() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (!stop_) {
    if (!due_) {
      wake_.wait(lock);
    } else if (Clock::now() < *due_) {
      const Clock::time_point until = *due_;  // a copy: start() may replace it meanwhile
      wake_.wait_until(lock, until);
    } else {
      due_.reset();
      lock.unlock();
      call_();
      lock.lock();
    }
  }
}

}  // namespace phone
