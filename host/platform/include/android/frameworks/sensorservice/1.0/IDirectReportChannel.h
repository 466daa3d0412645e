// Stand-in for the generated interface IDirectReportChannel.
#pragma once

#include <stdint.h>

#include <functional>

#include <android/frameworks/sensorservice/1.0/types.h>
#include <android/hardware/sensors/1.0/types.h>
#include <hidl/Status.h>
#include <host/interface.h>

namespace android {
namespace frameworks {
namespace sensorservice {
namespace V1_0 {

struct IDirectReportChannel : public ::android::hardware::details::Extends<IDirectReportChannel> {
  static const char* descriptor;

  using configure_cb = std::function<void(int32_t token, Result result)>;
  virtual ::android::hardware::Return<void> configure(int32_t sensorHandle,
                                                      ::android::hardware::sensors::V1_0::RateLevel rate,
                                                      configure_cb _hidl_cb) = 0;
};

}  // namespace V1_0
}  // namespace sensorservice
}  // namespace frameworks
}  // namespace android
