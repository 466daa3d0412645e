// What plans have besides: amounts with their units.
#pragma once

#include "files/placed_json.h"
#include "run/plan.h"

namespace factory::plan {

// A missing value gives nothing; a wrong type or a value outside gives a problem and nothing.

// One amount or a list of `axes` of them.
std::optional<Bound> bound(const PlacedJson& value, const std::string& unit, size_t axes, bool percent);
// One amount that must lie in the range.
std::optional<double> amount(const PlacedJson& value, const std::string& unit, double low, double high);

// "stop" or "go on"; or true.
bool stops(const PlacedJson& value);

constexpr int kAttemptsMax = 20;

Step read_step(const PlacedJson& value);

}  // namespace factory::plan
