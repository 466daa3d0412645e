// Stand-in for the generated interface IEventQueueCallback.
#pragma once

#include <android/hardware/sensors/1.0/types.h>
#include <hidl/Status.h>
#include <host/interface.h>

namespace android {
namespace frameworks {
namespace sensorservice {
namespace V1_0 {

struct IEventQueueCallback : public ::android::hardware::details::Extends<IEventQueueCallback> {
  static const char* descriptor;

  virtual ::android::hardware::Return<void> onEvent(const ::android::hardware::sensors::V1_0::Event& event) = 0;
};

}  // namespace V1_0
}  // namespace sensorservice
}  // namespace frameworks
}  // namespace android
