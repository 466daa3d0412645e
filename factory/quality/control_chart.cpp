#include "quality/control_chart.h"

#include <algorithm>

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

double scatter_within(const std::map<int, Moments>& days) {
  constexpr double kMeanOfTwo = 1.1283791670955126;  // 2 / sqrt(pi): mean distance of two values, in sigmas
  double squares = 0;
  long long freedom = 0;
  double steps = 0;
  const Moments* before = nullptr;
  for (const auto& [day, values] : days) {
    squares += values.squares;
    freedom += values.count - 1;
    if (before != nullptr) steps += std::abs(values.mean - before->mean);
    before = &values;
  }
  if (freedom > 0) return std::sqrt(std::max(0.0, squares) / static_cast<double>(freedom));
  return days.size() < 2 ? 0 : steps / static_cast<double>(days.size() - 1) / kMeanOfTwo;
}

}  // namespace

double ControlChart::line(double times, long long count) const {
  return centre + times * sigma / std::sqrt(static_cast<double>(count));
}

bool ControlChart::in_control() const {
  return std::all_of(points.begin(), points.end(), [](const ChartPoint& point) { return point.rule == 0; });
}

const char* rule_in_words(int rule) { return rule == 0 ? "" : kRules[rule - 1].words; }

ControlChart control_chart(const std::map<int, Moments>& days) {
  ControlChart chart;
  chart.centre = total(days).mean;
  chart.sigma = scatter_within(days);
  for (const auto& [day, values] : days) {
    const double unit = chart.sigma / std::sqrt(static_cast<double>(values.count));
    chart.points.push_back({day, values, unit > 0 ? (values.mean - chart.centre) / unit : 0, 0});
    chart.points.back().rule = rule_at(chart.points, chart.points.size() - 1);
  }
  return chart;
}

}  // namespace factory::store
