// A calibration's result as JSON and as text.
#include <cmath>

#include "calibration.h"
#include "json_text.h"
#include "terminal.h"

namespace factory {
namespace {

constexpr int kDigits = 5;

const char* cause_name(Restart::Cause cause) {
  switch (cause) {
    case Restart::Cause::variance:
      return "variance";
    case Restart::Cause::zero_variance:
      return "zero_variance";
    case Restart::Cause::bias:
      return "bias";
  }
  return "";
}

Json::Value texts(const std::vector<std::string>& lines) {
  Json::Value out(Json::arrayValue);
  for (const std::string& line : lines) out.append(line);
  return out;
}

Json::Value restarts_to_json(const Calibration& c) {
  Json::Value out;
  using Cause = Restart::Cause;
  for (const Cause cause : {Cause::variance, Cause::zero_variance, Cause::bias}) {
    out[cause_name(cause)] = c.run.count(cause);
  }
  if (!c.run.restarts.empty()) {
    const Restart& last = c.run.restarts.back();
    Json::Value& entry = out["last"];
    entry["cause"] = cause_name(last.cause);
    entry["axis"] =
        c.kind != nullptr && last.axis < c.kind->values ? c.kind->axes[last.axis] : std::to_string(last.axis);
    entry["value"] = json_number(last.value);
    entry["limit"] = json_number(last.limit);
  }
  return out;
}

Json::Value axis_to_json(const Axis& axis) {
  Json::Value out;
  out["axis"] = axis.name;
  out["mean"] = json_number(static_cast<float>(axis.found));
  out["standard_deviation"] = json_number(axis.standard_deviation);
  if (axis.fresh) {
    out["fresh_mean"] = json_number(*axis.fresh);
    out["fresh_standard_deviation"] = json_number(axis.fresh_deviation);
  }
  if (axis.truth) out["truth"] = json_number(static_cast<float>(*axis.truth));
  if (axis.residual()) out["residual"] = json_number(*axis.residual());
  return out;
}

std::string restart_summary(const Calibration& c) {
  using Cause = Restart::Cause;
  if (c.run.restarts.empty()) return "no restart";
  std::string out;
  const std::pair<Cause, const char*> kCauses[] = {
      {Cause::variance, "variance"}, {Cause::bias, "bias"}, {Cause::zero_variance, "no variance at all"}};
  for (const auto& [cause, name] : kCauses) {
    const int count = c.run.count(cause);
    if (count > 0) out += (out.empty() ? "" : ", ") + std::to_string(count) + " for " + name;
  }
  return std::to_string(c.run.restarts.size()) + (c.run.restarts.size() == 1 ? " restart: " : " restarts: ") + out;
}

std::string axes_table(const Calibration& c) {
  const std::string unit = c.kind->unit;
  const bool fresh = c.axes[0].fresh.has_value();
  const bool truth = c.axes[0].truth.has_value();
  const char* found = c.kind->result == Result::offset ? "offset" : "mean";
  std::vector<std::vector<std::string>> rows = {{"", found, "std dev"}};
  if (fresh) rows[0].insert(rows[0].end(), {"fresh mean"});
  if (truth) rows[0].insert(rows[0].end(), {"truth", "residual"});
  rows[0].emplace_back("unit");
  for (const Axis& axis : c.axes) {
    std::vector<std::string> row = {"  " + axis.name, fixed(axis.found, kDigits),
                                    fixed(axis.standard_deviation, kDigits)};
    if (fresh) row.push_back(fixed(*axis.fresh, kDigits));
    if (truth) row.insert(row.end(), {fixed(*axis.truth, kDigits), fixed(*axis.residual(), kDigits)});
    row.push_back(unit);
    rows.push_back(row);
  }
  return table(rows);
}

}  // namespace

Json::Value to_json(const Calibration& c) {
  Json::Value out;
  out["tag"] = tag_of(c.type);
  out["type"] = c.type;
  out["param"] = c.param;
  out["passed"] = c.passed;
  out["result"] = c.result;
  out["seconds"] = json_number(std::round(c.seconds * 1000) / 1000);
  out["events"] = c.run.events;
  out["samples"] = c.samples;
  out["restarts"] = restarts_to_json(c);
  if (c.kind != nullptr) out["unit"] = c.kind->unit;
  Json::Value& axes = out["axes"] = Json::Value(Json::arrayValue);
  for (const Axis& axis : c.axes) axes.append(axis_to_json(axis));
  if (c.kind != nullptr && c.kind->residual_limit > 0) out["residual_limit"] = json_number(c.kind->residual_limit);
  if (c.interrupted) out["interrupted"] = true;
  if (c.put_back) out["old_value_written_back"] = true;
  out["reasons"] = texts(c.reasons);
  out["hints"] = texts(c.hints);
  out["notes"] = texts(c.notes);
  return out;
}

std::string to_text(const Calibration& c) {
  std::string out = bold(tag_of(c.type)) + "  " + (c.passed ? good("passed") : bad("FAILED"));
  if (c.samples > 0)
    out += "  " + std::to_string(c.samples) + " samples of " + std::to_string(c.run.events) + " events";
  if (c.samples == 0 && c.run.events > 0) out += "  " + std::to_string(c.run.events) + " events";
  if (c.kind != nullptr) out += ", " + restart_summary(c);
  out += ", " + fixed(c.seconds, 2) + " s\n";
  if (!c.axes.empty()) out += axes_table(c);
  for (const std::string& reason : c.reasons) out += "  " + bad("why: ") + reason + "\n";
  for (const std::string& hint : c.hints) out += "  try: " + hint + "\n";
  for (const std::string& note : c.notes) out += "  note: " + note + "\n";
  if (c.put_back) out += "  the hub's old offset was written back\n";
  return out;
}

}  // namespace factory
