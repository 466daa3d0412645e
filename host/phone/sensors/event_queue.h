// An application's event queue.
#pragma once

#include <android/frameworks/sensorservice/1.0/IEventQueue.h>

#include <memory>

#include "phone/sensors/service_link.h"
#include "phone/sensors/stage.h"

namespace phone {

// Any thread may call, also from inside the callback. The destructor ends the deliveries and waits for the one under
// way, unless that one is what it is called from.
class EventQueue : public ::android::frameworks::sensorservice::V1_0::IEventQueue {
 public:
  EventQueue(std::shared_ptr<ServiceLink> link, const ::android::sp<IEventQueueCallback>& callback)
      : link_(std::move(link)), stage_(link_->stage()), delivery_(stage_->join(callback)) {}
  ~EventQueue() override { stage_->leave(delivery_); }

  ::android::hardware::Return<ServiceResult> enableSensor(int32_t sensorHandle, int32_t samplingPeriodUs,
                                                          int64_t /*maxBatchReportLatencyUs*/) override {
    if (!link_->take_call()) return dead();
    return stage_->enable(delivery_, sensorHandle, samplingPeriodUs);
  }
  ::android::hardware::Return<ServiceResult> disableSensor(int32_t sensorHandle) override {
    if (!link_->take_call()) return dead();
    return stage_->disable(delivery_, sensorHandle);
  }

 private:
  static ::android::hardware::Status dead() { return ::android::hardware::Status::fromStatusT(::android::DEAD_OBJECT); }

  const std::shared_ptr<ServiceLink> link_;
  const std::shared_ptr<Stage> stage_;
  const std::shared_ptr<Delivery> delivery_;
};

}  // namespace phone
