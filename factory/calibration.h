// One calibration, from the request to a judged result.
#pragma once

#include <json/json.h>

#include <optional>
#include <string>
#include <vector>

#include "kinds.h"
#include "log_tap.h"
#include "sampler.h"
#include "session.h"

namespace factory {

// One value of a sample: what the run found and what fresh samples say.
struct Axis {
  std::string name;
  double found = 0;               // mean of the run's samples
  double standard_deviation = 0;  // of the run's samples
  std::optional<double> fresh;    // mean of fresh samples afterwards
  double fresh_deviation = 0;
  std::optional<double> truth;
  std::optional<double> residual() const;  // fresh minus truth
};

struct Calibration {
  int type = 0;
  int param = 0;
  const Kind* kind = nullptr;  // null: a hub command without a run
  int result = 0;              // what the library returned
  RunLog run;
  int samples = 0;
  double seconds = 0;
  std::vector<Axis> axes;
  std::string fresh_problem;  // why there are no fresh samples
  bool interrupted = false;
  bool put_back = false;  // the hub's old value was written back after an interruption

  bool passed = false;
  std::vector<std::string> reasons;  // why it did not pass, for a person
  std::vector<std::string> hints;    // what to try
  std::vector<std::string> notes;    // what to know about one that passed
};

// Runs sensor_calibrate(type, param) and judges it.
Calibration calibrate(Session& session, int type, int param);

Json::Value to_json(const Calibration& calibration);
std::string to_text(const Calibration& calibration);

}  // namespace factory
