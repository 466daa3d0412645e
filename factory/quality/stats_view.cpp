#include "quality/stats_view.h"

#include <algorithm>

#include "cli/terminal.h"
#include "files/json_text.h"
#include "files/numbers.h"
#include "store/stored_text.h"

namespace factory::store {
namespace {

constexpr struct {
  const char *name, *words;
} kParts[kTimeParts] = {
    {"calibrations", "calibrations"}, {"looks", "looks"}, {"fixture", "fixture, operator"}, {"rest", "hub, files"}};

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

std::string percents_text(long long part, long long of) {
  if (of == 0) return "";
  const Index share = share_of(static_cast<double>(part), static_cast<double>(of));
  return fixed(100 * share.low, 2) + " to " + fixed(100 * share.high, 2);
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
  out["yield_interval"] = interval_of(yield.passed, yield.units);
  out["first_pass_interval"] = interval_of(yield.first_passed, yield.units);
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

Json::Value to_json(const Process& process) {
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
  out["low"] = optional_number(c.low);
  out["high"] = optional_number(c.high);
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
  out["drift"] = to_json(c.line);
  out["stations"] = json_list(c.stations, [&](const auto& of_station) {
    const auto& [name, process] = of_station;
    Json::Value station = to_json(total(process.days));
    station["station"] = name;
    station["capability"] = to_json(process.capability);
    station["drift"] = to_json(process);
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

std::string number(long long value) { return std::to_string(value); }

std::string yields_text(const Statistics& s) {
  std::vector<std::vector<std::string>> rows = {kYieldColumns};
  const auto add = [&](const std::string& name, const Yield& y) { rows.push_back(yield_row(name, y)); };
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

std::string mean_of(const Characteristic& c) { return c.all.count == 0 ? "-" : short_number(c.all.mean); }

std::string measurements_text(const Statistics& s) {
  if (s.characteristics.empty()) return "";
  std::vector<std::vector<std::string>> rows = {{"measurement", "n", "mean", "sigma", "limits", "Pp", "Ppk", "95 %",
                                                 "Cp", "Cpk", "95 %", "failed", "outliers", "drift"}};
  for (const Characteristic& c : s.characteristics) {
    const Capability& k = c.line.capability;
    const std::string state = state_of(c);
    rows.push_back({shown(name_of(c)), number(c.all.count), mean_of(c), short_number(c.all.sigma()), limits_of(c),
                    index_text(k.pp), index_text(k.ppk), interval_text(k.ppk), index_text(k.cp), index_text(k.cpk),
                    interval_text(k.cpk), number(c.failed), c.outlier_count == 0 ? "" : number(c.outlier_count),
                    state == "out of control" ? bad(state) : state});
  }
  return "\n" + table(rows) + basis_of(s) + "\n" + rules_of(s) + "\n";
}

std::string shapes_text(const Statistics& s) {
  std::vector<std::vector<std::string>> rows = {{"not normal", "A*2", "p", "Ppk", "Ppk by percentiles"}};
  for (const Characteristic& c : s.characteristics) {
    if (c.is_normal()) continue;
    rows.push_back({shown(name_of(c)), short_number(c.normality->a2), significant(c.normality->p, 2),
                    index_text(c.line.capability.ppk), index_text(percentile_ppk(c))});
  }
  if (rows.size() == 1) return "";
  return "\n" + table(rows) +
         "By Anderson and Darling's test: the indices above suppose normal values. Percentiles take " +
         number(kFewestForPercentiles) + " values.\n";
}

std::string durations_text(const Statistics& s) {
  if (s.durations.empty()) return "";
  std::vector<std::vector<std::string>> rows = {
      {"duration", "n", "mean", "sigma", "least", "most", "limits", "failed"}};
  for (const Characteristic& c : s.durations) {
    const bool any = c.all.count > 0;
    rows.push_back({shown(c.step), number(c.all.count), mean_of(c), short_number(c.all.sigma()),
                    any ? short_number(c.all.least) : "-", any ? short_number(c.all.most) : "-", limits_of(c),
                    number(c.failed)});
  }
  return "\n" + table(rows);
}

std::string times_text(const Statistics& s) {
  return s.times.empty()
             ? ""
             : "\n" + table(times_of(s)) +
                   "Seconds a phone, of all its runs on the day (UTC). Looks that are taken together count once.\n";
}

std::string marked_text(const Statistics& s) {
  std::string out;
  for (const Marked& marked : s.marked) {
    std::vector<std::vector<std::string>> rows = {
        {"measurement", "n", "mean", "sigma", "limits", "failed", "drift", ""}};
    for (const Characteristic& c : marked.characteristics)
      rows.push_back({shown(name_of(c)), number(c.all.count), mean_of(c), short_number(c.all.sigma()), limits_of(c),
                      number(c.failed), state_of(c.line), drift_text(c, c.line)});
    out += "\n" + runs_of(marked) + "\n" + (rows.size() == 1 ? "" : table(rows));
  }
  return out;
}

std::string drifts_text(const Statistics& s) {
  std::string out;
  const auto add = [&](const Characteristic& c, const std::string& where, const Process& process) {
    for (const Alarm& alarm : alarms_of(process.chart))
      out += shown(name_of(c)) + where + ": " + to_text(alarm) + (process.changed ? "" : " (a signal)") + "\n";
    if (process.changed && process.a_day) out += "  " + drift_text(c, process) + "\n";
  };
  for (const Characteristic& c : s.characteristics) {
    add(c, "", c.line);
    if (c.stations.size() < 2) continue;
    for (const auto& [station, process] : c.stations) {
      // Of so many charts some have a signal by chance.
      if (process.changed) add(c, " at " + shown(station), process);
    }
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

const std::vector<std::string> kYieldColumns = {"",     "phones",     "yield",      "95 %", "first pass",
                                                "95 %", "by the 2nd", "by the 3rd", "runs"};

std::vector<std::string> yield_row(const std::string& of, const Yield& y) {
  return {of,
          number(y.units),
          percent(y.passed, y.units),
          percents_text(y.passed, y.units),
          percent(y.first_passed, y.units),
          percents_text(y.first_passed, y.units),
          percent(y.second_passed, y.units),
          percent(y.third_passed, y.units),
          number(y.runs)};
}

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
  for (const auto& [day, runs] : statistics.by_day) out["days"].append(to_json(runs))["day"] = date_text(day);
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
    for (size_t i = 0; i < kTimeParts; ++i) entry[kParts[i].name] = json_number(times.parts[i]);
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

std::string to_text(const Statistics& s, const std::string& question) {
  std::string out = question + ": " + number(s.runs.passed) + " passed, " + number(s.runs.failed) + " failed, " +
                    number(s.runs.errors) + (s.runs.errors == 1 ? " error, " : " errors, ") + number(s.runs.aborted) +
                    " aborted runs\n\n";
  return out + yields_text(s) + failures_text(s) + measurements_text(s) + shapes_text(s) + drifts_text(s) +
         outliers_text(s) + durations_text(s) + times_text(s) + marked_text(s);
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

const char* state_of(const Process& process) {
  return process.changed               ? "out of control"
         : !process.chart.in_control() ? "signal"
         : process.chart.can_judge()   ? "steady"
                                       : "-";
}

const char* state_of(const Characteristic& c) {
  const bool any = std::any_of(c.stations.begin(), c.stations.end(), [](const auto& s) { return s.second.changed; });
  return any ? "out of control" : state_of(c.line);
}

std::string index_text(const std::optional<double>& index) { return index ? fixed(*index, 2) : "-"; }

std::string index_text(const std::optional<Index>& index) { return index ? fixed(index->value, 2) : "-"; }

std::optional<double> percentile_ppk(const Characteristic& c) {
  return c.percentiles ? percentile_ppk(*c.percentiles, c.low, c.high) : std::nullopt;
}

std::string interval_text(const std::optional<Index>& index) {
  return index ? fixed(index->low, 2) + " to " + fixed(index->high, 2) : "";
}

std::string drift_text(const Characteristic& c, const Process& process) {
  if (!process.a_day) return "";
  const auto& [value, low, high] = *process.a_day;
  const auto brief = [](double number) { return significant(number, 3); };
  return brief(value) + " (" + brief(low) + " to " + brief(high) + ") " + shown(c.unit) + " a day";
}

std::vector<std::vector<std::string>> times_of(const Statistics& s) {
  std::vector<std::vector<std::string>> rows = {{"day", "phones", "runs", "seconds a phone"}};
  for (const auto& part : kParts) rows[0].emplace_back(part.words);
  rows[0].insert(rows[0].end(), {"between steps", "the library's runs"});
  for (const auto& [day, times] : s.times) {
    const auto a_phone = [phones = static_cast<double>(times.phones)](double seconds) {
      return fixed(std::max(0.0, seconds) / phones, 2);
    };
    rows.push_back({date_text(day), number(times.phones), number(times.runs), a_phone(times.seconds)});
    double left = times.seconds;
    for (const double part : times.parts) {
      rows.back().push_back(a_phone(part));
      left -= part;
    }
    rows.back().insert(rows.back().end(), {a_phone(left), a_phone(times.library)});
  }
  return rows;
}

std::string runs_of(const Marked& marked) {
  const auto& [kind, pattern, serials, keys] = marked.phones;
  return kind + " phones " + shown(pattern) + ": " + number(static_cast<long long>(serials.size())) +
         (serials.size() == 1 ? " phone, " : " phones, ") + number(marked.runs.passed) + " passed, " +
         number(marked.runs.failed) + " failed, " + number(marked.runs.errors) + " errors";
}

std::string basis_of(const Statistics& s) {
  std::string out = s.choices.attempts == Attempts::first  ? "Values of first attempts"
                    : s.choices.attempts == Attempts::last ? "Values of last attempts"
                                                           : "Values of passing phones";
  long long outliers = 0;
  for (const Characteristic& c : s.characteristics) outliers += c.outlier_count;
  const std::string rule =
      " (more than " + significant(s.choices.outlier_sigmas, 3) + " robust sigmas from the median)";
  if (outliers == 0) {
    out += "; none is an outlier" + rule;
  } else {
    out += s.choices.without_outliers ? ", without " : ", with ";
    out += std::to_string(outliers) + (outliers == 1 ? " outlier" : " outliers") + rule;
  }
  return out + ". Pp and Ppk are of the overall deviation, Cp and Cpk of the one within " +
         s.choices.subgroups.plural() + ", each with the interval in which it lies by 95 %.";
}

std::string rules_of(const Statistics& s) {
  const std::string subgroups = s.choices.subgroups.plural();
  const auto [since, until] = s.choices.baseline_ms.value_or(std::pair(0LL, 0LL));
  const std::string frozen = "the means of " + time_text(since).substr(0, 16) + " to " +
                             time_text(until).substr(0, 16) + " UTC (those without values then: of their own " +
                             (s.choices.rules == Rules::ewma ? "first " : "");
  const std::string about = s.choices.baseline_ms ? frozen : "";
  if (s.choices.rules != Rules::ewma) {
    const bool nelson = s.choices.rules == Rules::nelson;
    return std::string("Drift by ") + (nelson ? "Nelson's eight rules" : "the four Western Electric rules") +
           " on means of " + subgroups + (about.empty() ? "" : ", about " + about + subgroups + ")") +
           ": a process that does not change breaks one within 100 points in " +
           (nelson ? "three of four" : "two of three") + " cases.";
  }
  return "Drift by an EWMA (weight 0.2) of means of " + subgroups + " about " +
         (about.empty() ? "their first " : about) + std::to_string(kBaseline) + " " + subgroups +
         (about.empty() ? "" : ")") +
         ": a signal is a chart that one of 30 unchanged processes has, too, in 100 points; out of control is one that "
         "also stands among so many charts (Benjamini and Hochberg, 5 %).";
}

std::vector<Alarm> alarms_of(const ControlChart& chart) {
  std::vector<Alarm> out;
  const ChartPoint* before = nullptr;
  for (const ChartPoint& point : chart.points) {
    if (point.rule > 0 && before != nullptr && before->rule == point.rule) {
      out.back().last = &point;
    } else if (point.rule > 0) {
      out.push_back({&point, &point});
    }
    before = &point;
  }
  return out;
}

std::string to_text(const Alarm& alarm) {
  return shown(alarm.first->when) + (alarm.first == alarm.last ? "" : " to " + shown(alarm.last->when)) + ": " +
         rule_in_words(alarm.first->rule) + ", at " + short_number(alarm.last->shown);
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
