#include "store/stored_run.h"

#include <algorithm>
#include <cmath>

#include "files/numbers.h"
#include "store/stored_text.h"

namespace factory::store {
namespace {

using record::Outcome;

// Squares of these, and sums of the squares, stay within a double.
constexpr double kMax = 1e100;
constexpr double kMin = 1e-100;

}  // namespace

void hash_plan(record::Run* run) {
  if (run->plan.sha256.empty() && !run->plan.bytes.empty()) run->plan.sha256 = sha256(run->plan.bytes);
}

Number to_number(double number) {
  Number out;
  const double size = std::abs(number);
  if (size < kMax) out.value = size < kMin ? 0 : number;
  if (size < kMax && (number == 0 || size >= kMin)) return out;
  out.exact = std::isnan(number) ? "nan" : plain_exactly(number);  // not-a-number without a sign
  return out;
}

std::optional<double> usable(std::optional<double> value) { return value ? to_number(*value).value : std::nullopt; }

bool decided(const record::Step& step, const record::Attempt& attempt) {
  return step.outcome != Outcome::error && step.outcome != Outcome::aborted && &attempt == &step.attempts.back();
}

FailedOn failed_on(const record::Run& run) {
  if (run.outcome != Outcome::failed && run.outcome != Outcome::error) return {};
  const auto step =
      std::find_if(run.steps.begin(), run.steps.end(), [&](const record::Step& s) { return s.outcome == run.outcome; });
  if (step == run.steps.end()) return {};
  FailedOn out{step->name, {}};
  if (step->attempts.empty() || !decided(*step, step->attempts.back())) return out;
  for (const record::Measurement& m : step->attempts.back().measurements) {
    if (m.outcome != Outcome::failed) continue;
    out.measurement = m.axis.empty() ? m.name : m.name + " " + m.axis;
    break;
  }
  return out;
}

record::Run storable(record::Run run, bool samples) {
  hash_plan(&run);
  run.plan.bytes.clear();
  for (record::Step& step : run.steps) {
    for (record::Attempt& attempt : step.attempts) {
      attempt.hub.clear();
      attempt.log.clear();
      attempt.before.clear();
      attempt.after.clear();
      if (!samples) attempt.window.reset();
    }
  }
  return run;
}

}  // namespace factory::store
