#include "quality/stats_view.h"

#include <algorithm>

#include "files/json_text.h"
#include "files/numbers.h"

namespace factory::store {
namespace {

constexpr const char* kParts[kTimeParts] = {"calibrations", "looks", "fixture", "rest"};

Json::Value ratio(long long part, long long of) {
  return of == 0 ? Json::Value() : json_number(static_cast<double>(part) / static_cast<double>(of));
}

Json::Value interval_of(long long part, long long of) {
  if (of == 0) return {};
  const Index share = share_of(static_cast<double>(part), static_cast<double>(of));
  return json_object({{"low", share.low}, {"high", share.high}});
}

Json::Value to_json(const Yield& yield) {
  return json_object({{"units", yield.units},
                      {"passed", yield.passed},
                      {"first_passed", yield.first_passed},
                      {"second_passed", yield.second_passed},
                      {"third_passed", yield.third_passed},
                      {"runs", yield.runs},
                      {"yield", ratio(yield.passed, yield.units)},
                      {"first_pass_yield", ratio(yield.first_passed, yield.units)},
                      {"errors", yield.errors},
                      {"aborted", yield.aborted},
                      {"yield_interval", interval_of(yield.passed, yield.units)},
                      {"first_pass_interval", interval_of(yield.first_passed, yield.units)},
                      {"second_pass_interval", interval_of(yield.second_passed, yield.units)},
                      {"third_pass_interval", interval_of(yield.third_passed, yield.units)}});
}

Json::Value to_json(const RunCounts& runs) {
  return json_object({{"passed", runs.passed},
                      {"failed", runs.failed},
                      {"errors", runs.errors},
                      {"aborted", runs.aborted},
                      {"marginal", runs.marginal},
                      {"retried", runs.retried}});
}

Json::Value to_json(const Moments& m) {
  if (m.count == 0) return json_object({{"count", 0}});
  return json_object(
      {{"count", m.count}, {"mean", m.mean}, {"sigma", m.sigma()}, {"least", m.least}, {"most", m.most}});
}

void add_limits(const Limits& limits, Json::Value* out) {
  (*out)["low"] = optional_number(limits.first);
  (*out)["high"] = optional_number(limits.second);
}

// `limits`: that each point has those of its time.
Json::Value to_json(const Process& process, bool limits) {
  const ControlChart& chart = process.chart;
  Json::Value out = json_object({{"rules", kRulesNames[static_cast<int>(chart.rules)]},
                                 {"centre", chart.centre},
                                 {"sigma_within", chart.within.sigma},
                                 {"baseline", chart.baseline},
                                 {"frozen", chart.frozen},
                                 {"limit", chart.limit},
                                 {"p", chart.p},
                                 {"a_day", to_json(process.a_day)},
                                 {"in_control", chart.in_control()},
                                 {"changed", process.changed}});
  out["days"] = json_list(chart.points, [&](const ChartPoint& point) {
    Json::Value day = json_object({{"day", point.when},
                                   {"shown", point.shown},
                                   {"lower", chart.line(-chart.limit, point)},
                                   {"upper", chart.line(chart.limit, point)}},
                                  to_json(point.values));
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
  return json_object({{"pp", to_json(c.pp)},
                      {"ppk", to_json(c.ppk)},
                      {"cp", to_json(c.cp)},
                      {"cpk", to_json(c.cpk)},
                      {"sigma_within", c.within.sigma},
                      {"degrees_of_freedom", c.within.freedom},
                      {"moving_range", c.within.moving_range}});
}

Json::Value to_json(const Outlier& outlier) {
  return json_object({{"value", outlier.value},
                      {"distance", outlier.distance},
                      {"run", outlier.run_id},
                      {"serial", outlier.serial},
                      {"station", outlier.station},
                      {"started", time_text(outlier.started_ms)}});
}

// What durations have, too.
Json::Value figures_of(const Characteristic& c) {
  return json_object({{"plan", c.plan},
                      {"step", c.step},
                      {"name", c.name},
                      {"axis", c.axis},
                      {"unit", c.unit},
                      {"low", c.low},
                      {"high", c.high},
                      {"failed", c.failed},
                      {"unusable", c.unusable}},
                     to_json(c.all));
}

Json::Value to_json(const Characteristic& c, bool without_outliers) {
  Json::Value out = figures_of(c);
  out["capability"] = to_json(c.line.capability);
  Json::Value& shape = out["normality"];
  if (c.normality) shape = json_object({{"values", c.looked_at}, {"a2", c.normality->a2}, {"p", c.normality->p}});
  Json::Value& percentile = out["percentile"];
  if (c.percentiles) {
    percentile = json_object(
        {{"values", c.looked_at}, {"pp", percentile_pp(*c.percentiles, c.low, c.high)}, {"ppk", percentile_ppk(c)}});
  }
  Json::Value& changed = out["limits_changed"];
  if (c.limits_changed()) {
    changed["count"] = static_cast<Json::UInt64>(c.limits_then.size());
    changed["latest"] = json_list(latest_limits(c), [](const LimitsThen& then) {
      const auto& [low, high] = then.limits;
      return json_object(
          {{"low", low}, {"high", high}, {"values", then.values}, {"from", then.from}, {"until", then.until}});
    });
  }
  out["drift"] = to_json(c.line, c.limits_changed());
  out["stations"] = json_list(c.stations, [&](const auto& of_station) {
    const auto& [name, process] = of_station;
    return json_object({{"station", name},
                        {"capability", to_json(process.capability)},
                        {"drift", to_json(process, c.limits_changed())}},
                       to_json(total(process.days)));
  });
  const auto outlier_json = [](const Outlier& outlier) { return to_json(outlier); };
  out["outliers"] = json_object({{"count", c.outlier_count},
                                 {"left_out", without_outliers && c.outlier_count > 0},
                                 {"median", c.middle.median},
                                 {"sigma", c.middle.sigma},
                                 {"farthest", json_list(c.outliers, outlier_json)}});
  return out;
}

}  // namespace

Json::Value to_json(const std::optional<Index>& index) {
  if (!index) return {};
  return json_object({{"value", index->value}, {"low", index->low}, {"high", index->high}});
}

Json::Value to_json(const Statistics& statistics) {
  constexpr const char* kAttempts[] = {"first", "last", "passing"};
  const Choices& choices = statistics.choices;
  const auto whole_json = [&](const Characteristic& c) { return to_json(c, choices.without_outliers); };
  Json::Value baseline;
  if (choices.baseline_ms) {
    const auto& [since, until] = *choices.baseline_ms;
    baseline = json_object({{"since", time_text(since)}, {"until", time_text(until)}});
  }
  Json::Value out = json_object({{"attempts", kAttempts[static_cast<int>(choices.attempts)]},
                                 {"outlier_sigmas", choices.outlier_sigmas},
                                 {"without_outliers", choices.without_outliers},
                                 {"by", kSubgroupNames[static_cast<int>(choices.subgroups.by())]},
                                 {"baseline", baseline},
                                 {"runs", to_json(statistics.runs)},
                                 {"yield", to_json(statistics.yield)},
                                 {"durations", json_list(statistics.durations, figures_of)}});
  for (const char* name : {"plans", "stations", "days"}) out[name] = Json::Value(Json::arrayValue);
  for (const auto& [name, yield] : statistics.by_plan) out["plans"].append(to_json(yield))["plan"] = name;
  for (const auto& [name, yield] : statistics.by_station) out["stations"].append(to_json(yield))["station"] = name;
  for (const auto& [day, its] : statistics.by_day) {
    Json::Value& entry = out["days"].append(to_json(its.runs));
    entry["day"] = date_text(day);
    entry["yield"] = to_json(its.yield);
  }
  out["failures"] = json_list(statistics.failures, [](const Failure& failure) {
    return json_object({{"step", failure.step}, {"measurement", failure.measurement}, {"runs", failure.runs}});
  });
  out["measurements"] = json_list(statistics.characteristics, whole_json);
  out["times"] = json_list(statistics.times, [](const auto& of_day) {
    const auto& [day, times] = of_day;
    Json::Value entry = json_object({{"day", date_text(day)},
                                     {"phones", times.phones},
                                     {"runs", times.runs},
                                     {"seconds", times.seconds},
                                     {"library", times.library}});
    for (size_t i = 0; i < kTimeParts; ++i) entry[kParts[i]] = json_number(times.parts[i]);
    return entry;
  });
  out["marked"] = json_list(statistics.marked, [&](const Marked& marked) {
    return json_object({{"kind", marked.phones.kind},
                        {"pattern", marked.phones.pattern},
                        {"serials", json_list(marked.phones.serials)},
                        {"runs", to_json(marked.runs)},
                        {"measurements", json_list(marked.characteristics, whole_json)}});
  });
  return valid(out);
}

}  // namespace factory::store
