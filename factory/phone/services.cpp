#include "phone/services.h"

#include <android/frameworks/sensorservice/1.0/ISensorManager.h>
#include <cutils/properties.h>
#include <vendor/corvane/sensor/kestsensorservice/1.1/IKestSensorService.h>

#include <thread>

namespace factory {
namespace {

using Clock = std::chrono::steady_clock;

// The library's longest silence is a run that gets no event: 8 s. With its services there, more patience costs nothing.
constexpr std::chrono::seconds kWithoutService{10};
constexpr std::chrono::seconds kWithServices{30};

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

std::string Watchdog::hang(long progress) {
  if (operations_ == 0 || progress != seen_) {
    seen_ = progress;
    since_ = Clock::now();
    return "";
  }
  const auto silence = Clock::now() - since_;
  if (silence < kWithoutService) return "";
  const bool there = sensor_service_answers({}) && test_service_answers({});
  if (there && silence < kWithServices) return "";
  return there ? "nothing came back from the phone for " + std::to_string(kWithServices.count()) + " s"
               : "a service of the phone is gone, and the call to it does not come back";
}

}  // namespace factory
