// How long the steps of a plan take, by the runs before.
#pragma once

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "record/record.h"

namespace factory::station {

class Pace {
 public:
  // Of runs that came to their end: one that was ended early says nothing of its later steps.
  void learn(const std::string& plan_sha256, const record::Run& run);

  // What is left of a run of the plan that has been in a step for so long; nothing where a step was never seen.
  std::optional<double> left(const std::string& plan_sha256, int step, int steps, double seconds_in_step) const;

 private:
  std::map<std::pair<std::string, int>, std::deque<double>> seconds_;  // of the last runs, by plan and step
};

}  // namespace factory::station
