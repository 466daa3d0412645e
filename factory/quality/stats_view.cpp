#include "quality/stats_view.h"

#include <algorithm>

#include "cli/terminal.h"
#include "files/json_text.h"
#include "files/numbers.h"
#include "files/words.h"
#include "store/stored_text.h"

namespace factory::store {
namespace {

constexpr const char* kParts[kTimeParts] = {"calibrations", "looks", "fixture, operator", "hub, files"};

std::string number(long long value) { return std::to_string(value); }

using Rows = std::vector<std::vector<std::string>>;

Rows rows_of_yields(const std::string& of) {
  std::vector<std::string> columns = {of, "phones"};
  for (const YieldShare& share : kYieldShares) columns.push_back(share.name + std::string(" (95 %)"));
  columns.insert(columns.end(), {"runs", "errors", "aborted"});
  return {columns};
}

void add(const std::string& name, const Yield& y, Rows* rows) {
  std::vector<std::string> row = {name, number(y.units)};
  for (const YieldShare& share : kYieldShares) {
    const std::string text = percent(y.*share.passed, y.units);
    row.push_back(y.units == 0 ? text : text + " (" + percents_text(y.*share.passed, y.units) + ")");
  }
  row.insert(row.end(), {number(y.runs), number(y.errors), number(y.aborted)});
  rows->push_back(row);
}

std::string yields_text(const Statistics& s) {
  Rows rows = rows_of_yields("");
  add("all", s.yield, &rows);
  for (const auto& [plan, yield] : s.by_plan) add("plan " + shown(plan), yield, &rows);
  for (const auto& [station, yield] : s.by_station) add("station " + shown(station), yield, &rows);
  const std::string more = stations_remark(s);
  return table(rows) + more + (more.empty() ? "" : "\n");
}

std::string days_text(const Statistics& s) {
  if (s.by_day.size() < 2) return "";
  constexpr size_t kMost = 31;
  Rows rows = rows_of_yields("day (UTC)");
  auto day = s.by_day.begin();
  if (s.by_day.size() > kMost) std::advance(day, s.by_day.size() - kMost);
  for (; day != s.by_day.end(); ++day) add(date_text(day->first), day->second.yield, &rows);
  return "\n" + table(rows) + "Of the runs on a day, as if there were no other." +
         (s.by_day.size() > kMost
              ? " These are the last 31 of " + std::to_string(s.by_day.size()) + " days; --json and --html have all."
              : "") +
         "\n";
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
                    interval_text(k.cpk), failed_of(c),
                    !c.outliers_sought     ? "-"
                    : c.outlier_count == 0 ? ""
                                           : number(c.outlier_count),
                    state == "out of control" ? bad(state) : state});
  }
  return "\n" + table(rows) + basis_of(s) + "\n" + rules_of(s) + "\n";
}

std::string limits_text(const Statistics& s) {
  Rows rows = {{"limits changed", "to", "values", "from", "until"}};
  for (const Characteristic& c : s.characteristics) {
    if (c.limits_follow()) {
      rows.push_back({shown(name_of(c)), std::to_string(c.limits_then.size()) + " of single runs, last " + limits_of(c),
                      number(c.all.count), shown(c.limits_then.front().from), shown(c.limits_then.back().until)});
    }
    for (const LimitsThen& then : latest_limits(c))
      rows.push_back({shown(name_of(c)), limits_of(then.limits, c.unit), number(then.values), shown(then.from),
                      shown(then.until)});
  }
  if (rows.size() == 1) return "";
  return "\n" + table(rows);
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
                    failed_of(c)});
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
                      failed_of(c), state_of(c.line), drift_text(c, c.line)});
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

std::string percents_text(long long part, long long whole) {
  if (whole == 0) return "";
  const Index share = share_of(static_cast<double>(part), static_cast<double>(whole));
  return fixed(100 * share.low, 2) + " to " + fixed(100 * share.high, 2);
}

std::string to_text(const Statistics& s, const std::string& question) {
  std::string out = question + ": " + number(s.runs.passed) + " passed, " + number(s.runs.failed) + " failed, " +
                    counted(s.runs.errors, "error") + ", " + number(s.runs.aborted) + " aborted runs\n\n";
  return out + yields_text(s) + days_text(s) + failures_text(s) + measurements_text(s) + limits_text(s) +
         shapes_text(s) + drifts_text(s) + outliers_text(s) + durations_text(s) + times_text(s) + marked_text(s);
}

std::string in_unit(const std::string& unit) { return unit.empty() ? "" : " " + shown(unit); }

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
  for (const char* part : kParts) rows[0].emplace_back(part);
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
  return kind + " phones " + shown(pattern) + ": " + counted(serials.size(), "phone") + ", " +
         number(marked.runs.passed) + " passed, " + number(marked.runs.failed) + " failed, " +
         counted(marked.runs.errors, "error");
}

std::string stations_remark(const Statistics& s) {
  long long units = 0;
  for (const auto& [station, yield] : s.by_station) units += yield.units;
  return units == s.yield.units
             ? ""
             : "Stations of the runs there, as if there were no other: a phone that was at several counts at each.";
}

std::string basis_of(const Statistics& s) {
  std::string out = s.choices.attempts == Attempts::first  ? "Values of first attempts"
                    : s.choices.attempts == Attempts::last ? "Values of last attempts"
                                                           : "Values of passing phones";
  long long outliers = 0;
  for (const Characteristic& c : s.characteristics) outliers += c.outlier_count;
  const std::string rule =
      " (more than " + significant(s.choices.outlier_sigmas, 3) + " robust sigmas from the median)";
  const auto unsought = std::count_if(s.characteristics.begin(), s.characteristics.end(),
                                      [](const Characteristic& c) { return !c.outliers_sought; });
  const bool all_unsought = unsought == static_cast<std::ptrdiff_t>(s.characteristics.size());
  if (all_unsought) {
    out += "; outliers are not looked for: fewer than eight values";
  } else if (outliers == 0) {
    out += "; none is an outlier" + rule;
  } else {
    out += (s.choices.without_outliers ? ", without " : ", with ") + counted(outliers, "outlier") + rule;
  }
  if (unsought > 0 && !all_unsought)
    out += "; not looked for in " + counted(unsought, "measurement") + " of fewer than eight values";
  const auto several = std::count_if(s.characteristics.begin(), s.characteristics.end(),
                                     [](const Characteristic& c) { return c.limits_changed(); });
  if (several > 0)
    out += "; of " + counted(several, "measurement") +
           " under limits that changed all are held against the newest, and those count as failed that were by the "
           "limits of the time";
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

std::string not_usable(const Characteristic& c) { return c.unusable == 0 ? "" : number(c.unusable) + " not usable"; }

std::string failed_of(const Characteristic& c) {
  return number(c.failed) + (c.unusable == 0 ? "" : ", " + not_usable(c));
}

std::string name_of(const Failure& failure) {
  return failure.measurement.empty() ? failure.step : failure.step + ": " + failure.measurement;
}

std::string short_number(std::optional<double> value) { return value ? significant(*value, 5) : "-"; }

std::string limits_of(const Limits& limits, const std::string& unit) {
  const auto& [low, high] = limits;
  if (!low && !high) return "-";
  const std::string from = low && high ? short_number(low) + " to " : low ? "from " + short_number(low) : "to ";
  return from + (high ? short_number(high) : "") + in_unit(unit);
}

std::string limits_of(const Characteristic& c) { return limits_of({c.low, c.high}, c.unit); }

std::vector<LimitsThen> latest_limits(const Characteristic& c) {
  constexpr size_t kMost = 8;
  if (!c.limits_changed() || c.limits_follow()) return {};
  std::vector<LimitsThen> out = c.limits_then;
  std::stable_sort(out.begin(), out.end(), [](const auto& a, const auto& b) { return a.last < b.last; });
  if (out.size() > kMost) out.erase(out.begin(), out.end() - kMost);
  return out;
}

std::string to_text(const LimitsThen& then, const std::string& unit) {
  return limits_of(then.limits, unit) + ": " + counted(then.values, "value") + ", " + shown(then.from) +
         (then.first == then.last ? "" : " to " + shown(then.until));
}

}  // namespace factory::store
