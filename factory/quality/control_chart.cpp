#include "quality/control_chart.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "quality/distributions.h"

namespace factory::store {
namespace {

constexpr double kWeight = 0.2;
constexpr double kLooks = 100;  // points that share a chart's false alarms; neighbours are alike, so that it has fewer

// The points of a pattern; empty where the chart has not so many yet.
using Points = std::span<const ChartPoint>;

// So many of them beyond so many standard deviations, all on one side. The last point must belong to it: one back in
// order does not sound the alarm again.
template <int wanted, int beyond>
bool on_one_side(Points points) {
  for (const double side : {1.0, -1.0}) {
    const auto is_beyond = [&](const ChartPoint& point) { return point.distance * side > beyond; };
    if (is_beyond(points.back()) && std::count_if(points.begin(), points.end(), is_beyond) >= wanted) return true;
  }
  return false;
}

// Every step up, or down, as the first one; or turning every time.
bool goes(Points points, bool turning) {
  for (size_t i = 1; i < points.size(); ++i) {
    const double side = (points[1].shown - points[0].shown) * (turning && i % 2 == 0 ? -1 : 1);
    if ((points[i].shown - points[i - 1].shown) * side <= 0) return false;
  }
  return true;
}
bool trends(Points points) { return goes(points, false); }
bool alternates(Points points) { return goes(points, true); }

bool all_within_one(Points points) {
  return std::all_of(points.begin(), points.end(), [](const ChartPoint& p) { return std::abs(p.distance) < 1; });
}
bool all_beyond_one(Points points) {
  return std::all_of(points.begin(), points.end(), [](const ChartPoint& p) { return std::abs(p.distance) > 1; });
}

struct Rule {
  Rules rules;
  int number;
  size_t of;  // points
  bool (*met)(Points points);
  const char* words;
};
constexpr Rule kRules[] = {
    {Rules::western_electric, 1, 1, on_one_side<1, 3>, "one point beyond three sigma"},
    {Rules::western_electric, 2, 3, on_one_side<2, 2>, "two of three points beyond two sigma on one side"},
    {Rules::western_electric, 3, 5, on_one_side<4, 1>, "four of five points beyond one sigma on one side"},
    {Rules::western_electric, 4, 8, on_one_side<8, 0>, "eight points on one side of the centre line"},
    {Rules::ewma, 5, 1, nullptr, "the moving average beyond its limit"},
    {Rules::nelson, 11, 1, on_one_side<1, 3>, "one point beyond three sigma"},
    {Rules::nelson, 12, 9, on_one_side<9, 0>, "nine points on one side of the centre line"},
    {Rules::nelson, 13, 6, trends, "six points in a row rise, or fall"},
    {Rules::nelson, 14, 14, alternates, "fourteen points in a row alternate"},
    {Rules::nelson, 15, 3, on_one_side<2, 2>, "two of three points beyond two sigma on one side"},
    {Rules::nelson, 16, 5, on_one_side<4, 1>, "four of five points beyond one sigma on one side"},
    {Rules::nelson, 17, 15, all_within_one, "fifteen points in a row within one sigma"},
    {Rules::nelson, 18, 8, all_beyond_one, "eight points in a row beyond one sigma, on whatever side"},
};
constexpr int kEwmaRule = 5;

// The one that the last point meets. A pattern of several of so many may stand before there are so many.
int rule_met(Rules rules, Points points) {
  for (const Rule& rule : kRules) {
    const bool some_do = rules == Rules::western_electric || rule.number == 15 || rule.number == 16;
    if (rule.rules != rules || (points.size() < rule.of && !some_do)) continue;
    if (rule.met(points.last(std::min(rule.of, points.size())))) return rule.number;
  }
  return 0;
}

void add_means(const Days& days, ControlChart* chart) {
  chart->limit = 3;
  for (const auto& [day, values] : days) {
    const double unit = chart->within.sigma / std::sqrt(static_cast<double>(values.count));
    chart->points.push_back({day, values, values.mean, unit, unit > 0 ? (values.mean - chart->centre) / unit : 0, 0});
    chart->points.back().rule = chart->within.sigma > 0 ? rule_met(chart->rules, chart->points) : 0;
  }
}

// z minus the centre is a weighted sum of means: `own` is the part of its variance that z has by itself, the rest is
// the centre's own error, of which z has a share as long as it remembers the baseline. All in units of one value's
// variance.
void add_moving_averages(const Days& days, const Days& baseline, ControlChart* chart) {
  const auto values_in_baseline = static_cast<double>(total(baseline).count);
  double average = chart->centre;
  double own = 0;
  double remembered = 0;  // sum of the weights of the baseline's means
  double memory = 0;      // and of all
  double farthest = 0;
  for (const auto& [day, values] : days) {
    average += kWeight * (values.mean - average);
    own = kWeight * kWeight / static_cast<double>(values.count) + (1 - kWeight) * (1 - kWeight) * own;
    const bool in_baseline = baseline.contains(day);
    memory = kWeight + (1 - kWeight) * memory;
    remembered = (in_baseline ? kWeight : 0) + (1 - kWeight) * remembered;
    const double of_centre = (memory * memory - 2 * memory * remembered) / values_in_baseline;
    const double unit = chart->within.sigma * std::sqrt(std::max(0.0, own + of_centre));
    const double distance = unit > 0 ? (average - chart->centre) / unit : 0;
    chart->points.push_back({day, values, average, unit, distance, 0});
    farthest = std::max(farthest, std::abs(distance));
  }
  if (!chart->can_judge()) return;
  const double freedom = chart->within.freedom;
  chart->limit = students_t_end(freedom, kChartFalseAlarm / kLooks / 2);
  for (ChartPoint& point : chart->points) point.rule = std::abs(point.distance) > chart->limit ? kEwmaRule : 0;
  const double looks = std::max(kLooks, static_cast<double>(chart->points.size()));
  chart->p = std::min(1.0, looks * 2 * students_t_above(freedom, farthest));
}

}  // namespace

bool ControlChart::in_control() const {
  return std::all_of(points.begin(), points.end(), [](const ChartPoint& point) { return point.rule == 0; });
}

const char* rule_in_words(int rule) {
  const auto* const found =
      std::find_if(std::begin(kRules), std::end(kRules), [&](const Rule& known) { return known.number == rule; });
  return found == std::end(kRules) ? "" : found->words;
}

ControlChart control_chart(const Days& days, Rules rules, const Days& baseline) {
  ControlChart chart;
  chart.rules = rules;
  chart.frozen = !baseline.empty();
  const size_t first = rules == Rules::ewma ? std::min(kBaseline, days.size()) : days.size();
  const Days usual = chart.frozen ? baseline : Days(days.begin(), std::next(days.begin(), static_cast<long>(first)));
  chart.baseline = usual.size();
  chart.centre = total(usual).mean;
  chart.within = scatter_within(usual);
  if (rules == Rules::ewma) {
    add_moving_averages(days, usual, &chart);
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
