// A run in words, for a terminal: a line for each attempt as it ends, a table and the verdict at the end.
#pragma once

#include <string>

#include "record/record.h"

namespace factory::record {

// The one word for a verdict, in its colour.
std::string verdict_text(Outcome outcome);
// The same of a whole run: in capitals.
std::string headline_text(Outcome outcome);

// "2 for variance, 1 for bias"; empty when there was none.
std::string restarts_text(const Attempt& attempt);

std::string attempt_text(int step, int steps, const std::string& name, const Attempt& attempt);

// What was measured, a line for each axis and a column for each measurement; empty without any.
std::string values_text(const Attempt& attempt);

// A table of all steps.
std::string steps_text(const Run& run);

// The last word: whose phone, the verdict, how long; of one that did not pass the first steps that did not, each with
// what was measured and what to try, in no more lines than a small terminal shows at once.
std::string closing_text(const Run& run);

}  // namespace factory::record
