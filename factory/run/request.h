// A single request as a plan: what is calibrated by name goes through the steps, and the judge, of plans.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "run/plan.h"

namespace factory::plan {

struct Request {
  int type = 0;
  int param = 0;
  std::optional<double> reference_hpa;
  std::optional<int> channel;  // instead of a step by number
  double target = 0;
  bool screen = false;
};

// One group a request: the fixture as the step needs it, but for what `world` ("key=value") already says, then the
// step. Throws AppError(kUsage) for a step that the library does not have.
Plan plan_of(const std::string& name, const std::vector<Request>& requests, const std::vector<std::string>& world);

// A value of the register of a SAR chip.
Plan plan_of_register(int type, int number, int value);

}  // namespace factory::plan
