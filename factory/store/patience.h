// Ends a wait for a server that has fallen silent: shuts the connection down, which its reader then sees.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace factory::store {

// Begins before the first question and ends before the connection.
class Patience {
 public:
  // `socket`: below 0 for a file, which needs none.
  Patience(int socket, double seconds);
  ~Patience();

  void renew();

 private:
  using Clock = std::chrono::steady_clock;

  void watch();

  const int socket_;
  const std::chrono::duration<double> span_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool over_ = false;  // guarded by mutex_, and so is the following
  std::chrono::time_point<Clock, std::chrono::duration<double>> end_ = Clock::now() + span_;
  std::thread thread_;
};

}  // namespace factory::store
