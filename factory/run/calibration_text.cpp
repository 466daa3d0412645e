// A calibration's result as JSON and as text.
#include <cmath>

#include "cli/terminal.h"
#include "files/json_text.h"
#include "run/calibration.h"

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
  if (axis.scale) out["scale"] = json_number(static_cast<float>(*axis.scale));
  if (axis.limit > 0) out["residual_limit"] = json_number(axis.limit);
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
  const Axis& first = c.axes[0];
  const bool ran = c.samples > 0;
  std::vector<std::vector<std::string>> rows = {{""}};
  if (ran) rows[0].insert(rows[0].end(), {c.kind->result == Result::offset ? "offset" : "mean", "std dev"});
  if (first.scale) rows[0].emplace_back("new scale");
  if (first.fresh) rows[0].emplace_back("fresh mean");
  if (first.truth)
    rows[0].insert(rows[0].end(), {c.kind->result == Result::channel_scale ? "golden" : "truth", "residual"});
  rows[0].emplace_back("unit");
  for (const Axis& axis : c.axes) {
    std::vector<std::string> row = {"  " + axis.name};
    if (ran) row.insert(row.end(), {fixed(axis.found, kDigits), fixed(axis.standard_deviation, kDigits)});
    if (first.scale) row.push_back(axis.scale ? fixed(*axis.scale, kDigits) : "");
    if (first.fresh) row.push_back(axis.fresh ? fixed(*axis.fresh, kDigits) : "");
    if (first.truth) {
      row.push_back(axis.truth ? fixed(*axis.truth, kDigits) : "");
      row.push_back(axis.residual() ? fixed(*axis.residual(), kDigits) : "");
    }
    row.emplace_back(c.kind->unit);
    rows.push_back(row);
  }
  return table(rows);
}

Json::Value panel_to_json(const Panel& panel) {
  Json::Value out;
  out["level"] = panel.level;
  out["brightness"] = panel.brightness;
  out["restored"] = panel.restored;
  Json::Value& found = out[panel.colour ? "channels" : "lux"] = Json::Value(Json::arrayValue);
  for (const double value : panel.found) found.append(json_number(static_cast<float>(value)));
  if (panel.plain_bright) out["plain_lux_at_full"] = json_number(*panel.plain_bright);
  if (panel.plain_dim) out["plain_lux_at_quarter"] = json_number(*panel.plain_dim);
  return out;
}

std::string panel_text(const Panel& panel) {
  std::string found;
  for (const double value : panel.found) found += (found.empty() ? "" : "  ") + fixed(value, 2);
  std::string out = "  panel at " + std::to_string(panel.brightness) + ": " +
                    (found.empty() ? "nothing measured" : found) + (panel.colour ? " counts\n" : " lux\n");
  if (panel.plain_bright && panel.plain_dim) {
    out += "  plain light: " + fixed(*panel.plain_bright, 2) + " lux at full, " + fixed(*panel.plain_dim, 2) +
           " lux at a quarter of the brightness\n";
  }
  out += panel.restored >= 0 ? "  brightness put back to " + std::to_string(panel.restored) + "\n"
                             : "  " + bad("the brightness could not be put back") + "\n";
  return out;
}

}  // namespace

Json::Value to_json(const Calibration& c) {
  Json::Value out;
  out["tag"] = tag_of(c.request.type);
  out["type"] = c.request.type;
  out["param"] = c.request.param;
  if (c.request.reference_hpa) out["reference_hpa"] = json_number(static_cast<float>(*c.request.reference_hpa));
  out["fixture"] = texts(c.fixture);
  out["passed"] = c.passed;
  out["result"] = static_cast<int>(c.result);
  out["seconds"] = json_number(std::round(c.seconds * 1000) / 1000);
  out["events"] = c.run.events;
  out["samples"] = c.samples;
  out["fresh_samples"] = c.fresh_samples;
  out["restarts"] = restarts_to_json(c);
  if (c.kind != nullptr) out["unit"] = c.kind->unit;
  Json::Value& axes = out["axes"] = Json::Value(Json::arrayValue);
  for (const Axis& axis : c.axes) axes.append(axis_to_json(axis));
  if (c.panel) out["panel"] = panel_to_json(*c.panel);
  if (c.interrupted) out["interrupted"] = true;
  if (c.put_back) out["old_value_written_back"] = true;
  out["reasons"] = texts(c.reasons);
  out["hints"] = texts(c.hints);
  out["notes"] = texts(c.notes);
  return out;
}

std::string to_text(const Calibration& c) {
  std::string out;
  for (const std::string& setting : c.fixture) out += faint("fixture: " + setting) + "\n";
  out += bold(tag_of(c.request.type)) + "  " + (c.passed ? good("passed") : bad("FAILED"));
  if (c.samples > 0)
    out += "  " + std::to_string(c.samples) + " samples of " + std::to_string(c.run.events) + " events";
  if (c.samples == 0 && c.run.events > 0) out += "  " + std::to_string(c.run.events) + " events";
  if (c.kind != nullptr && !c.in_hub) out += ", " + restart_summary(c);
  if (c.in_hub) out += ", run by the hub";
  out += ", " + fixed(c.seconds, 2) + " s\n";
  if (!c.axes.empty()) out += axes_table(c);
  if (c.panel) out += panel_text(*c.panel);
  for (const std::string& reason : c.reasons) out += remark(bad("why: "), reason);
  for (const std::string& hint : c.hints) out += remark("try: ", hint);
  for (const std::string& note : c.notes) out += remark("note: ", note);
  if (c.put_back) out += "  the hub's old values were written back\n";
  return out;
}

}  // namespace factory
