#include "store/run_rows.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>

#include "files/json_text.h"
#include "record/record_json.h"
#include "store/plan_hash.h"
#include "store/run_id.h"
#include "store/stored_text.h"

namespace factory::store {
namespace {

constexpr int64_t kDayMs = 86400000;

// Squares of these, and sums of the squares, stay within a double.
constexpr double kMax = 1e100;
constexpr double kMin = 1e-100;

// The codes are those of the record's type, in its order.
int code_of(record::Outcome outcome) { return static_cast<int>(outcome); }
static_assert(static_cast<int>(record::Outcome::error) == kErrorCode && record::kOutcomes == kErrorCode + 1);

std::optional<std::string> list_text(const Json::Value& value) {
  if (value.empty()) return {};
  return to_stored(json_line(value));
}

std::optional<std::string> list_text(const std::vector<record::Text>& texts) {
  return list_text(record::to_json(texts));
}

std::string json_list(const std::vector<std::string>& texts) {
  Json::Value out(Json::arrayValue);
  for (const std::string& text : texts) out.append(text);
  return to_stored(json_line(out));
}

std::optional<std::string> list_text(const std::vector<std::string>& texts) {
  if (texts.empty()) return {};
  return json_list(texts);
}

// A limit that is no number limits nothing.
std::optional<double> usable(std::optional<double> value) { return value ? to_number(*value).value : std::nullopt; }

long long milliseconds_of(record::Clock::time_point time) {
  return std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

MeasurementRow measurement_row(const record::Measurement& m) {
  MeasurementRow row{};
  row.name = to_stored(m.name);
  row.axis = to_stored(m.axis);
  row.unit = to_stored(m.unit);
  row.low = usable(m.low);
  row.high = usable(m.high);
  row.number = to_number(m.value);
  row.standard_error = usable(m.standard_error);
  row.verdict = code_of(m.outcome);
  return row;
}

AttemptRow attempt_row(const record::Attempt& attempt, int step_index) {
  AttemptRow row{};
  row.step_index = step_index;
  row.number = attempt.number;
  row.started_ms = milliseconds_of(attempt.started);
  row.seconds = usable(attempt.seconds).value_or(0);
  row.verdict = code_of(attempt.outcome);
  row.kept = attempt.kept ? 1 : 0;
  row.put_back = attempt.put_back ? 1 : 0;
  std::copy(std::begin(attempt.restarts), std::end(attempt.restarts), row.restarts);
  row.reasons = list_text(attempt.reasons);
  row.hints = list_text(attempt.hints);
  row.notes = list_text(attempt.notes);
  return row;
}

void add_samples(const record::Window& window, int step_index, int attempt, RunRows* rows) {
  std::optional<double> period;
  if (window.period_ms > 0) period = window.period_ms;
  rows->windows.push_back({step_index, attempt, to_stored(window.unit), json_list(window.axes), period});
  for (const record::Sample& sample : window.samples) {
    int axis = 0;
    for (const double value : sample.values)
      rows->samples.push_back(
          {step_index, attempt, sample.event, axis++, to_number(value), static_cast<int>(sample.state)});
  }
}

void add_attempt(const record::Attempt& attempt, bool deciding, bool samples, RunRows* rows) {
  const int step_index = rows->steps.back().index;
  rows->attempts.push_back(attempt_row(attempt, step_index));
  int position = 0;
  for (const record::Measurement& m : attempt.measurements) {
    MeasurementRow measurement = measurement_row(m);
    measurement.step = rows->steps.size() - 1;
    measurement.step_index = step_index;
    measurement.attempt = attempt.number;
    measurement.position = ++position;
    measurement.deciding = deciding;
    rows->measurements.push_back(std::move(measurement));
  }
  if (samples && attempt.window) add_samples(*attempt.window, step_index, attempt.number, rows);
}

void add_step(const record::Step& step, bool samples, RunRows* rows) {
  PlanStep plan_step{to_stored(step.name), to_stored(step.kind), to_stored(step.group), to_stored(step.tag), {}};
  if (step.param) plan_step.param = *step.param;
  rows->steps.push_back({step.index, plan_step, code_of(step.outcome), static_cast<int>(step.attempts.size())});
  rows->retried |= step.attempts.size() > 1;
  // An attempt that could not judge has decided nothing.
  const bool judged = step.outcome != record::Outcome::error && step.outcome != record::Outcome::aborted;
  for (const record::Attempt& attempt : step.attempts)
    add_attempt(attempt, judged && &attempt == &step.attempts.back(), samples, rows);
}

// What a run failed on, or ended with an error: the first step that did, and of the attempt that decided the first
// value out of its limits.
void find_failure(RunRows* rows) {
  if (rows->verdict != kFailedCode && rows->verdict != kErrorCode) return;
  const auto step = std::find_if(rows->steps.begin(), rows->steps.end(),
                                 [&](const StepRow& row) { return row.verdict == rows->verdict; });
  if (step == rows->steps.end()) return;
  rows->failed_step = step->plan_step.name;
  for (const MeasurementRow& m : rows->measurements) {
    if (m.step_index != step->index || !m.deciding || m.verdict != kFailedCode) continue;
    rows->failed_measurement = m.axis.empty() ? m.name : m.name + " " + m.axis;
    return;
  }
}

Setup setup_of(const record::Run& run) {
  Setup setup;
  setup.station = to_stored(run.station);
  setup.operator_name = to_stored(run.operator_name);
  setup.plan = to_stored(run.plan.name);
  setup.plan_file = to_stored(run.plan.file);
  const bool hashed = !run.plan.sha256.empty() || run.plan.bytes.empty();
  setup.plan_hash = to_stored(hashed ? run.plan.sha256 : sha256(run.plan.bytes));
  setup.profile = to_stored(run.phone.fact("profile"));
  setup.application = to_stored(run.application.version);
  setup.application_build = to_stored(run.application.build_id);
  setup.library = to_stored(run.library.version);
  setup.library_build = to_stored(run.library.build_id);
  return setup;
}

}  // namespace

Number to_number(double number) {
  Number out;
  const double size = std::abs(number);
  if (size < kMax) out.value = size < kMin ? 0 : number;
  if (size < kMax && (number == 0 || size >= kMin)) return out;
  if (std::isnan(number)) {
    out.exact = "nan";  // without a sign
    return out;
  }
  char digits[40];
  out.exact = std::string(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
  return out;
}

const char* verdict_name(int code) {
  return code >= 0 && code < record::kOutcomes ? outcome_name(static_cast<record::Outcome>(code)) : "unknown";
}

RunRows rows_of(const record::Run& run, bool samples) {
  RunRows rows{};
  rows.id = run.id;
  rows.started_ms = time_of_id_ms(rows.id);
  rows.day = static_cast<int>(rows.started_ms / kDayMs);
  rows.serial = to_stored(run.serial);
  rows.seconds = usable(run.seconds).value_or(0);
  rows.verdict = code_of(run.outcome);
  rows.marginal = run.marginal();
  rows.remarks = list_text(run.remarks);
  rows.setup = setup_of(run);
  for (const record::Step& step : run.steps) add_step(step, samples, &rows);
  find_failure(&rows);
  return rows;
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
