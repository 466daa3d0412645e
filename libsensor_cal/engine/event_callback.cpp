#include <SensorCalibration.h>

using ::android::hardware::Return;
using ::android::hardware::Void;
using ::android::hardware::sensors::V1_0::Event;

::android::sp<SensorEventCallback> msensorEventCallback;

SensorEventCallback::SensorEventCallback(SensorCalibration* cal) : calibration(cal) {}

SensorEventCallback::~SensorEventCallback() = default;

Return<void> SensorEventCallback::onEvent(Event const& event) {
  const std::lock_guard<std::mutex> lock(mutex);
  if (calibration != nullptr) calibration->processEvent(event);
  return Void();
}
