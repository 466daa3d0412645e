#include "quality/control_chart.h"

#include <algorithm>
#include <boost/math/distributions/students_t.hpp>

namespace factory::store {
namespace {

// By their numbers, from 1.
struct Rule {
  int wanted, of;  // points beyond `beyond` standard deviations, all on one side
  double beyond;
  const char* words;
};
constexpr Rule kRules[] = {
    {1, 1, 3, "one day beyond three sigma"},
    {2, 3, 2, "two of three days beyond two sigma on one side"},
    {4, 5, 1, "four of five days beyond one sigma on one side"},
    {8, 8, 0, "eight days on one side of the centre line"},
};
constexpr int kEwmaRule = std::size(kRules) + 1;

constexpr double kWeight = 0.2;
constexpr double kLooks = 100;  // points that share a chart's false alarms; neighbours are alike, so that it has fewer

// The point at the end of the pattern must belong to it: a day back in order does not sound the alarm again.
bool completes(const std::vector<ChartPoint>& points, size_t last, const Rule& rule, double side) {
  const auto beyond = [&](size_t i) { return points[i].distance * side > rule.beyond; };
  if (!beyond(last)) return false;
  const size_t first = last + 1 >= static_cast<size_t>(rule.of) ? last + 1 - static_cast<size_t>(rule.of) : 0;
  int count = 0;
  for (size_t i = first; i <= last; ++i) count += beyond(i) ? 1 : 0;
  return count >= rule.wanted;
}

int rule_at(const std::vector<ChartPoint>& points, size_t last) {
  const auto completed = [&](const Rule& rule) {
    return completes(points, last, rule, 1) || completes(points, last, rule, -1);
  };
  const auto* found = std::find_if(std::begin(kRules), std::end(kRules), completed);
  return found == std::end(kRules) ? 0 : static_cast<int>(found - kRules) + 1;
}

void add_means(const Days& days, ControlChart* chart) {
  chart->limit = 3;
  for (const auto& [day, values] : days) {
    const double unit = chart->within.sigma / std::sqrt(static_cast<double>(values.count));
    chart->points.push_back({day, values, values.mean, unit, unit > 0 ? (values.mean - chart->centre) / unit : 0, 0});
    chart->points.back().rule = rule_at(chart->points, chart->points.size() - 1);
  }
}

// z minus the centre is a weighted sum of means: `own` is the part of its variance that z has by itself, the rest is
// the centre's own error, of which z has a share as long as it remembers the baseline. All in units of one value's
// variance.
void add_moving_averages(const Days& days, double values_in_baseline, ControlChart* chart) {
  double average = chart->centre;
  double own = 0;
  double remembered = 0;  // sum of the weights of the baseline's means
  double memory = 0;      // and of all
  double farthest = 0;
  for (const auto& [day, values] : days) {
    average += kWeight * (values.mean - average);
    own = kWeight * kWeight / static_cast<double>(values.count) + (1 - kWeight) * (1 - kWeight) * own;
    const bool in_baseline = chart->points.size() < chart->baseline;
    memory = kWeight + (1 - kWeight) * memory;
    remembered = (in_baseline ? kWeight : 0) + (1 - kWeight) * remembered;
    const double of_centre = (memory * memory - 2 * memory * remembered) / values_in_baseline;
    const double unit = chart->within.sigma * std::sqrt(std::max(0.0, own + of_centre));
    const double distance = unit > 0 ? (average - chart->centre) / unit : 0;
    chart->points.push_back({day, values, average, unit, distance, 0});
    farthest = std::max(farthest, std::abs(distance));
  }
  if (!chart->can_judge()) return;
  const boost::math::students_t spread(chart->within.freedom);
  chart->limit = quantile(complement(spread, kChartFalseAlarm / kLooks / 2));
  for (ChartPoint& point : chart->points) point.rule = std::abs(point.distance) > chart->limit ? kEwmaRule : 0;
  const double looks = std::max(kLooks, static_cast<double>(chart->points.size()));
  chart->p = std::min(1.0, looks * 2 * cdf(complement(spread, farthest)));
}

}  // namespace

bool ControlChart::in_control() const {
  return std::all_of(points.begin(), points.end(), [](const ChartPoint& point) { return point.rule == 0; });
}

const char* rule_in_words(int rule) {
  return rule == 0 ? "" : rule == kEwmaRule ? "the moving average beyond its limit" : kRules[rule - 1].words;
}

ControlChart control_chart(const Days& days, Rules rules) {
  ControlChart chart;
  chart.rules = rules;
  chart.baseline = rules == Rules::ewma ? std::min(kBaseline, days.size()) : days.size();
  const Days first(days.begin(), std::next(days.begin(), static_cast<long>(chart.baseline)));
  const Moments all = total(first);
  chart.centre = all.mean;
  chart.within = scatter_within(first);
  if (rules == Rules::ewma) {
    add_moving_averages(days, static_cast<double>(all.count), &chart);
  } else {
    add_means(days, &chart);
  }
  return chart;
}

double false_discovery_cut(std::vector<double> p) {
  std::sort(p.begin(), p.end());
  for (size_t i = p.size(); i > 0; --i) {
    if (p[i - 1] <= kChartFalseAlarm * static_cast<double>(i) / static_cast<double>(p.size())) return p[i - 1];
  }
  return -1;
}

}  // namespace factory::store
