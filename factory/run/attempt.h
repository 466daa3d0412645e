// One attempt at a step, and the steps of a run with all their attempts.
#pragma once

#include <string>
#include <vector>

#include "record/record.h"
#include "run/plan.h"

namespace factory::plan {

using record::Clock;
using record::Measurement;
using record::Outcome;
using record::outcome_name;

// What the record has of it, and what only the run asks for.
struct Attempt : record::Attempt {
  bool changes_hub = false;  // what is held before and after means something
  bool unreachable = false;  // the hub or a service did not answer, or the fixture is not as it should be
  bool refused = false;      // the phone has no such step

  void fail(const std::string& reason, const std::string& hint = "");
};

struct StepResult {
  const Step* step = nullptr;
  std::string group;
  int index = 1;
  Outcome outcome = Outcome::skipped;  // of the last attempt
  std::vector<Attempt> attempts;
};

}  // namespace factory::plan
