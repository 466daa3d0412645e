// Two parts of what is stored held against each other: two stations, two versions of a plan, two weeks.
#pragma once

#include <json/json.h>

#include <array>
#include <string>
#include <vector>

#include "quality/statistics.h"

namespace factory::store {

// A value with its two-sided 95 % confidence interval is an Index, too.
struct Contrast {
  std::string plan, step, name, axis, unit;
  std::array<Moments, 2> sides;
  // None where a side has fewer than two values, or none scatters.
  std::optional<Index> difference;  // of the second mean from the first one
  std::optional<Index> ratio;       // of the second deviation to the first one
  double size = 0;                  // of the difference, in pooled deviations

  bool differs() const { return difference && (difference->low > 0 || difference->high < 0); }
};

/**
 * Difference of means by Welch's t interval ("The generalization of Student's problem when several different population
 * variances are involved", Biometrika 34, 1947), ratio of deviations by the F distribution, both of normal values.
 */
void contrast(Contrast* c);

struct Comparison {
  std::array<std::string, 2> names;
  std::vector<Contrast> contrasts;  // the largest difference first, what one side lacks last
};

// A side: KEY=VALUE with station, plan-version, lot, profile or app-version, or FROM..UNTIL, two times. What `filter`
// asks for holds for both. Throws AppError(kUsage) where a side is none, StoreError, AwayError.
Comparison compare(Database* database, const Filter& filter, const std::vector<std::string>& sides,
                   const Choices& choices);

Json::Value to_json(const Comparison& comparison);
std::string to_text(const Comparison& comparison, const std::string& question);

}  // namespace factory::store
