// How long the steps of a plan take, and within which limits their samples lie, by the runs before.
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

  // What is left of a run of the plan that has been in a step for so long; nothing where a step was never seen.
  std::optional<double> left(const std::string& plan_sha256, int step, int steps, double seconds_in_step) const;

 private:
  using PlanStep = std::pair<std::string, int>;
  std::map<PlanStep, std::deque<double>> seconds_;  // of the last runs
  std::map<PlanStep, std::vector<double>> limits_;
};

}  // namespace factory::station
