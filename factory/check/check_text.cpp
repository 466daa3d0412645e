// A check as JSON and as text.
#include <cmath>

#include "check/sensor_check.h"
#include "cli/terminal.h"
#include "files/json_text.h"
#include "files/numbers.h"
#include "sensors/sensor.h"

namespace factory {
namespace {

constexpr const char* kVerdicts[] = {"passed", "failed", "skipped"};

std::string number(double value) { return std::isfinite(value) ? plain(value) : fixed(value, 0); }

std::string unit_text(const Limit& limit) { return *limit.unit == '\0' ? "" : std::string(" ") + limit.unit; }

// "at most 405 ms", "90 to 220 %".
std::string allowed(const Finding& finding) {
  const Limit& limit = *finding.limit;
  const std::string unit = unit_text(limit);
  if (limit.least > -Limit::kNone && finding.most < Limit::kNone)
    return number(limit.least) + " to " + number(finding.most) + unit;
  if (limit.least > -Limit::kNone) return "at least " + number(limit.least) + unit;
  return (limit.strict ? "below " : "at most ") + number(finding.most) + unit;
}

std::string hint(const Finding& finding) {
  const std::vector<double>& values = finding.measured.values;
  const bool came = std::string(finding.limit->key) != "first_sample";
  return came && std::isnan(values[finding.worst]) ? "the driver delivers values that are no numbers"
                                                   : finding.limit->hint;
}

// The axis of the worst value, where the limit is one of each axis.
std::string worst_axis(const SensorCheck& check, const Finding& finding) {
  return finding.measured.values.size() > 1 ? check.seen.quantity.axes[finding.worst] : "";
}

std::string measured(const Finding& finding) {
  if (finding.measured.values.empty()) return "-";
  const double value = finding.measured.values[finding.worst];
  if (std::isnan(value) && std::string(finding.limit->key) == "first_sample") return "none came";
  return number(value) + unit_text(*finding.limit);
}

std::string status_text(Status status) {
  const char* word = kVerdicts[static_cast<int>(status)];
  return status == Status::passed ? good(word) : status == Status::failed ? bad(word) : faint(word);
}

Json::Value to_json(const SensorCheck& check, const Finding& finding) {
  const Limit& limit = *finding.limit;
  Json::Value out;
  out["key"] = limit.key;
  out["name"] = limit.name;
  out["section"] = limit.section;
  out["unit"] = limit.unit;
  out["low"] = limit.least > -Limit::kNone ? json_number(limit.least) : Json::Value();
  out["high"] = finding.most < Limit::kNone ? json_number(finding.most) : Json::Value();
  out["limit_itself_passes"] = !limit.strict;
  out["verdict"] = kVerdicts[static_cast<int>(finding.status)];
  Json::Value& values = out["values"] = Json::Value(Json::arrayValue);
  for (const double value : finding.measured.values) values.append(json_number(value));
  if (!finding.measured.values.empty()) out["worst"] = json_number(finding.measured.values[finding.worst]);
  if (const std::string axis = worst_axis(check, finding); !axis.empty()) out["axis"] = axis;
  if (!finding.measured.unknown.empty()) out["why"] = finding.measured.unknown;
  if (finding.status == Status::failed) out["hint"] = hint(finding);
  return out;
}

}  // namespace

Json::Value to_json(const SensorCheck& check) {
  Json::Value out = sensor_json(check.seen.quantity.type);
  out["name"] = check.name;
  out["requested_period_ms"] = json_number(check.requested_ms);
  out["period_ms"] = json_number(check.seen.period_ms);
  out["events"] = static_cast<Json::UInt>(check.seen.main.samples.size());
  out["verdict"] = check.interrupted ? "aborted" : check.passed() ? "passed" : "failed";
  if (!check.problem.empty()) out["why"] = check.problem;
  Json::Value& notes = out["notes"] = Json::Value(Json::arrayValue);
  for (const std::string& note : check.notes) notes.append(note);
  Json::Value& findings = out["limits"] = Json::Value(Json::arrayValue);
  for (const Finding& finding : check.findings) findings.append(to_json(check, finding));
  return out;
}

std::vector<std::vector<std::string>> table_rows(const SensorCheck& check) {
  const std::string tag = tag_of(check.seen.quantity.type);
  if (check.interrupted) return {{tag, "-", "-", "-", "-", faint("interrupted")}};
  if (!check.problem.empty()) return {{tag, "-", "-", "-", "-", bad("failed")}};
  std::vector<std::vector<std::string>> rows;
  for (const Finding& finding : check.findings) {
    const std::string axis = worst_axis(check, finding);
    rows.push_back({tag, finding.limit->name + (axis.empty() ? "" : ", worst " + axis), measured(finding),
                    allowed(finding), finding.limit->section, status_text(finding.status)});
  }
  return rows;
}

std::vector<std::string> failures(const SensorCheck& check) {
  const std::string tag = tag_of(check.seen.quantity.type);
  std::vector<std::string> out;
  if (!check.problem.empty()) out.push_back(tag + ": " + check.problem);
  for (const Finding& finding : check.findings) {
    if (finding.status != Status::failed) continue;
    const std::string axis = worst_axis(check, finding);
    out.push_back(tag + (axis.empty() ? "" : " " + axis) + ": " + finding.limit->name + ": " + measured(finding) +
                  ", allowed " + allowed(finding) + " (section " + finding.limit->section +
                  ")\n  try: " + hint(finding));
  }
  for (const std::string& note : check.notes) out.push_back(tag + ": note: " + note);
  return out;
}

}  // namespace factory
