// An application's event queue.
#pragma once

#include <android/frameworks/sensorservice/1.0/IEventQueue.h>

#include <memory>

#include "phone/sensors/stage.h"

namespace phone {

// Any thread may call, also from inside the callback. The destructor ends the deliveries and waits for the one under
// way, unless that one is what it is called from.
class EventQueue : public ::android::frameworks::sensorservice::V1_0::IEventQueue {
 public:
  EventQueue(std::shared_ptr<Stage> stage, const ::android::sp<IEventQueueCallback>& callback)
      : stage_(std::move(stage)), delivery_(stage_->join(callback)) {}
  ~EventQueue() override { stage_->leave(delivery_); }

  ::android::hardware::Return<ServiceResult> enableSensor(int32_t sensorHandle, int32_t samplingPeriodUs,
                                                          int64_t /*maxBatchReportLatencyUs*/) override {
    return stage_->enable(delivery_, sensorHandle, samplingPeriodUs);
  }
  ::android::hardware::Return<ServiceResult> disableSensor(int32_t sensorHandle) override {
    return stage_->disable(delivery_, sensorHandle);
  }

 private:
  const std::shared_ptr<Stage> stage_;
  const std::shared_ptr<Delivery> delivery_;
};

}  // namespace phone
