// What the flows share to run a sensor's record.
#pragma once

#include <SensorCalibration.h>

#include "base/record.h"

// How a run samples: one row per kind of calibration. `bias_threshold` goes to the first `axis_num` axes.
struct RunSettings {
  int32_t period_ms;
  int32_t axis_num;
  int32_t timeout_s;
  int32_t sample_num;
  float variance_threshold;
  uint8_t zero_variance_check;
  float bias_threshold;
  int32_t skip_num;
};

// Holds the event side of `cal` back while it lives: takes its callback's mutex, so that no delivery is under way and
// none begins. Flows change a record's settings and modes under it. Never taken with cal_mutex held.
class EventHold {
 public:
  explicit EventHold(SensorCalibration& cal);
  ~EventHold();
  EventHold(const EventHold&) = delete;
  EventHold& operator=(const EventHold&) = delete;

 private:
  ::android::sp<SensorEventCallback> callback_;
};

// Writes the settings into the record and sets its event count back.
void write_settings(SensorCalibration& cal, _sensor_info& record, const RunSettings& settings);

// Sets one mode flag around a run: sets it, runs cal_wait_finish(), clears it. Returns what the run returned.
int run_in_mode(SensorCalibration& cal, _sensor_info& record, uint8_t _sensor_info::*mode);

// What became of a sample.
enum SampleOutcome : int {
  kTaken = 1,  // or the run was not active
  kDone = 2,
  kHighVariance = 3,  // this one and those below: the run was restarted
  kZeroVariance = 4,
  kHighBias = 5,
};

// The sample window: takes one sample of `info->axis_num` values. Returns a SampleOutcome. A run that is done has its
// means before its status says so.
int cal_process_sample(_sensor_info* info, float* sample);

// Wakes the thread that waits in cal_wait_finish() of the SensorCalibration object `cal`.
void cal_notify_finish(void* cal);
