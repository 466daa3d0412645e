// Control charts of the means of subgroups, which are days.
#pragma once

#include <optional>
#include <vector>

#include "quality/moments.h"

namespace factory::store {

enum class Rules { ewma, western_electric };

struct ChartPoint {
  int day;
  Moments values;
  double shown;     // what is held against the limits: the mean, or the moving average of the means up to here
  double unit;      // its standard deviation in a process that does not change
  double distance;  // from the centre line, in these
  int rule;         // that this point meets, the lowest of several; 0: none
};

struct ControlChart {
  Rules rules = Rules::ewma;
  double centre = 0;
  Within within;
  size_t baseline = 0;  // the subgroups, from the first, that the centre and the limits are estimated from
  double limit = 0;     // in standard deviations of a point
  // That a process which does not change has a chart as far out, by chance. With Western Electric rules: none.
  std::optional<double> p;
  std::vector<ChartPoint> points;

  double line(double times, const ChartPoint& point) const { return centre + times * point.unit; }
  bool in_control() const;
  bool can_judge() const { return points.size() > 1 && within.sigma > 0; }
};

// What a rule says, for people.
const char* rule_in_words(int rule);

constexpr size_t kBaseline = 25;           // subgroups
constexpr double kChartFalseAlarm = 0.05;  // of a chart of 100 subgroups

/**
 * By default an exponentially weighted moving average of the means, z = 0.2 mean + 0.8 z of the day before, from the
 * centre on (Roberts, "Control Chart Tests Based on Geometric Moving Averages", Technometrics 1, 1959; Lucas and
 * Saccucci, Technometrics 32, 1990). Centre and deviation are those of the first 25 subgroups, or of all where there
 * are no more, and the limits hold that they are estimates: the standard deviation is that of z minus the centre, the
 * width is Student's by the deviation's degrees of freedom. docs/formats/store.md has how often it cries.
 *
 * Western Electric: the four rules of the Statistical Quality Control Handbook (1956), about centre and deviation of
 * all.
 */
ControlChart control_chart(const Days& days, Rules rules);

/**
 * The greatest of the charts' p that stands for a change where so many charts were looked at: of those at or below it a
 * twentieth are false alarms at most, on average (Benjamini and Hochberg, Journal of the Royal Statistical Society B
 * 57, 1995). Negative: none does.
 */
double false_discovery_cut(std::vector<double> p);

}  // namespace factory::store
