// Sensors that are calibrated from samples of theirs.
#pragma once

#include "sensors/sensor.h"

namespace factory {

using Kind = Sensor;

// Null for a type, or a step of it, without a run of its own.
inline const Kind* find_kind(int type, int param) {
  const StepRow* step = step_of(type, param);
  return step != nullptr && step->changes != 0 ? sensor_of(type) : nullptr;
}

// Whether the library does anything for this step of this sensor.
inline bool can_calibrate(int type, int param) { return step_of(type, param) != nullptr; }

// The record of its runs.
inline const _sensor_info& record_of(const SensorCalibration& cal, const Kind& kind) {
  constexpr int kMotion = 8;
  const int record = sensor_of(kind.verified_type)->record;
  return record < kMotion ? cal.motion_info[record] : cal.env_info[record - kMotion];
}

}  // namespace factory
