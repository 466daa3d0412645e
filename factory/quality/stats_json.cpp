#include "quality/stats_view.h"

#include <algorithm>

#include "cli/terminal.h"
#include "files/json_text.h"
#include "files/numbers.h"
#include "store/stored_text.h"

namespace factory::store {
namespace {

constexpr const char* kParts[kTimeParts] = {"calibrations", "looks", "fixture", "rest"};

Json::Value whole(long long value) { return Json::Value(static_cast<Json::Int64>(value)); }

Json::Value ratio(long long part, long long of) {
  return of == 0 ? Json::Value() : json_number(static_cast<double>(part) / static_cast<double>(of));
}

Json::Value interval_of(long long part, long long of) {
  if (of == 0) return {};
  const Index share = share_of(static_cast<double>(part), static_cast<double>(of));
  Json::Value out;
  out["low"] = json_number(share.low);
  out["high"] = json_number(share.high);
  return out;
}

Json::Value to_json(const Yield& yield) {
  Json::Value out;
  out["units"] = whole(yield.units);
  out["passed"] = whole(yield.passed);
  out["first_passed"] = whole(yield.first_passed);
  out["second_passed"] = whole(yield.second_passed);
  out["third_passed"] = whole(yield.third_passed);
  out["runs"] = whole(yield.runs);
  out["yield"] = ratio(yield.passed, yield.units);
  out["first_pass_yield"] = ratio(yield.first_passed, yield.units);
  out["errors"] = whole(yield.errors);
  out["aborted"] = whole(yield.aborted);
  out["yield_interval"] = interval_of(yield.passed, yield.units);
  out["first_pass_interval"] = interval_of(yield.first_passed, yield.units);
  out["second_pass_interval"] = interval_of(yield.second_passed, yield.units);
  out["third_pass_interval"] = interval_of(yield.third_passed, yield.units);
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

void add_limits(const Limits& limits, Json::Value* out) {
  (*out)["low"] = optional_number(limits.first);
  (*out)["high"] = optional_number(limits.second);
}

// `limits`: that each point has those of its time.
Json::Value to_json(const Process& process, bool limits) {
  const ControlChart& chart = process.chart;
  Json::Value out;
  out["rules"] = kRulesNames[static_cast<int>(chart.rules)];
  out["centre"] = json_number(chart.centre);
  out["sigma_within"] = json_number(chart.within.sigma);
  out["baseline"] = static_cast<Json::UInt64>(chart.baseline);
  out["frozen"] = chart.frozen;
  out["limit"] = json_number(chart.limit);
  out["p"] = optional_number(chart.p);
  out["a_day"] = to_json(process.a_day);
  out["in_control"] = chart.in_control();
  out["changed"] = process.changed;
  out["days"] = json_list(chart.points, [&](const ChartPoint& point) {
    Json::Value day = to_json(point.values);
    day["day"] = point.when;
    day["shown"] = json_number(point.shown);
    day["lower"] = json_number(chart.line(-chart.limit, point));
    day["upper"] = json_number(chart.line(chart.limit, point));
    if (limits) add_limits(process.limits_in(point.day), &day);
    if (point.rule > 0) {
      day["rule"] = point.rule;
      day["rule_text"] = rule_in_words(point.rule);
    }
    return day;
  });
  return out;
}

Json::Value to_json(const Capability& c) {
  Json::Value out;
  out["pp"] = to_json(c.pp);
  out["ppk"] = to_json(c.ppk);
  out["cp"] = to_json(c.cp);
  out["cpk"] = to_json(c.cpk);
  out["sigma_within"] = json_number(c.within.sigma);
  out["degrees_of_freedom"] = json_number(c.within.freedom);
  out["moving_range"] = c.within.moving_range;
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

// What durations have, too.
Json::Value figures_of(const Characteristic& c) {
  Json::Value out = to_json(c.all);
  out["plan"] = c.plan;
  out["step"] = c.step;
  out["name"] = c.name;
  out["axis"] = c.axis;
  out["unit"] = c.unit;
  add_limits({c.low, c.high}, &out);
  out["failed"] = whole(c.failed);
  out["unusable"] = whole(c.unusable);
  return out;
}

Json::Value to_json(const Characteristic& c, bool without_outliers) {
  Json::Value out = figures_of(c);
  out["capability"] = to_json(c.line.capability);
  Json::Value& shape = out["normality"];
  if (c.normality) {
    shape["values"] = whole(c.looked_at);
    shape["a2"] = json_number(c.normality->a2);
    shape["p"] = json_number(c.normality->p);
  }
  Json::Value& percentile = out["percentile"];
  if (c.percentiles) {
    percentile["values"] = whole(c.looked_at);
    percentile["pp"] = optional_number(percentile_pp(*c.percentiles, c.low, c.high));
    percentile["ppk"] = optional_number(percentile_ppk(c));
  }
  Json::Value& changed = out["limits_changed"];
  if (c.limits_changed()) {
    changed["count"] = static_cast<Json::UInt64>(c.limits_then.size());
    changed["latest"] = json_list(latest_limits(c), [](const LimitsThen& then) {
      Json::Value entry;
      add_limits(then.limits, &entry);
      entry["values"] = whole(then.values);
      entry["from"] = then.from;
      entry["until"] = then.until;
      return entry;
    });
  }
  out["drift"] = to_json(c.line, c.limits_changed());
  out["stations"] = json_list(c.stations, [&](const auto& of_station) {
    const auto& [name, process] = of_station;
    Json::Value station = to_json(total(process.days));
    station["station"] = name;
    station["capability"] = to_json(process.capability);
    station["drift"] = to_json(process, c.limits_changed());
    return station;
  });
  Json::Value& outliers = out["outliers"];
  outliers["count"] = whole(c.outlier_count);
  outliers["left_out"] = without_outliers && c.outlier_count > 0;
  outliers["median"] = json_number(c.middle.median);
  outliers["sigma"] = json_number(c.middle.sigma);
  outliers["farthest"] = json_list(c.outliers, [](const Outlier& outlier) { return to_json(outlier); });
  return out;
}

}  // namespace

Json::Value to_json(const std::optional<Index>& index) {
  if (!index) return {};
  Json::Value out;
  out["value"] = json_number(index->value);
  out["low"] = json_number(index->low);
  out["high"] = json_number(index->high);
  return out;
}

Json::Value to_json(const Statistics& statistics) {
  Json::Value out;
  constexpr const char* kAttempts[] = {"first", "last", "passing"};
  out["attempts"] = kAttempts[static_cast<int>(statistics.choices.attempts)];
  out["outlier_sigmas"] = json_number(statistics.choices.outlier_sigmas);
  out["without_outliers"] = statistics.choices.without_outliers;
  out["by"] = kSubgroupNames[static_cast<int>(statistics.choices.subgroups.by())];
  Json::Value& baseline = out["baseline"];
  if (statistics.choices.baseline_ms) {
    baseline["since"] = time_text(statistics.choices.baseline_ms->first);
    baseline["until"] = time_text(statistics.choices.baseline_ms->second);
  }
  out["runs"] = to_json(statistics.runs);
  out["yield"] = to_json(statistics.yield);
  for (const char* name : {"plans", "stations", "days"}) out[name] = Json::Value(Json::arrayValue);
  for (const auto& [name, yield] : statistics.by_plan) out["plans"].append(to_json(yield))["plan"] = name;
  for (const auto& [name, yield] : statistics.by_station) out["stations"].append(to_json(yield))["station"] = name;
  for (const auto& [day, its] : statistics.by_day) {
    Json::Value& entry = out["days"].append(to_json(its.runs));
    entry["day"] = date_text(day);
    entry["yield"] = to_json(its.yield);
  }
  out["failures"] = json_list(statistics.failures, [](const Failure& failure) {
    Json::Value entry;
    entry["step"] = failure.step;
    entry["measurement"] = failure.measurement;
    entry["runs"] = whole(failure.runs);
    return entry;
  });
  out["measurements"] = json_list(statistics.characteristics, [&](const Characteristic& c) {
    return to_json(c, statistics.choices.without_outliers);
  });
  out["durations"] = json_list(statistics.durations, figures_of);
  out["times"] = json_list(statistics.times, [](const auto& of_day) {
    const auto& [day, times] = of_day;
    Json::Value entry;
    entry["day"] = date_text(day);
    entry["phones"] = whole(times.phones);
    entry["runs"] = whole(times.runs);
    entry["seconds"] = json_number(times.seconds);
    for (size_t i = 0; i < kTimeParts; ++i) entry[kParts[i]] = json_number(times.parts[i]);
    entry["library"] = json_number(times.library);
    return entry;
  });
  out["marked"] = json_list(statistics.marked, [&](const Marked& marked) {
    Json::Value entry;
    entry["kind"] = marked.phones.kind;
    entry["pattern"] = marked.phones.pattern;
    entry["serials"] = json_list(marked.phones.serials);
    entry["runs"] = to_json(marked.runs);
    entry["measurements"] = json_list(marked.characteristics, [&](const Characteristic& c) {
      return to_json(c, statistics.choices.without_outliers);
    });
    return entry;
  });
  return valid(out);
}

}  // namespace factory::store
