// Stand-in for the generated interface IEventQueue.
#pragma once

#include <stdint.h>

#include <android/frameworks/sensorservice/1.0/types.h>
#include <hidl/Status.h>
#include <host/interface.h>

namespace android {
namespace frameworks {
namespace sensorservice {
namespace V1_0 {

struct IEventQueue : public ::android::hardware::details::Extends<IEventQueue> {
  static const char* descriptor;

  virtual ::android::hardware::Return<Result> enableSensor(int32_t sensorHandle, int32_t samplingPeriodUs,
                                                           int64_t maxBatchReportLatencyUs) = 0;
  virtual ::android::hardware::Return<Result> disableSensor(int32_t sensorHandle) = 0;
};

}  // namespace V1_0
}  // namespace sensorservice
}  // namespace frameworks
}  // namespace android
