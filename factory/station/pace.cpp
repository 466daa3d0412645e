#include "station/pace.h"

#include <algorithm>

#include "files/numbers.h"

namespace factory::station {
namespace {

constexpr size_t kRuns = 15;

}  // namespace

void Pace::learn(const std::string& plan_sha256, const record::Run& run) {
  for (const record::Step& step : run.steps) {
    if (step.attempts.empty()) continue;
    const PlanStep key{plan_sha256, step.index};
    std::deque<double>& left = left_[key];
    left.push_back(std::chrono::duration<double>(run.ended() - step.attempts.front().started).count());
    if (left.size() > kRuns) left.pop_front();
    if (step.attempts.back().window) limits_[key] = step.attempts.back().window->bias_limit;
  }
}

std::vector<double> Pace::limits(const std::string& plan_sha256, int step) const {
  const auto found = limits_.find({plan_sha256, step});
  return found == limits_.end() ? std::vector<double>() : found->second;
}

// Never less than from the next step's begin on: that is still to come.
std::optional<double> Pace::left(const std::string& plan_sha256, int step, double seconds_in_step) const {
  const auto here = left_.find({plan_sha256, step});
  if (here == left_.end()) return {};
  const auto next = left_.find({plan_sha256, step + 1});
  const auto usual = [](const std::deque<double>& runs) { return median({runs.begin(), runs.end()}); };
  return std::max(usual(here->second) - seconds_in_step, next == left_.end() ? 0 : usual(next->second));
}

}  // namespace factory::station
