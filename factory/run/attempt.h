// One attempt at a step, and the steps of a run with all their attempts.
#pragma once

#include <string>
#include <vector>

#include "record/record.h"
#include "record/why.h"
#include "run/plan.h"

namespace factory::plan {

using record::Clock;
using record::Measurement;
using record::Outcome;
using record::outcome_name;
using record::Reason;
using record::Why;

// What the record has of it, and what only the run asks for.
struct Attempt : record::Attempt {
  bool changes_hub = false;         // what is held before and after means something
  Outcome fault = Outcome::passed;  // failed or error, by its reasons

  // An error outweighs a failure, and is told before it: what failed may have failed for that.
  void fail(const Reason& reason);
};

struct StepResult {
  const Step* step = nullptr;
  std::string group;
  int index = 1;
  Outcome outcome = Outcome::skipped;  // of the last attempt
  std::vector<Attempt> attempts;
};

}  // namespace factory::plan
