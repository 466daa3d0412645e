// What of a record the store keeps, and as what.
#pragma once

#include <optional>
#include <string>

#include "record/record.h"

namespace factory::store {

// The plan's SHA-256, by which it is known whatever its file is called, where the record has its bytes and no hash yet.
void hash_plan(record::Run* run);

// A number as it can be added up, and, where that is not all of it, as it was: "nan", "inf", "1e+200".
struct Number {
  std::optional<double> value;
  std::optional<std::string> exact;
};
Number to_number(double value);

// A limit that is no number limits nothing.
std::optional<double> usable(std::optional<double> value);

// Whether the step's verdict is the attempt's: its last one's, unless that could not judge.
bool decided(const record::Step& step, const record::Attempt& attempt);

// What a run failed on, or ended with an error: the first step that did, and of the attempt that decided the first
// value out of its limits.
struct FailedOn {
  std::optional<std::string> step, measurement;
};
FailedOn failed_on(const record::Run& run);

// Without logs, hub messages and, unless wanted, samples: to be kept until it is stored.
record::Run storable(record::Run run, bool samples);

}  // namespace factory::store
