// How long a plan takes from each of its steps on, and within which limits their samples lie, by the runs before.
#pragma once

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "record/record.h"

namespace factory::station {

class Pace {
 public:
  // Of runs that came to their end: one that was ended early says nothing of its later steps.
  void learn(const std::string& plan_sha256, const record::Run& run);

  // Largest accepted means of a step's samples, either way, a value each; empty where no run told them.
  std::vector<double> limits(const std::string& plan_sha256, int step) const;

  // What is left of a run of the plan that began a step so long ago; nothing where the step was never seen.
  std::optional<double> left(const std::string& plan_sha256, int step, double seconds_in_step) const;

 private:
  using PlanStep = std::pair<std::string, int>;
  std::map<PlanStep, std::deque<double>> left_;  // of the last runs at the step's begin: steps go on beside each other
  std::map<PlanStep, std::vector<double>> limits_;
};

}  // namespace factory::station
