#include "store/made_runs.h"

#include <cstdio>

namespace bench {
namespace {

using factory::record::Attempt;
using factory::record::Clock;
using factory::record::Outcome;
using factory::record::Run;

constexpr int kFirstDay = 20454;  // 2026-01-01
constexpr long long kDayMs = 86400000;
constexpr long long kMorningMs = 6 * 3600000LL;
constexpr long long kWorkingMs = 16 * 3600000LL;  // two shifts

struct Value {
  const char* name;
  const char* axis;
  double centre, sigma, low, high;
};
struct Step {
  const char* name;
  const char* unit;
  double seconds;
  std::vector<Value> values;
};
const Step kSteps[] = {
    {"Acc",
     "m/s^2",
     2.1,
     {{"residual", "x", 0.001, 0.004, -0.02, 0.02},
      {"residual", "y", -0.001, 0.004, -0.02, 0.02},
      {"residual", "z", 0.002, 0.005, -0.025, 0.025}}},
    {"Gyr",
     "rad/s",
     3.2,
     {{"residual", "x", 0.0001, 0.0003, -0.0015, 0.0015},
      {"residual", "y", 0.0, 0.0003, -0.0015, 0.0015},
      {"residual", "z", -0.0001, 0.0003, -0.0015, 0.0015}}},
    {"Mag",
     "uT",
     4.0,
     {{"field", "x", 21.4, 0.4, 19, 24}, {"field", "y", 3.1, 0.4, 1, 5}, {"field", "z", -42.7, 0.5, -46, -40}}},
    {"Lux", "", 5.5, {{"scale", "", 1.04, 0.03, 0.8, 1.25}}},
};

}  // namespace

MadeRuns::MadeRuns(const Line& line) : line_(line), random_(line.seed) {}

Run MadeRuns::next() {
  const long long sequence = made_++;
  const long long share = sequence * line_.days;
  const int day = kFirstDay + static_cast<int>(share / line_.runs);
  const auto through = static_cast<double>(share % line_.runs) / line_.runs;
  const long long started_ms = day * kDayMs + kMorningMs + static_cast<long long>(through * kWorkingMs);
  Run run;
  run.started = Clock::time_point(std::chrono::milliseconds(started_ms));
  run.id = id_of(started_ms);
  if (!again_.empty() && by_chance(0.05)) {
    run.serial = again_.front();
    again_.erase(again_.begin());
  } else {
    char serial[24];
    snprintf(serial, sizeof serial, "R5CT%08d", ++phones_);
    run.serial = serial;
  }
  const int station = static_cast<int>(random_() % static_cast<unsigned>(line_.stations));
  set_up(station, day, &run);
  run.seconds = 16.5 + 0.4 * normal();
  run.outcome = Outcome::passed;
  const size_t retried = by_chance(0.02) ? random_() % std::size(kSteps) : std::size(kSteps);
  for (size_t i = 0; i < std::size(kSteps); ++i) {
    run.steps.push_back(step_of(i, i == retried, run.started));
    if (run.steps.back().outcome == Outcome::failed) run.outcome = Outcome::failed;
  }
  if (by_chance(0.002)) run.outcome = Outcome::aborted;
  if (run.outcome == Outcome::failed && by_chance(0.8)) again_.push_back(run.serial);
  return run;
}

// The operator changes with the shift of the week, the application once.
void MadeRuns::set_up(int station, int day, Run* run) const {
  run->station = "station-" + std::to_string(station + 1);
  run->operator_name = (day / 7 + station) % 2 == 0 ? "early" : "late";
  run->plan.name = "assembly";
  run->plan.file = "assembly.json";
  run->plan.sha256 = std::string(64, 'a');
  run->phone.facts["profile"] = "reference";
  run->application = {day < kFirstDay + line_.days / 2 ? "0.1.0" : "0.2.0", std::string(40, 'b')};
  run->library = run->application;
}

factory::record::Step MadeRuns::step_of(size_t index, bool retried, Clock::time_point started) {
  factory::record::Step step;
  step.index = static_cast<int>(index) + 1;
  step.name = step.tag = kSteps[index].name;
  step.kind = "calibrate";
  step.param = 1;
  const int attempts = retried ? 2 : 1;
  for (int number = 1; number <= attempts; ++number) {
    step.attempts.push_back(attempt_of(index, number, number == attempts));
    step.attempts.back().started = started + std::chrono::seconds(4 * index);
  }
  step.outcome = step.attempts.back().outcome;
  return step;
}

Attempt MadeRuns::attempt_of(size_t index, int number, bool last) {
  const Step& step = kSteps[index];
  Attempt attempt;
  attempt.number = number;
  attempt.seconds = step.seconds;
  attempt.kept = last;
  attempt.restarts[0] = by_chance(0.1) ? 1 : 0;
  if (!last) {
    attempt.outcome = Outcome::failed;
    attempt.reasons = {"the sensor moved while it was sampled"};
  }
  for (const Value& v : step.values) {
    factory::record::Measurement m;
    m.name = v.name;
    m.axis = v.axis;
    m.unit = step.unit;
    m.low = v.low;
    m.high = v.high;
    m.value = v.centre + v.sigma * normal() * (by_chance(0.002) ? 8 : 1);
    m.standard_error = v.sigma / 20;
    if (m.value < v.low || m.value > v.high) m.outcome = attempt.outcome = Outcome::failed;
    attempt.measurements.push_back(m);
  }
  return attempt;
}

std::string MadeRuns::id_of(long long ms) {
  const uint64_t a = random_();
  const uint64_t b = random_();
  char text[37];
  snprintf(text, sizeof text, "%08x-%04x-7%03x-%04x-%04x%08x", static_cast<unsigned>(ms >> 16),
           static_cast<unsigned>(ms & 0xffff), static_cast<unsigned>(a & 0xfffU),
           static_cast<unsigned>(0x8000U | (a >> 16U & 0x3fffU)), static_cast<unsigned>(b & 0xffffU),
           static_cast<unsigned>(b >> 32U));
  return text;
}

}  // namespace bench
