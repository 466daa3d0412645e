// One event from the callback's entry through routing, sample and window, against a mutex and the window alone.
#pragma once

#include <android/log.h>

#include <memory>
#include <vector>

#include "rows/window.h"

namespace bench {

namespace sensorservice = ::android::frameworks::sensorservice::V1_0;

class QuietQueue : public sensorservice::IEventQueue {
 public:
  ::android::hardware::Return<sensorservice::Result> enableSensor(int32_t, int32_t, int64_t) override {
    return sensorservice::Result::OK;
  }
  ::android::hardware::Return<sensorservice::Result> disableSensor(int32_t) override {
    return sensorservice::Result::OK;
  }
};

class EventRow {
 public:
  // No service is registered: the object makes none of its connections, and is given what an event needs.
  EventRow() : callback_(new SensorEventCallback(&cal_)) {
    cal_.init_status = 0;
    cal_.event_queue = new QuietQueue;
    prepare(&record());
    prepare(&bare_);
    record().in_calibrate = 1;
    record().offset[2] = 9.80665F;
    for (const Input& input : make_inputs()) {
      ::android::hardware::sensors::V1_0::Event event{};
      event.sensorType = ::android::hardware::sensors::V1_0::SensorType::ACCELEROMETER;
      for (size_t i = 0; i < 3; ++i) event.u.data[i] = input[i];
      events_.push_back(event);
    }
  }

  void ours() {
    callback_->onEvent(events_[next_++ % kInputs]);
    if (record().status == 2) rearm(&record());
  }

  void theirs() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (cal_process_sample(&bare_, inputs_[next_++ % kInputs].data()) == 2) rearm(&bare_);
  }

 private:
  _sensor_info& record() { return record_at(cal_, kRecordAcc); }

  std::array<Input, kInputs> inputs_ = make_inputs();
  std::vector<::android::hardware::sensors::V1_0::Event> events_;
  size_t next_ = 0;
  SensorCalibration cal_;
  ::android::sp<SensorEventCallback> callback_;
  _sensor_info bare_;
  std::mutex mutex_;
};

}  // namespace bench
