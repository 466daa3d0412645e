#include "store/patience.h"

#include <sys/socket.h>

namespace factory::store {

Patience::Patience(int socket, double seconds) : socket_(socket), span_(seconds) {
  if (socket_ >= 0) thread_ = std::thread([this] { watch(); });
}

Patience::~Patience() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    over_ = true;
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void Patience::renew() {
  const std::lock_guard<std::mutex> lock(mutex_);
  end_ = Clock::now() + span_;
}

void Patience::watch() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (!over_ && Clock::now() < end_) changed_.wait_until(lock, end_);
  if (!over_) shutdown(socket_, SHUT_RDWR);
}

}  // namespace factory::store
