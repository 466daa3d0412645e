// Control charts of the means of subgroups, which are days or what else subgroups.h has.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "quality/moments.h"

namespace factory::store {

enum class Rules { ewma, western_electric, nelson };
constexpr const char* kRulesNames[] = {"ewma", "western-electric", "nelson"};

struct ChartPoint {
  int day;
  Moments values;
  double shown;           // what is held against the limits: the mean, or the moving average of the means up to here
  double unit;            // its standard deviation in a process that does not change
  double distance;        // from the centre line, in these
  int rule;               // that this point meets, the lowest of several; 0: none
  std::string when = {};  // the day in words
};

struct ControlChart {
  Rules rules = Rules::ewma;
  double centre = 0;
  Within within;
  size_t baseline = 0;  // the subgroups that the centre and the limits are estimated from
  bool frozen = false;  // these are of a period that was named; else they are the first ones of the chart
  double limit = 0;     // in standard deviations of a point
  // That a process which does not change has a chart as far out, by chance. With the classic rules: none.
  std::optional<double> p;
  std::vector<ChartPoint> points;

  double line(double times, const ChartPoint& point) const { return centre + times * point.unit; }
  bool in_control() const;
  bool can_judge() const { return points.size() > 1 && within.sigma > 0; }
};

// What a rule says, for people: 1 to 4 are Western Electric's, 5 the moving average's, 11 to 18 Nelson's.
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
 * Western Electric: the four rules of the Statistical Quality Control Handbook (1956); Nelson: the eight of "The
 * Shewhart Control Chart: Tests for Special Causes", Journal of Quality Technology 16, 1984; about centre and deviation
 * of all.
 *
 * With a baseline of its own, where it has values, centre and deviation are those of the baseline, whatever the rules.
 */
ControlChart control_chart(const Days& days, Rules rules, const Days& baseline = {});

/**
 * The greatest of the charts' p that stands for a change where so many charts were looked at: of those at or below it a
 * twentieth are false alarms at most, on average (Benjamini and Hochberg, Journal of the Royal Statistical Society B
 * 57, 1995). Negative: none does.
 */
double false_discovery_cut(std::vector<double> p);

}  // namespace factory::store
