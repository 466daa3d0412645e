// What a verification samples of a sensor, and what a calibration of it may be asked for.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "sensors/kinds.h"

namespace factory::plan {

struct Subject {
  int type = 0;  // whose events are taken
  std::vector<std::string> axes;
  int first_word = 0;
  int period_ms = 100;
  std::string unit;
  bool motion = false;  // always carries noise: equal samples mean that it is stuck
};

// Nothing for a sensor whose events no verification knows to read.
std::optional<Subject> subject_of(int type);

// Whether the library calibrates the sensor in this step.
bool can_calibrate(int type, int param);

// Empty, or that the library has no such step for the sensor, with the steps that there are.
std::string step_problem(int type, int param);

// Empty, or that the sensor has no channels to be calibrated one by one.
std::string channel_problem(int type, bool screen);

// Unit of the value that a calibration finds and the hub stores: "factor" for scales.
std::string found_unit(const Kind& kind, bool golden);

// How far fresh samples of a calibrated sensor may scatter where a plan says nothing; 0: no limit of its own.
double usual_noise(const std::string& unit);

// How far the samples of a run may scatter: one whose samples scatter more was not at rest, though the library's own,
// wide limits let it pass. 0: no limit.
double rest_noise(const std::string& unit);

}  // namespace factory::plan
