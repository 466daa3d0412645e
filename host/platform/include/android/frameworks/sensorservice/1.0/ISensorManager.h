// Stand-in for the generated interface ISensorManager.
#pragma once

#include <functional>
#include <string>

#include <android/frameworks/sensorservice/1.0/IEventQueue.h>
#include <android/frameworks/sensorservice/1.0/IEventQueueCallback.h>
#include <android/frameworks/sensorservice/1.0/types.h>
#include <android/hardware/sensors/1.0/types.h>
#include <android/hidl/base/1.0/IBase.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <utils/Errors.h>
#include <utils/StrongPointer.h>

namespace android {
namespace frameworks {
namespace sensorservice {
namespace V1_0 {

struct ISensorManager : public ::android::hidl::base::V1_0::IBase {
  static constexpr const char* descriptor = "android.frameworks.sensorservice@1.0::ISensorManager";

  using getSensorList_cb = std::function<void(
      const ::android::hardware::hidl_vec<::android::hardware::sensors::V1_0::SensorInfo>& sensorList, Result result)>;
  virtual ::android::hardware::Return<void> getSensorList(getSensorList_cb _hidl_cb) = 0;

  using getDefaultSensor_cb =
      std::function<void(const ::android::hardware::sensors::V1_0::SensorInfo& sensor, Result result)>;
  virtual ::android::hardware::Return<void> getDefaultSensor(::android::hardware::sensors::V1_0::SensorType type,
                                                             getDefaultSensor_cb _hidl_cb) = 0;

  using createEventQueue_cb = std::function<void(const ::android::sp<IEventQueue>& eventQueue, Result result)>;
  virtual ::android::hardware::Return<void> createEventQueue(const ::android::sp<IEventQueueCallback>& callback,
                                                             createEventQueue_cb _hidl_cb) = 0;

  static ::android::sp<ISensorManager> getService(const std::string& serviceName = "default", bool getStub = false);
  ::android::status_t registerAsService(const std::string& serviceName = "default");
};

}  // namespace V1_0
}  // namespace sensorservice
}  // namespace frameworks
}  // namespace android
