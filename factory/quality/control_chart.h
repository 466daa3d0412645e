// Count, mean and scatter of values, put together from groups without losing digits; and a control chart of daily
// means, with the Western Electric rules.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <optional>
#include <vector>

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

inline Moments total(const std::map<int, Moments>& days) {
  Moments all;
  for (const auto& [day, values] : days) all.add(values);
  return all;
}

// How the limits' width compares with the scatter, and the nearer limit's distance with half of it. None without
// scatter, or without the limits that it takes.
inline std::optional<double> cp(const Moments& m, std::optional<double> low, std::optional<double> high) {
  const std::optional<double> sigma = m.sigma();
  if (!low || !high || !sigma || *sigma <= 0) return {};
  return (*high - *low) / (6 * *sigma);
}

inline std::optional<double> cpk(const Moments& m, std::optional<double> low, std::optional<double> high) {
  const std::optional<double> sigma = m.sigma();
  if ((!low && !high) || !sigma || *sigma <= 0) return {};
  double nearer = std::numeric_limits<double>::infinity();
  if (low) nearer = std::min(nearer, m.mean - *low);
  if (high) nearer = std::min(nearer, *high - m.mean);
  return nearer / (3 * *sigma);
}

struct ChartPoint {
  int day;
  Moments values;
  double distance;  // of the mean from the centre line, in standard deviations of such a mean
  int rule;         // that this point completes, 1 to 4, the lowest of several; 0: none
};

struct ControlChart {
  double centre = 0;
  double sigma = 0;  // of one value, within the days; where each day has one, from the steps between the days
  std::vector<ChartPoint> points;

  // A line `times` standard deviations from the centre, at a day with `count` values.
  double line(double times, long long count) const;
  bool in_control() const;
};

// What a rule says, for people.
const char* rule_in_words(int rule);

ControlChart control_chart(const std::map<int, Moments>& days);

}  // namespace factory::store
