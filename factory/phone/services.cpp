#include "phone/services.h"

#include <android/frameworks/sensorservice/1.0/ISensorManager.h>
#include <vendor/corvane/sensor/kestsensorservice/1.1/IKestSensorService.h>

#include <thread>

namespace factory {
namespace {

template <typename Service>
bool answers(std::chrono::milliseconds patience) {
  constexpr std::chrono::milliseconds kPause{20};
  const auto until = std::chrono::steady_clock::now() + patience;
  while (Service::tryGetService("default") == nullptr) {
    if (std::chrono::steady_clock::now() >= until) return false;
    std::this_thread::sleep_for(kPause);
  }
  return true;
}

}  // namespace

bool sensor_service_answers(std::chrono::milliseconds patience) {
  return answers<::android::frameworks::sensorservice::V1_0::ISensorManager>(patience);
}

bool test_service_answers(std::chrono::milliseconds patience) {
  return answers<::vendor::corvane::sensor::kestsensorservice::V1_1::IKestSensorService>(patience);
}

}  // namespace factory
