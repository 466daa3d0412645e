// What the application knows of each kind of sensor: which record holds its run, in which unit it speaks, and how close
// fresh samples must come to the truth after a calibration.
#pragma once

#include <SensorCalibration.h>

#include <string>
#include <vector>

namespace factory {

enum class Result {
  offset,         // means become the new offset
  lux_scale,      // 200 lux over the mean becomes the new scale
  channel_scale,  // golden over mean becomes the new channel scale; with --golden the means become golden
  proximity,      // thresholds and crosstalk
};

struct Kind {
  int type;           // what is asked for
  int verified_type;  // whose fresh samples must agree with the truth afterwards
  int record;         // of the 18 records, the two arrays taken as one
  int values;         // per sample
  int first_word;     // event word of the first value
  int period_ms;
  int events;  // of a run without restart: settling and samples
  const char* unit;
  const char* axes[7];
  Result result;
  double residual_limit;  // in `unit`, or a fraction of the truth
  bool limit_is_relative;
};

// Null for a type, or a step of it, without a run of its own.
const Kind* find_kind(int type, int param);

// Whether the step measures the panel's own light: 13 at full brightness, 14 at a reduced one.
bool is_panel_run(int param);

// Whether the library does anything for this step of this sensor.
bool can_calibrate(int type, int param);

const _sensor_info& record_of(const SensorCalibration& cal, const Kind& kind);

// The record that a listed sensor type is bound to, or -1.
int record_number(int sensor_type);

inline constexpr double kGravity = 9.80665;  // m/s^2

// What a calibrated sensor reports at the factory's fixture: at rest, lying flat, under the 200 lux lamp. Empty where
// that depends on the station.
std::vector<double> nominal(int type);

// The type number of a tag or a number; throws AppError with the tags that come near.
int parse_tag(const std::string& text);

// The tag of a type number, or its decimal text.
std::string tag_of(int type);

}  // namespace factory
