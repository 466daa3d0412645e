#include "store/made_runs.h"

#include <cstdio>

namespace bench {
namespace {

using factory::store::RunRows;

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

RunRows MadeRuns::next() {
  const long long sequence = made_++;
  const long long share = sequence * line_.days;
  const int day = kFirstDay + static_cast<int>(share / line_.runs);
  const auto through = static_cast<double>(share % line_.runs) / line_.runs;
  RunRows run{};
  run.day = day;
  run.started_ms = day * kDayMs + kMorningMs + static_cast<long long>(through * kWorkingMs);
  run.id = id_of(run.started_ms);
  if (!again_.empty() && by_chance(0.05)) {
    run.serial = again_.front();
    again_.erase(again_.begin());
  } else {
    char serial[24];
    snprintf(serial, sizeof serial, "R5CT%08d", ++phones_);
    run.serial = serial;
  }
  const int station = static_cast<int>(random_() % static_cast<unsigned>(line_.stations));
  run.setup = setup_of(station, day);
  run.seconds = 16.5 + 0.4 * normal();
  run.verdict = factory::store::kPassedCode;
  const size_t retried = by_chance(0.02) ? random_() % std::size(kSteps) : std::size(kSteps);
  for (size_t i = 0; i < std::size(kSteps); ++i) add_step(i, i == retried, &run);
  if (by_chance(0.002)) run.verdict = factory::store::kAbortedCode;
  if (run.verdict == factory::store::kFailedCode && by_chance(0.8)) again_.push_back(run.serial);
  return run;
}

// The operator changes with the shift of the week, the application once.
factory::store::Setup MadeRuns::setup_of(int station, int day) const {
  factory::store::Setup setup;
  setup.station = "station-" + std::to_string(station + 1);
  setup.operator_name = (day / 7 + station) % 2 == 0 ? "early" : "late";
  setup.plan = "assembly";
  setup.plan_file = "assembly.json";
  setup.plan_hash = std::string(64, 'a');
  setup.profile = "reference";
  setup.application = day < kFirstDay + line_.days / 2 ? "0.1.0" : "0.2.0";
  setup.application_build = setup.library_build = std::string(40, 'b');
  setup.library = setup.application;
  return setup;
}

void MadeRuns::add_step(size_t index, bool retried, RunRows* run) {
  const Step& step = kSteps[index];
  const int attempts = retried ? 2 : 1;
  run->retried |= retried;
  run->steps.push_back(
      {static_cast<int>(index) + 1, {step.name, "calibrate", "", step.name, 1}, factory::store::kPassedCode, attempts});
  for (int attempt = 1; attempt <= attempts; ++attempt) {
    factory::store::AttemptRow row{};
    row.step_index = static_cast<int>(index) + 1;
    row.number = attempt;
    row.started_ms = run->started_ms + static_cast<long long>(index) * 4000;
    row.seconds = step.seconds;
    row.kept = 1;
    row.restarts[0] = by_chance(0.1) ? 1 : 0;
    if (attempt < attempts) {
      row.verdict = factory::store::kFailedCode;
      row.kept = 0;
      row.reasons = "[\"the sensor moved while it was sampled\"]";
    }
    run->attempts.push_back(row);
    add_values(index, attempt, attempt == attempts, run);
  }
}

void MadeRuns::add_values(size_t index, int attempt, bool deciding, RunRows* run) {
  const Step& step = kSteps[index];
  int position = 0;
  for (const Value& v : step.values) {
    factory::store::MeasurementRow row{};
    row.step_index = static_cast<int>(index) + 1;
    row.attempt = attempt;
    row.position = ++position;
    row.step = index;
    row.name = v.name;
    row.axis = v.axis;
    row.unit = step.unit;
    row.low = v.low;
    row.high = v.high;
    row.number.value = v.centre + v.sigma * normal() * (by_chance(0.002) ? 8 : 1);
    row.standard_error = v.sigma / 20;
    row.deciding = deciding;
    if (*row.number.value < v.low || *row.number.value > v.high) row.verdict = factory::store::kFailedCode;
    if (deciding && row.verdict == factory::store::kFailedCode && !run->failed_step) {
      run->verdict = run->steps.back().verdict = run->attempts.back().verdict = row.verdict;
      run->failed_step = step.name;
      run->failed_measurement = row.axis.empty() ? row.name : row.name + " " + row.axis;
    }
    run->measurements.push_back(row);
  }
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
