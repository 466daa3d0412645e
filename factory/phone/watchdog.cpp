#include "phone/watchdog.h"

#include <chrono>
#include <utility>

#include "phone/services.h"

namespace factory {
namespace {

using Clock = std::chrono::steady_clock;

// The library's longest silence is a run that gets no event: 8 s. With its services there, more patience costs nothing.
constexpr std::chrono::seconds kWithoutService{10};
constexpr std::chrono::seconds kWithServices{30};
constexpr std::chrono::milliseconds kPause{100};

}  // namespace

Watchdog::Watchdog(std::function<long()> progress, std::function<void(const std::string&)> bark)
    : progress_(std::move(progress)), bark_(std::move(bark)), thread_([this] { watch(); }) {}

Watchdog::~Watchdog() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    end_ = true;
  }
  ended_.notify_all();
  thread_.join();
}

void Watchdog::watch() {
  long seen = 0;
  auto since = Clock::now();
  std::unique_lock<std::mutex> lock(mutex_);
  while (!ended_.wait_for(lock, kPause, [this] { return end_; })) {
    const long now = progress_();
    if (operations_ == 0 || now != seen) {
      seen = now;
      since = Clock::now();
      continue;
    }
    const auto silence = Clock::now() - since;
    if (silence < kWithoutService) continue;
    const bool there = sensor_service_answers({}) && test_service_answers({});
    if (there && silence < kWithServices) continue;
    lock.unlock();
    bark_(there ? "nothing came back from the phone for " + std::to_string(kWithServices.count()) + " s"
                : "a service of the phone is gone, and the call to it does not come back");
    return;
  }
}

}  // namespace factory
