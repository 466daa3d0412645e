#include "commands/phone/teller.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <utility>

#include "files/numbers.h"
#include "record/run_text.h"
#include "sensors/sensor.h"

namespace factory {
namespace {

constexpr double kPanelSeconds = 6;
constexpr double kCommandSeconds = 0.2;
constexpr int kFreshMotion = 53;
constexpr int kFreshOthers = 13;
constexpr double kMilli = 1e-3;

// In the sensor's own time.
double expected_seconds(const plan::Step& step, bool looks_beside) {
  if (step.kind == plan::StepKind::calibrate) {
    if (is_panel_run(step.param)) return kPanelSeconds;
    const Sensor* kind = find_kind(step.type, step.param);
    if (kind == nullptr) return kCommandSeconds;
    const int fresh = looks_beside ? 0 : kind->result == Result::offset ? kFreshMotion : kFreshOthers;
    return (kind->events + fresh) * kind->period_ms * kMilli;
  }
  if (step.kind != plan::StepKind::verify || step.near) return kCommandSeconds;
  const Sensor* subject = subject_of(step.type);
  const int period_ms = subject != nullptr ? subject->period_ms : 0;
  return (std::max(step.samples, kFreshMotion) + step.settle) * step.period_s.value_or(period_ms * kMilli);
}

// What a person who sees it happen can do: of sensors of motion and pressure, and of the others.
constexpr struct {
  const char* scatters;
  const char* others;
} kToDo[] = {{"set it down still", "keep lamp, target and phone still"},  // by Restart::Cause
             {"look at its driver", "look at its driver"},
             {"lay it flat and still", "look at lamp and target"}};

// "x moves: 0.31 is above 0.05 m/s^2: set it down still". Of a variance the root, which has the unit of the samples.
std::string restart_text(const plan::Step& step, const Restart& restart) {
  const Sensor* kind = find_kind(step.type, step.param);
  const Sensor sensor = kind != nullptr ? *kind : events_of(step.type);
  const bool named = restart.axis < sensor.values;
  const std::string axis = named ? sensor.axes[restart.axis] : "value " + std::to_string(restart.axis + 1);
  const bool varies = restart.cause == Restart::Cause::variance;
  const auto shown = [&](double value) { return significant(varies ? std::sqrt(value) : value, 2); };
  std::string out = axis + (varies ? sensor.scatters ? " moves: " : " flickers: " : " is off: ") +
                    shown(restart.value) + " is above " + shown(restart.limit) + " " + sensor.unit;
  if (restart.cause == Restart::Cause::zero_variance) out = axis + " repeats one value";
  const auto& to_do = kToDo[static_cast<size_t>(restart.cause)];
  return out + ": " + (sensor.scatters ? to_do.scatters : to_do.others);
}

}  // namespace

Teller::Teller(const plan::Plan& plan, Session& session, bool values)
    : tap_(session.log()), text_(!session.options().json), values_(values) {
  const double pace = pace_of(session.options());
  for (const plan::Block& block : plan.blocks) {
    for (size_t i = 0; i < block.steps.size();) {
      // Of looks beside each other a later one takes what it takes longer than those before it; of a calibration that
      // the next one runs beside, its run counts.
      double longest = 0;
      for (const size_t end = i + looks_together(block, i); i < end; ++i) {
        const double seconds = expected_seconds(block.steps[i], next_runs_beside(block, i)) / pace;
        seconds_.push_back(std::max(0.0, seconds - longest));
        steps_.push_back(&block.steps[i]);
        longest = std::max(longest, seconds);
      }
    }
  }
  if (!line_.shown()) return;
  thread_ = std::thread([this] {
    while (!done_) {
      show();
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  });
}

Teller::~Teller() {
  done_ = true;
  if (thread_.joinable()) thread_.join();
  pause();
}

void Teller::begins(const record::Step& step, int attempt) {
  const std::lock_guard<std::mutex> lock(mutex_);
  index_ = step.index;
  name_ = step.name + (attempt > 1 ? ", attempt " + std::to_string(attempt) : "");
  started_ = std::chrono::steady_clock::now();
  restarts_ = tap_.counts().restarts;  // of the run before, whose log goes when this one starts
  restarted_.clear();
}

void Teller::warns(const record::Step& step, const std::string& text) {
  // Of a plan the first one: what else is to come the record has, step by step.
  const bool told = !values_ && std::exchange(warned_, true);
  if (!text_ || told) return;
  pause();
  std::cout << wrapped(step.name + ": " + text + (values_ ? "" : "; nor can some of what follows, as the record says"),
                       terminal_columns(), "    ")
            << std::endl;
  begins(step, 1);
}

void Teller::ended(const record::Step& step, const record::Attempt& attempt) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (index_ == step.index) index_ = 0;  // not where another one goes on
  line_.clear();
  if (!text_) return;
  std::cout << record::attempt_text(step.index, static_cast<int>(seconds_.size()), step.name, attempt)
            << (values_ ? record::values_text(attempt) : "") << std::flush;
}

void Teller::pause() {
  const std::lock_guard<std::mutex> lock(mutex_);
  index_ = 0;
  line_.clear();
}

double Teller::left() const {
  const double spent = std::chrono::duration<double>(std::chrono::steady_clock::now() - started_).count();
  double out = std::max(0.0, seconds_[static_cast<size_t>(index_) - 1] - spent);
  for (size_t i = static_cast<size_t>(index_); i < seconds_.size(); ++i) out += seconds_[i];
  return out;
}

// A few a second, so that each can be read.
const std::string& Teller::restarted(const LogTap::Counts& counts) {
  constexpr std::chrono::milliseconds kReadable{400};
  constexpr std::chrono::seconds kNews{2};
  const auto now = std::chrono::steady_clock::now();
  restarts_ = std::min(restarts_, counts.restarts);
  if (counts.restarts > restarts_ && (restarted_.empty() || now - restarted_at_ >= kReadable)) {
    restarts_ = counts.restarts;
    restarted_ = restart_text(*steps_[static_cast<size_t>(index_) - 1], *counts.last_restart);
    restarted_at_ = now;
  } else if (now - restarted_at_ >= kNews) {
    restarted_.clear();
  }
  return restarted_;
}

void Teller::show() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (index_ == 0) return;
  const LogTap::Counts counts = tap_.counts();
  if (!restarted(counts).empty()) {
    line_.show("[" + std::to_string(index_) + "/" + std::to_string(seconds_.size()) + "] " + name_ + "  " + restarted_);
    return;
  }
  const int seconds = static_cast<int>(std::ceil(left()));  // 0: the last step takes longer than it was to
  std::string line = "[" + std::to_string(index_) + "/" + std::to_string(seconds_.size()) + "] " +
                     (seconds > 0 ? "about " + std::to_string(seconds) + " s left  " : "soon done  ") + name_ + "  " +
                     std::to_string(counts.events) + " events";
  if (counts.restarts > 0) line += ", restarts: " + std::to_string(counts.restarts);
  line_.show(line);
}

}  // namespace factory
