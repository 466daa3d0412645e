#include "run/run_progress.h"

#include <algorithm>
#include <cmath>

#include "sensors/sensor.h"

namespace factory::plan {
namespace {

constexpr double kPanelSeconds = 6;
constexpr double kCommandSeconds = 0.2;
constexpr int kFreshMotion = 53;
constexpr int kFreshOthers = 13;
constexpr double kMilli = 1e-3;

// In the sensor's own time.
double expected_seconds(const Step& step) {
  if (step.kind == StepKind::calibrate) {
    if (is_panel_run(step.param)) return kPanelSeconds;
    const Sensor* kind = find_kind(step.type, step.param);
    if (kind == nullptr) return kCommandSeconds;
    const int fresh = kind->result == Result::offset ? kFreshMotion : kFreshOthers;
    return (kind->events + fresh) * kind->period_ms * kMilli;
  }
  if (step.kind != StepKind::verify || step.near) return kCommandSeconds;
  const Sensor* subject = subject_of(step.type);
  const int period_ms = subject != nullptr ? subject->period_ms : 0;
  return (std::max(step.samples, kFreshMotion) + step.settle) * step.period_s.value_or(period_ms * kMilli);
}

}  // namespace

RunProgress::RunProgress(const Plan& plan, const LogTap& tap, double speed) : tap_(tap) {
  for (const Block& block : plan.blocks) {
    for (const Step& step : block.steps) seconds_.push_back(expected_seconds(step) / speed);
  }
  if (!line_.shown()) return;
  thread_ = std::thread([this] {
    while (!done_) {
      show();
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  });
}

RunProgress::~RunProgress() {
  done_ = true;
  if (thread_.joinable()) thread_.join();
  pause();
}

void RunProgress::begin(int index, const std::string& name) {
  const std::lock_guard<std::mutex> lock(mutex_);
  index_ = index;
  name_ = name;
  started_ = std::chrono::steady_clock::now();
}

void RunProgress::pause() {
  const std::lock_guard<std::mutex> lock(mutex_);
  index_ = 0;
  line_.clear();
}

double RunProgress::left() const {
  const double spent = std::chrono::duration<double>(std::chrono::steady_clock::now() - started_).count();
  double out = std::max(0.0, seconds_[static_cast<size_t>(index_) - 1] - spent);
  for (size_t i = static_cast<size_t>(index_); i < seconds_.size(); ++i) out += seconds_[i];
  return out;
}

void RunProgress::show() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (index_ == 0) return;
  const LogTap::Counts counts = tap_.counts();
  std::string line = "[" + std::to_string(index_) + "/" + std::to_string(seconds_.size()) + "] about " +
                     std::to_string(static_cast<int>(std::ceil(left()))) + " s left  " + name_ + "  " +
                     std::to_string(counts.events) + " events";
  if (counts.restarts > 0) line += ", restarts: " + std::to_string(counts.restarts);
  line_.show(line);
}

}  // namespace factory::plan
