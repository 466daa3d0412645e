// What a verification samples of a sensor, and what a calibration of it may be asked for.
#pragma once

#include <optional>
#include <string>

#include "sensors/kinds.h"

namespace factory::plan {

using Subject = Quantity;

// Nothing for a sensor whose events no verification knows to read.
inline std::optional<Subject> subject_of(int type) {
  const Sensor* sensor = sensor_of(type);
  if (sensor == nullptr || sensor->shows != nullptr) return std::nullopt;
  return quantity_of(type);
}

// Empty, or that the library has no such step for the sensor, with the steps that there are.
inline std::string step_problem(int type, int param) {
  if (step_of(type, param) != nullptr) return "";
  const Sensor* sensor = sensor_of(type);
  return "the library has no step " + std::to_string(param) + " for " + tag_of(type) +
         (sensor == nullptr ? "" : std::string(" (") + sensor->words + ")") + "; it has " + steps_text(type);
}

// Empty, or that the sensor has no channels to be calibrated one by one.
inline std::string channel_problem(int type, bool screen) {
  constexpr int kHighLux = 12;
  const Sensor* sensor = sensor_of(type);
  if (screen ? step_of(type, kHighLux) != nullptr : sensor != nullptr && sensor->has_channels) return "";
  return tag_of(type) + " has no such channel: only Lux and Lux_B have channels, lights one of the screen";
}

// Unit of the value that a calibration finds and the hub stores: "factor" for scales.
inline std::string found_unit(const Kind& kind, bool golden) {
  return golden || kind.result == Result::offset || kind.result == Result::proximity ? kind.unit : "factor";
}

// How far fresh samples of a calibrated sensor may scatter where a plan says nothing; 0: no limit of its own.
inline double usual_noise(const std::string& unit) {
  for (const Sensor& sensor : sensors()) {
    if (unit == sensor.unit && sensor.noise > 0) return sensor.noise;
  }
  return 0;
}

// How far the samples of a run may scatter: one whose samples scatter more was not at rest, though the library's own,
// wide limits let it pass. 0: no limit.
inline double rest_noise(const std::string& unit) {
  for (const Sensor& sensor : sensors()) {
    if (unit == sensor.unit && sensor.rest_noise > 0) return sensor.rest_noise;
  }
  return 0;
}

}  // namespace factory::plan
