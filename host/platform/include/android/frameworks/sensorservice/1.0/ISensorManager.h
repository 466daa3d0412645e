// Stand-in for the generated interface ISensorManager.
#pragma once

#include <stdint.h>

#include <functional>

#include <android/frameworks/sensorservice/1.0/IDirectReportChannel.h>
#include <android/frameworks/sensorservice/1.0/IEventQueue.h>
#include <android/frameworks/sensorservice/1.0/IEventQueueCallback.h>
#include <android/frameworks/sensorservice/1.0/types.h>
#include <android/hardware/sensors/1.0/types.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <host/interface.h>
#include <utils/StrongPointer.h>

namespace android {
namespace frameworks {
namespace sensorservice {
namespace V1_0 {

struct ISensorManager : public ::android::hardware::details::ExtendsService<ISensorManager> {
  static const char* descriptor;

  using getSensorList_cb = std::function<void(
      const ::android::hardware::hidl_vec<::android::hardware::sensors::V1_0::SensorInfo>& sensorList, Result result)>;
  virtual ::android::hardware::Return<void> getSensorList(getSensorList_cb _hidl_cb) = 0;

  using getDefaultSensor_cb =
      std::function<void(const ::android::hardware::sensors::V1_0::SensorInfo& sensor, Result result)>;
  virtual ::android::hardware::Return<void> getDefaultSensor(::android::hardware::sensors::V1_0::SensorType type,
                                                             getDefaultSensor_cb _hidl_cb) = 0;

  using createAshmemDirectChannel_cb =
      std::function<void(const ::android::sp<IDirectReportChannel>& chan, Result result)>;
  virtual ::android::hardware::Return<void> createAshmemDirectChannel(const ::android::hardware::hidl_memory& mem,
                                                                      uint64_t size,
                                                                      createAshmemDirectChannel_cb _hidl_cb) = 0;

  using createGrallocDirectChannel_cb =
      std::function<void(const ::android::sp<IDirectReportChannel>& chan, Result result)>;
  virtual ::android::hardware::Return<void> createGrallocDirectChannel(const ::android::hardware::hidl_handle& buffer,
                                                                       uint64_t size,
                                                                       createGrallocDirectChannel_cb _hidl_cb) = 0;

  using createEventQueue_cb = std::function<void(const ::android::sp<IEventQueue>& eventQueue, Result result)>;
  virtual ::android::hardware::Return<void> createEventQueue(const ::android::sp<IEventQueueCallback>& callback,
                                                             createEventQueue_cb _hidl_cb) = 0;
};

}  // namespace V1_0
}  // namespace sensorservice
}  // namespace frameworks
}  // namespace android
