// A run in words: a line for each attempt as it ends, and a table at the end.
#pragma once

#include <string>
#include <vector>

#include "run/attempt.h"

namespace factory::plan {

std::string attempt_text(const StepResult& step, int steps, const Attempt& attempt);

// What was measured, a line for each axis and a column for each measurement; empty without any.
std::string values_text(const Attempt& attempt);

std::string summary_text(const std::vector<StepResult>& steps, Outcome verdict, double seconds);

}  // namespace factory::plan
