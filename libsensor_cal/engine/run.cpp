// One run of one record, from the application's side: arm, enable, wait.
#define LOG_TAG "libsensor_cal"
#include "engine/run.h"

#include <errno.h>
#include <time.h>

#include <limits>

#include "base/log.h"

using ::android::frameworks::sensorservice::V1_0::Result;

namespace {

timespec deadline_after(int32_t seconds) {
  timespec deadline{};
  clock_gettime(CLOCK_REALTIME, &deadline);
  // Stays in range where time_t has 32 bits.
  const int64_t end = static_cast<int64_t>(deadline.tv_sec) + seconds;
  constexpr int64_t kLast = std::numeric_limits<time_t>::max();
  deadline.tv_sec = static_cast<time_t>(end > kLast ? kLast : end);
  return deadline;
}

int32_t period_us(int32_t period_ms) {
  const int64_t us = static_cast<int64_t>(period_ms) * 1000;
  return us > INT32_MAX ? INT32_MAX : us < INT32_MIN ? INT32_MIN : static_cast<int32_t>(us);
}

// `armed` is released as soon as the record is armed: from then on events may come in. `cal_mutex` stays held until
// the wait releases it, so that the signal of a fast run cannot be lost.
int32_t arm_and_wait(SensorCalibration& cal, _sensor_info* info) {
  {
    const EventHold hold(cal);  // a delivery in progress leaves before the record is armed
    pthread_mutex_lock(&cal.cal_mutex);
    __atomic_store_n(&info->status, run_state::running, __ATOMIC_RELEASE);
    info->sample_count = 0;
  }
  const timespec deadline = deadline_after(info->timeout_s);
  if (cal.event_queue == nullptr) {
    LOGE(" event_queue is nullptr");
    return run_state::running;
  }
  const auto enabled = cal.event_queue->enableSensor(info->info.sensorHandle, period_us(info->period_ms), 0);
  if (!enabled.isOk() || enabled != Result::OK) {
    LOGE("Fail to enable sensor %s", info->info.name.c_str());
    return __atomic_load_n(&info->status, __ATOMIC_ACQUIRE);
  }
  // One wait, deliberately not a loop: a wake-up for any reason ends it.
  if (pthread_cond_timedwait(&cal.cal_cond, &cal.cal_mutex, &deadline) == ETIMEDOUT) {
    LOGE("Sensor Calibration timeout error");
    __atomic_store_n(&info->status, run_state::timed_out, __ATOMIC_RELEASE);
    const auto disabled = cal.event_queue->disableSensor(info->info.sensorHandle);
    (void)disabled.isOk();  // nothing more can be done
  }
  return __atomic_load_n(&info->status, __ATOMIC_ACQUIRE);
}

}  // namespace

EventHold::EventHold(SensorCalibration& cal) {
  // The callback of an object that was replaced is detached: nothing is delivered to it any more.
  if (msensorEventCallback == nullptr) return;
  msensorEventCallback->mutex.lock();
  if (msensorEventCallback->calibration == &cal) {
    callback_ = msensorEventCallback;
  } else {
    msensorEventCallback->mutex.unlock();
  }
}

EventHold::~EventHold() {
  if (callback_ != nullptr) callback_->mutex.unlock();
}

void write_settings(SensorCalibration& cal, _sensor_info& record, const RunSettings& settings) {
  const EventHold hold(cal);
  record.period_ms = settings.period_ms;
  record.axis_num = settings.axis_num;
  record.timeout_s = settings.timeout_s;
  record.sample_num = settings.sample_num;
  record.variance_threshold = settings.variance_threshold;
  record.zero_variance_check = settings.zero_variance_check;
  for (int i = 0; i < settings.axis_num; ++i) record.bias_threshold[i] = settings.bias_threshold;
  record.skip_num = settings.skip_num;
  record.event_count = 0;
}

int run_in_mode(SensorCalibration& cal, _sensor_info& record, uint8_t _sensor_info::*mode) {
  {
    const EventHold hold(cal);
    record.*mode = 1;
  }
  const int state = cal.cal_wait_finish(&record);
  const EventHold hold(cal);
  record.*mode = 0;
  return state;
}

int SensorCalibration::cal_wait_finish(_sensor_info* info) {
  const int32_t state = arm_and_wait(*this, info);
  pthread_mutex_unlock(&cal_mutex);
  // A delivery may still be under way: its tail must not reach into the caller's next step, which reads the mean.
  if (state != run_state::running) const EventHold leave(*this);
  return state;
}

void cal_notify_finish(void* cal) {
  auto* calibration = static_cast<SensorCalibration*>(cal);
  pthread_mutex_lock(&calibration->cal_mutex);
  pthread_cond_signal(&calibration->cal_cond);
  pthread_mutex_unlock(&calibration->cal_mutex);
}
