#include "quality/stats_view.h"

#include <algorithm>

#include "cli/terminal.h"
#include "files/json_text.h"
#include "files/numbers.h"
#include "store/stored_text.h"

namespace factory::store {
namespace {

Json::Value whole(long long value) { return Json::Value(static_cast<Json::Int64>(value)); }

Json::Value ratio(long long part, long long of) {
  return of == 0 ? Json::Value() : json_number(static_cast<double>(part) / static_cast<double>(of));
}

Json::Value to_json(const Yield& yield) {
  Json::Value out;
  out["units"] = whole(yield.units);
  out["passed"] = whole(yield.passed);
  out["first_passed"] = whole(yield.first_passed);
  out["runs"] = whole(yield.runs);
  out["yield"] = ratio(yield.passed, yield.units);
  out["first_pass_yield"] = ratio(yield.first_passed, yield.units);
  return out;
}

Json::Value to_json(const RunCounts& runs) {
  Json::Value out;
  out["passed"] = whole(runs.passed);
  out["failed"] = whole(runs.failed);
  out["errors"] = whole(runs.errors);
  out["aborted"] = whole(runs.aborted);
  out["marginal"] = whole(runs.marginal);
  out["retried"] = whole(runs.retried);
  return out;
}

Json::Value to_json(const Moments& m) {
  Json::Value out;
  out["count"] = whole(m.count);
  if (m.count == 0) return out;
  out["mean"] = json_number(m.mean);
  out["sigma"] = optional_number(m.sigma());
  out["least"] = json_number(m.least);
  out["most"] = json_number(m.most);
  return out;
}

Json::Value to_json(const ControlChart& chart) {
  Json::Value out;
  out["centre"] = json_number(chart.centre);
  out["sigma_within"] = json_number(chart.sigma);
  out["in_control"] = chart.in_control();
  out["days"] = json_list(chart.points, [](const ChartPoint& point) {
    Json::Value day = to_json(point.values);
    day["day"] = date_text(point.day);
    day["distance"] = json_number(point.distance);
    if (point.rule > 0) {
      day["rule"] = point.rule;
      day["rule_text"] = rule_in_words(point.rule);
    }
    return day;
  });
  return out;
}

Json::Value to_json(const Outlier& outlier) {
  Json::Value out;
  out["value"] = json_number(outlier.value);
  out["distance"] = json_number(outlier.distance);
  out["run"] = outlier.run_id;
  out["serial"] = outlier.serial;
  out["station"] = outlier.station;
  out["started"] = time_text(outlier.started_ms);
  return out;
}

Json::Value to_json(const Characteristic& c) {
  Json::Value out = to_json(c.all);
  out["plan"] = c.plan;
  out["step"] = c.step;
  out["name"] = c.name;
  out["axis"] = c.axis;
  out["unit"] = c.unit;
  out["low"] = optional_number(c.low);
  out["high"] = optional_number(c.high);
  out["failed"] = whole(c.failed);
  out["unusable"] = whole(c.unusable);
  out["cp"] = optional_number(cp(c.all, c.low, c.high));
  out["cpk"] = optional_number(cpk(c.all, c.low, c.high));
  out["drift"] = to_json(control_chart(c.days));
  out["stations"] = json_list(c.stations, [&](const auto& of_station) {
    const auto& [name, days] = of_station;
    Json::Value station = to_json(total(days));
    station["station"] = name;
    station["cpk"] = optional_number(cpk(total(days), c.low, c.high));
    station["drift"] = to_json(control_chart(days));
    return station;
  });
  out["outliers"] = json_list(c.outliers, [](const Outlier& outlier) { return to_json(outlier); });
  return out;
}

std::string number(long long value) { return std::to_string(value); }

std::string yields_text(const Statistics& s) {
  std::vector<std::vector<std::string>> rows = {{"", "phones", "yield", "first pass", "runs"}};
  const auto add = [&](const std::string& name, const Yield& y) {
    rows.push_back(
        {name, number(y.units), percent(y.passed, y.units), percent(y.first_passed, y.units), number(y.runs)});
  };
  add("all", s.yield);
  for (const auto& [plan, yield] : s.by_plan) add("plan " + shown(plan), yield);
  for (const auto& [station, yield] : s.by_station) add("station " + shown(station), yield);
  return table(rows);
}

std::string failures_text(const Statistics& s) {
  if (s.failures.empty()) return "";
  std::vector<std::vector<std::string>> rows = {{"failed on", "runs", "share", "together"}};
  long long together = 0;
  for (const Failure& failure : s.failures) {
    together += failure.runs;
    rows.push_back({shown(name_of(failure)), number(failure.runs), percent(failure.runs, s.runs.failed),
                    percent(together, s.runs.failed)});
  }
  return "\n" + table(rows);
}

std::string measurements_text(const Statistics& s) {
  if (s.characteristics.empty()) return "";
  std::vector<std::vector<std::string>> rows = {
      {"measurement", "n", "mean", "sigma", "limits", "Cp", "Cpk", "failed", "drift"}};
  for (const Characteristic& c : s.characteristics) {
    rows.push_back({shown(name_of(c)), number(c.all.count), c.all.count == 0 ? "-" : short_number(c.all.mean),
                    short_number(c.all.sigma()), limits_of(c), short_number(cp(c.all, c.low, c.high)),
                    short_number(cpk(c.all, c.low, c.high)), number(c.failed), steady(c) ? "" : bad("out of control")});
  }
  return "\n" + table(rows);
}

std::string drift_text(const Statistics& s) {
  std::string out;
  const auto add = [&](const Characteristic& c, const std::string& where, const std::map<int, Moments>& days) {
    for (const ChartPoint& point : control_chart(days).points) {
      if (point.rule == 0) continue;
      out += date_text(point.day) + "  " + shown(name_of(c)) + where + ": mean " + short_number(point.values.mean) +
             " " + shown(c.unit) + ", " + rule_in_words(point.rule) + "\n";
    }
  };
  for (const Characteristic& c : s.characteristics) {
    add(c, "", c.days);
    if (c.stations.size() < 2) continue;
    for (const auto& [station, days] : c.stations) add(c, " at " + shown(station), days);
  }
  return out.empty() ? out : "\nDrift\n" + out;
}

std::string outliers_text(const Statistics& s) {
  std::vector<std::vector<std::string>> rows = {{"outlier", "value", "sigmas", "serial", "station", "run"}};
  for (const Characteristic& c : s.characteristics) {
    for (const Outlier& o : c.outliers)
      rows.push_back({shown(name_of(c)), short_number(o.value), fixed(o.distance, 1), shown(o.serial), shown(o.station),
                      o.run_id});
  }
  return rows.size() == 1 ? "" : "\n" + table(rows) + "`sensorcal history --run ID` shows a run.\n";
}

}  // namespace

Json::Value to_json(const Statistics& statistics) {
  Json::Value out;
  out["runs"] = to_json(statistics.runs);
  out["yield"] = to_json(statistics.yield);
  for (const char* name : {"plans", "stations", "days"}) out[name] = Json::Value(Json::arrayValue);
  for (const auto& [name, yield] : statistics.by_plan) out["plans"].append(to_json(yield))["plan"] = name;
  for (const auto& [name, yield] : statistics.by_station) out["stations"].append(to_json(yield))["station"] = name;
  for (const auto& [day, runs] : statistics.by_day) out["days"].append(to_json(runs))["day"] = date_text(day);
  out["failures"] = json_list(statistics.failures, [](const Failure& failure) {
    Json::Value entry;
    entry["step"] = failure.step;
    entry["measurement"] = failure.measurement;
    entry["runs"] = whole(failure.runs);
    return entry;
  });
  out["measurements"] = json_list(statistics.characteristics, [](const Characteristic& c) { return to_json(c); });
  return valid(out);
}

std::string to_text(const Statistics& s, const std::string& question) {
  std::string out = question + ": " + number(s.runs.passed) + " passed, " + number(s.runs.failed) + " failed, " +
                    number(s.runs.errors) + (s.runs.errors == 1 ? " error, " : " errors, ") + number(s.runs.aborted) +
                    " aborted runs\n\n";
  return out + yields_text(s) + failures_text(s) + measurements_text(s) + drift_text(s) + outliers_text(s);
}

std::string shown(const std::string& text, size_t most) {
  std::string out;
  size_t characters = 0;
  for (const char c : to_stored(text)) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte & 0xc0U) != 0x80U && ++characters > most) return out + "...";
    out += c;
  }
  return out;
}

Json::Value valid(const Json::Value& value) {
  if (value.isString()) return to_stored(value.asString());
  if (!value.isArray() && !value.isObject()) return value;
  Json::Value out(value.type());
  if (value.isArray()) {
    for (const Json::Value& element : value) out.append(valid(element));
  } else {
    for (const std::string& name : value.getMemberNames()) out[to_stored(name)] = valid(value[name]);
  }
  return out;
}

bool steady(const Characteristic& c) {
  return control_chart(c.days).in_control() &&
         std::all_of(c.stations.begin(), c.stations.end(),
                     [](const auto& station) { return control_chart(station.second).in_control(); });
}

std::string percent(long long part, long long of) {
  return of == 0 ? "-" : fixed(100 * static_cast<double>(part) / static_cast<double>(of), 2) + " %";
}

std::string name_of(const Characteristic& c) { return c.step + ": " + c.name + (c.axis.empty() ? "" : " " + c.axis); }

std::string name_of(const Failure& failure) {
  return failure.measurement.empty() ? failure.step : failure.step + ": " + failure.measurement;
}

std::string short_number(std::optional<double> value) { return value ? significant(*value, 5) : "-"; }

std::string limits_of(const Characteristic& c) {
  std::string out;
  if (c.low && c.high) {
    out = short_number(c.low) + " to " + short_number(c.high);
  } else if (c.low) {
    out = "from " + short_number(c.low);
  } else if (c.high) {
    out = "to " + short_number(c.high);
  } else {
    return "-";
  }
  return out + " " + shown(c.unit);
}

}  // namespace factory::store
