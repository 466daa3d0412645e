#include "phone/services.h"

#include <android/frameworks/sensorservice/1.0/ISensorManager.h>
#include <cutils/properties.h>
#include <vendor/corvane/sensor/kestsensorservice/1.1/IKestSensorService.h>

#include <utility>

namespace factory {
namespace {

using Clock = std::chrono::steady_clock;

// The library's longest silence is a run that gets no event: 8 s. With its services there, more patience costs nothing.
constexpr std::chrono::seconds kWithoutService{10};
constexpr std::chrono::seconds kWithServices{30};
constexpr std::chrono::milliseconds kWatch{100};

template <typename Service>
bool answers(std::chrono::milliseconds patience) {
  constexpr std::chrono::milliseconds kPause{20};
  const auto until = Clock::now() + patience;
  while (Service::tryGetService("default") == nullptr) {
    if (Clock::now() >= until) return false;
    std::this_thread::sleep_for(kPause);
  }
  return true;
}

}  // namespace

std::string property(const char* name) {
  char value[PROPERTY_VALUE_MAX];
  property_get(name, value, "");
  return value;
}

bool sensor_service_answers(std::chrono::milliseconds patience) {
  return answers<::android::frameworks::sensorservice::V1_0::ISensorManager>(patience);
}

bool test_service_answers(std::chrono::milliseconds patience) {
  return answers<::vendor::corvane::sensor::kestsensorservice::V1_1::IKestSensorService>(patience);
}

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
  while (!ended_.wait_for(lock, kWatch, [this] { return end_; })) {
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
