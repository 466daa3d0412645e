#include "station/pace.h"

#include <algorithm>

namespace factory::station {
namespace {

constexpr size_t kRuns = 15;

double median(const std::deque<double>& values) {
  std::vector<double> sorted(values.begin(), values.end());
  const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
  std::nth_element(sorted.begin(), middle, sorted.end());
  return *middle;
}

}  // namespace

void Pace::learn(const std::string& plan_sha256, const record::Run& run) {
  for (const record::Step& step : run.steps) {
    if (step.attempts.empty()) continue;
    double seconds = 0;
    for (const record::Attempt& attempt : step.attempts) {
      seconds += attempt.seconds;
      if (attempt.window) limits_[{plan_sha256, step.index}] = attempt.window->bias_limit;
    }
    std::deque<double>& of_step = seconds_[{plan_sha256, step.index}];
    of_step.push_back(seconds);
    if (of_step.size() > kRuns) of_step.pop_front();
  }
}

std::vector<double> Pace::limits(const std::string& plan_sha256, int step) const {
  const auto found = limits_.find({plan_sha256, step});
  return found == limits_.end() ? std::vector<double>() : found->second;
}

std::optional<double> Pace::left(const std::string& plan_sha256, int step, int steps, double seconds_in_step) const {
  double sum = 0;
  for (int i = std::max(step, 1); i <= steps; ++i) {
    const auto of_step = seconds_.find({plan_sha256, i});
    if (of_step == seconds_.end()) return {};
    const double usual = median(of_step->second);
    sum += i == step ? std::max(0.0, usual - seconds_in_step) : usual;
  }
  return sum;
}

}  // namespace factory::station
