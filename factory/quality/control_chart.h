// A control chart of daily means, with the Western Electric rules.
#pragma once

#include <map>
#include <vector>

#include "quality/moments.h"

namespace factory::store {

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
