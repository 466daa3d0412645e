// A phone on a factory's station: the application runs the shipped plan on it, while the world may move.
#pragma once

#include <string>
#include <vector>

#include "population.h"

namespace acceptance {

struct Failure {
  int type = 0;              // of the step's sensor; 0 where it has none
  bool calibration = false;  // neither a look at what is stored nor a verification
  std::string text;          // as the operator reads it
};

struct RunResult {
  bool passed = false;
  std::vector<Failure> failures;  // last attempts that did not pass
};

// Runs the plan of the phone's profile on the phone in `directory`, which is made at its first use.
RunResult run_plan(const Case& phone, const std::string& directory);

}  // namespace acceptance
