// Count, mean and scatter of values, put together from groups without losing digits.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <optional>

namespace factory::store {

struct Moments {
  long long count = 0;
  double mean = 0;
  double squares = 0;  // sum of the squared distances from the mean
  double least = std::numeric_limits<double>::infinity();
  double most = -std::numeric_limits<double>::infinity();

  void add(const Moments& other) {
    if (other.count == 0) return;
    const double before = static_cast<double>(count);
    const double more = static_cast<double>(other.count);
    const double distance = other.mean - mean;
    count += other.count;
    mean += distance * (more / (before + more));
    squares += other.squares + distance * distance * (before * more / (before + more));
    least = std::min(least, other.least);
    most = std::max(most, other.most);
  }
  // Of the sample; none of a single value.
  std::optional<double> sigma() const {
    if (count < 2) return {};
    return std::sqrt(std::max(0.0, squares) / static_cast<double>(count - 1));
  }
};

using Days =
    std::map<int, Moments>;  // the subgroups of what is measured, by the day since 1970 or as subgroups.h has it

inline Moments total(const Days& days) {
  Moments all;
  for (const auto& [day, values] : days) all.add(values);
  return all;
}

// The deviation within subgroups: what the process does between two changes of it.
struct Within {
  double sigma = 0;    // 0: there is none
  double freedom = 0;  // its degrees
  bool moving_range = false;
};

/**
 * Pooled within the days. Where each day has one value, the mean of the moving ranges of two / 1.128 (AIAG, Statistical
 * Process Control, 2nd edition, chapter II), whose variance is 0.8264 sigma^2 / n for many values (Cryer and Ryan, "The
 * estimation of sigma for an X chart", Journal of Quality Technology 22, 1990): as good as 0.605 (n - 1) degrees of
 * freedom.
 */
inline Within scatter_within(const Days& days) {
  constexpr double kMeanOfTwo = 1.1283791670955126;  // 2 / sqrt(pi): mean distance of two values, in sigmas
  double squares = 0;
  double steps = 0;
  long long freedom = 0;
  const Moments* before = nullptr;
  for (const auto& [day, values] : days) {
    squares += std::max(0.0, values.squares);
    freedom += values.count - 1;
    if (before != nullptr) steps += std::abs(values.mean - before->mean);
    before = &values;
  }
  if (freedom > 0) return {std::sqrt(squares / static_cast<double>(freedom)), static_cast<double>(freedom), false};
  if (days.size() < 2) return {};
  const double ranges = static_cast<double>(days.size() - 1);
  return {steps / ranges / kMeanOfTwo, 0.605 * ranges, true};
}

}  // namespace factory::store
