#include "store/run_rows.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>

#include "files/json_text.h"
#include "store/error.h"
#include "store/run_id.h"
#include "store/stored_text.h"

namespace factory::store {
namespace {

constexpr const char* kVerdicts[] = {"passed", "marginal", "failed", "skipped", "aborted"};
constexpr const char* kStates[] = {"settling", "discarded", "accepted"};
constexpr const char* kRestarts[] = {"variance", "zero_variance", "bias"};
constexpr int64_t kDayMs = 86400000;

// Squares of these, and sums of the squares, stay within a double.
constexpr double kMost = 1e100;
constexpr double kLeast = 1e-100;

template <size_t N>
int code_of(const char* const (&names)[N], const Json::Value& value, int otherwise) {
  const std::string name = value.isString() ? value.asString() : "";
  const auto* found = std::find(std::begin(names), std::end(names), name);
  return found == std::end(names) ? otherwise : static_cast<int>(found - std::begin(names));
}

int verdict_of(const Json::Value& object) { return code_of(kVerdicts, object["verdict"], kFailedCode); }

std::string text(const Json::Value& value) { return value.isString() ? to_stored(value.asString()) : ""; }

int whole(const Json::Value& value) { return value.isInt() ? value.asInt() : 0; }

bool flag(const Json::Value& value) { return value.isBool() && value.asBool(); }

double number_or_0(const Json::Value& value) { return to_number(value).value.value_or(0); }

std::optional<std::string> list_text(const Json::Value& value) {
  if (!value.isArray() || value.empty()) return {};
  return to_stored(json_line(value));
}

// Null where the record has no such list.
const Json::Value& list(const Json::Value& value) {
  static const Json::Value kNone(Json::arrayValue);
  return value.isArray() ? value : kNone;
}

// As the record writes it, "2026-11-24T22:04:05.123Z"; a time that cannot be read becomes the run's.
long long milliseconds_of(const Json::Value& value, long long otherwise) {
  int year, month, day, hour, minute, second, millisecond;
  const std::string t = value.isString() ? value.asString() : "";
  if (sscanf(t.c_str(), "%d-%d-%dT%d:%d:%d.%dZ", &year, &month, &day, &hour, &minute, &second, &millisecond) != 7)
    return otherwise;
  using namespace std::chrono;  // NOLINT(google-build-using-namespace): calendar arithmetic
  const std::chrono::year_month_day date{std::chrono::year{year}, std::chrono::month{static_cast<unsigned>(month)},
                                         std::chrono::day{static_cast<unsigned>(day)}};
  if (!date.ok()) return otherwise;
  return (sys_days{date}.time_since_epoch().count() * 86400LL + hour * 3600 + minute * 60 + second) * 1000 +
         millisecond;
}

MeasurementRow measurement_row(const Json::Value& m) {
  MeasurementRow row{};
  row.name = text(m["name"]);
  row.axis = text(m["axis"]);
  row.unit = text(m["unit"]);
  // A limit that is no number limits nothing.
  row.low = to_number(m["low"]).value;
  row.high = to_number(m["high"]).value;
  row.number = to_number(m["value"]);
  row.standard_error = to_number(m["standard_error"]).value;
  row.verdict = verdict_of(m);
  return row;
}

AttemptRow attempt_row(const Json::Value& attempt, int step_index, long long run_started_ms) {
  AttemptRow row{};
  row.step_index = step_index;
  row.number = whole(attempt["number"]);
  row.started_ms = milliseconds_of(attempt["started"], run_started_ms);
  row.seconds = number_or_0(attempt["seconds"]);
  row.verdict = verdict_of(attempt);
  row.kept = flag(attempt["kept"]) ? 1 : 0;
  row.put_back = flag(attempt["put_back"]) ? 1 : 0;
  for (int i = 0; i < 3; ++i) row.restarts[i] = whole(attempt["restarts"][kRestarts[i]]);
  row.reasons = list_text(attempt["reasons"]);
  row.hints = list_text(attempt["hints"]);
  row.notes = list_text(attempt["notes"]);
  return row;
}

void add_samples(const Json::Value& window, int step_index, int attempt, RunRows* rows) {
  if (!window.isObject()) return;
  rows->windows.push_back({step_index, attempt, text(window["unit"]), to_stored(json_line(list(window["axes"]))),
                           to_number(window["period_ms"]).value});
  for (const Json::Value& sample : list(window["samples"])) {
    int axis = 0;
    for (const Json::Value& value : list(sample["values"]))
      rows->samples.push_back({step_index, attempt, whole(sample["event"]), axis++, to_number(value),
                               code_of(kStates, sample["state"], 0)});
  }
}

void add_attempt(const Json::Value& attempt, bool deciding, bool samples, RunRows* rows) {
  const int step_index = rows->steps.back().index;
  const AttemptRow row = attempt_row(attempt, step_index, rows->started_ms);
  rows->attempts.push_back(row);
  int position = 0;
  for (const Json::Value& m : list(attempt["measurements"])) {
    MeasurementRow measurement = measurement_row(m);
    measurement.step = rows->steps.size() - 1;
    measurement.step_index = step_index;
    measurement.attempt = row.number;
    measurement.position = ++position;
    measurement.deciding = deciding;
    rows->measurements.push_back(std::move(measurement));
  }
  if (samples) add_samples(attempt["window"], step_index, row.number, rows);
}

void add_step(const Json::Value& step, bool samples, RunRows* rows) {
  PlanStep plan_step{text(step["name"]), text(step["kind"]), text(step["group"]), text(step["tag"]), {}};
  if (step["param"].isInt()) plan_step.param = step["param"].asInt();
  const Json::Value& attempts = list(step["attempts"]);
  rows->steps.push_back({whole(step["index"]), plan_step, verdict_of(step), static_cast<int>(attempts.size())});
  rows->retried |= attempts.size() > 1;
  for (Json::ArrayIndex i = 0; i < attempts.size(); ++i)
    add_attempt(attempts[i], i + 1 == attempts.size(), samples, rows);
}

// What a failed run failed on: the first step that did, and of its last attempt the first value out of its limits.
void find_failure(RunRows* rows) {
  if (rows->verdict != kFailedCode) return;
  const auto step = std::find_if(rows->steps.begin(), rows->steps.end(),
                                 [](const StepRow& row) { return row.verdict == kFailedCode; });
  if (step == rows->steps.end()) return;
  rows->failed_step = step->plan_step.name;
  for (const MeasurementRow& m : rows->measurements) {
    if (m.step_index != step->index || !m.deciding || m.verdict != kFailedCode) continue;
    rows->failed_measurement = m.axis.empty() ? m.name : m.name + " " + m.axis;
    return;
  }
}

Setup setup_of(const Json::Value& record) {
  Setup setup;
  setup.station = text(record["station"]);
  setup.operator_name = text(record["operator"]);
  setup.plan = text(record["plan"]["name"]);
  setup.plan_file = text(record["plan"]["file"]);
  setup.plan_hash = text(record["plan"]["hash"]);
  setup.profile = text(record["phone"]["profile"]);
  setup.application = text(record["application"]["version"]);
  setup.application_build = text(record["application"]["build_id"]);
  setup.library = text(record["library"]["version"]);
  setup.library_build = text(record["library"]["build_id"]);
  return setup;
}

}  // namespace

Number to_number(const Json::Value& value) {
  Number out;
  if (value.isString()) out.exact = to_stored(value.asString());
  if (!value.isNumeric()) return out;
  const double number = value.asDouble();
  const double size = std::abs(number);
  if (size < kMost) out.value = size < kLeast ? 0 : number;
  if (size < kMost && (number == 0 || size >= kLeast)) return out;
  char digits[40];
  out.exact = std::string(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
  return out;
}

const char* verdict_name(int code) {
  return code >= 0 && code < static_cast<int>(std::size(kVerdicts)) ? kVerdicts[code] : "unknown";
}

RunRows rows_of(const Json::Value& record, bool samples) {
  if (!record.isObject() || record["schema"] != "sensorcal.run/1") throw StoreError("this is no record of a run");
  RunRows rows{};
  rows.id = record["id"].isString() ? record["id"].asString() : "";
  rows.started_ms = time_of_id_ms(rows.id);
  rows.day = static_cast<int>(rows.started_ms / kDayMs);
  rows.serial = text(record["serial"]);
  rows.seconds = number_or_0(record["seconds"]);
  rows.verdict = verdict_of(record);
  rows.marginal = flag(record["marginal"]);
  rows.remarks = list_text(record["remarks"]);
  rows.setup = setup_of(record);
  for (const Json::Value& step : list(record["steps"])) add_step(step, samples, &rows);
  find_failure(&rows);
  return rows;
}

Json::Value storable(const Json::Value& record, bool samples) {
  Json::Value out = record;
  for (Json::Value& step : out["steps"]) {
    for (Json::Value& attempt : step["attempts"]) {
      for (const char* name : {"hub", "log", "before", "after"}) attempt.removeMember(name);
      if (!samples) attempt.removeMember("window");
    }
  }
  return out;
}

}  // namespace factory::store
