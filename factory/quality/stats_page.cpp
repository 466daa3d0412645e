// The page of `sensorcal stats`: looks and chart library are those of a run's page.
#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>

#include "files/json_text.h"
#include "files/numbers.h"
#include "files/words.h"
#include "quality/drawing.h"
#include "quality/stats_view.h"

namespace factory::assets {
extern const std::string_view stats_js;
}

namespace factory::store {
namespace {

Markup card(const char* title, const Markup& content) {
  return element("section", {{"class", "card"}}, element("h2", title) + content);
}

// The charts' data by their number, and the places where they go.
class Charts {
 public:
  Markup place(const Json::Value& data, const std::string& label) {
    data_.append(data);
    const std::string number = std::to_string(data_.size() - 1);
    return element("div", {{"class", "canvas"}, {"data-chart", number}, {"role", "img"}, {"aria-label", label}}, {});
  }
  const Json::Value& data() const { return data_; }

 private:
  Json::Value data_{Json::arrayValue};
};

void add_limits(const Limits& limits, Json::Value* out) {
  if (limits.first) (*out)["low"] = *limits.first;
  if (limits.second) (*out)["high"] = *limits.second;
}

Json::Value chart_of(const Characteristic& c, const Process& process) {
  const ControlChart& chart = process.chart;
  Json::Value out =
      json_object({{"kind", "drift"}, {"centre", chart.centre}, {"points", Json::Value(Json::arrayValue)}});
  if (!c.limits_changed()) add_limits({c.low, c.high}, &out);
  for (const ChartPoint& point : chart.points) {
    Json::Value& p = out["points"].append(json_object({{"day", point.when},
                                                       {"mean", point.values.mean},
                                                       {"shown", point.shown},
                                                       {"count", point.values.count},
                                                       {"upper", chart.line(chart.limit, point)},
                                                       {"lower", chart.line(-chart.limit, point)},
                                                       {"rule", rule_in_words(point.rule)}}));
    if (c.limits_changed()) add_limits(process.limits_in(point.day), &p);
  }
  return out;
}

Json::Value days_chart(const Statistics& s) {
  Json::Value out = json_object({{"kind", "days"}, {"points", Json::Value(Json::arrayValue)}});
  for (const auto& [day, its] : s.by_day) {
    const auto& [runs, yield] = its;
    Json::Value& p = out["points"].append(json_object({{"day", date_text(day)},
                                                       {"passed", runs.passed},
                                                       {"failed", runs.failed},
                                                       {"error", runs.errors},
                                                       {"aborted", runs.aborted}}));
    if (yield.units == 0) continue;
    for (const auto& [name, passed] : {kYieldShares[0], kYieldShares[std::size(kYieldShares) - 1]})
      p[name] = 100 * static_cast<double>(yield.*passed) / static_cast<double>(yield.units);
  }
  return out;
}

HtmlTable table_of_yields(const char* css_class, const char* of) {
  std::vector<std::string> columns = {of, "Phones"};
  for (const YieldShare& share : kYieldShares) columns.emplace_back(share.name);
  columns.insert(columns.end(), {"Runs", "Errors", "Aborted"});
  return {css_class, columns};
}

void add(const Markup& name, const Yield& y, HtmlTable* table) {
  std::vector<Markup> row = {name, std::to_string(y.units)};
  for (const YieldShare& share : kYieldShares)
    row.push_back(Markup(percent(y.*share.passed, y.units)) +
                  element("small", percents_text(y.*share.passed, y.units)));
  for (const long long count : {y.runs, y.errors, y.aborted}) row.emplace_back(std::to_string(count));
  table->add(row);
}

Markup yields(const Statistics& s, Charts* charts) {
  HtmlTable table = table_of_yields("yields", "");
  add("all", s.yield, &table);
  for (const auto& [plan, yield] : s.by_plan) add(Markup("plan ") + element("bdi", plan), yield, &table);
  for (const auto& [station, yield] : s.by_station) add(Markup("station ") + element("bdi", station), yield, &table);
  Markup all = element("div", {{"class", "scrolls"}}, table.markup());
  if (const std::string more = stations_remark(s); !more.empty()) all += element("p", more);
  if (s.by_day.size() < 2) return all;  // one point is no chart
  HtmlTable days = table_of_yields("yields", "Day (UTC)");
  for (const auto& [day, its] : s.by_day) add(date_text(day), its.yield, &days);
  return charts->place(days_chart(s), "runs and yields by day") + all +
         element("details", element("summary", "Day by day, of the runs on each day") +
                                element("div", {{"class", "scrolls"}}, days.markup()));
}

Markup failures(const Statistics& s, Charts* charts) {
  if (s.failures.empty()) return element("p", "No run failed.");
  constexpr size_t kMax = 20;
  HtmlTable table("failures", {"Rank", "Failed on", "Runs", "Share", "Together"});
  Json::Value chart;
  chart["kind"] = "pareto";
  long long together = 0;
  int rank = 0;
  for (const Failure& failure : s.failures) {
    together += failure.runs;
    table.add({std::to_string(++rank), name_of(failure), std::to_string(failure.runs),
               percent(failure.runs, s.runs.failed), percent(together, s.runs.failed)});
    if (chart["points"].size() >= kMax) continue;
    const double share = static_cast<double>(together) / static_cast<double>(std::max(1LL, s.runs.failed));
    chart["points"].append(
        json_object({{"name", shown(name_of(failure), 32)}, {"runs", failure.runs}, {"together", share * 100}}));
  }
  return charts->place(chart, "what runs failed on, most frequent first") + table.markup();
}

std::string measurement_id(size_t i) { return "measurement-" + std::to_string(i + 1); }

constexpr long long kFewestToDraw = 8;  // values: fewer have no shape

// Values between their limits, and the normal distribution that the indices suppose. A limit that is far off would
// leave no room for the values.
Markup histogram_of(const Characteristic& c) {
  const Histogram& h = c.histogram;
  const double sigma = c.all.sigma().value_or(0);
  if (h.bins.empty() || sigma <= 0 || c.looked_at < kFewestToDraw) return {};
  const double span = h.to - h.from;
  const auto is_near = [&](const std::optional<double>& limit) {
    return limit && *limit > h.from - span && *limit < h.to + span;
  };
  double left = h.from;
  double right = h.to;
  std::vector<LimitsThen> drawn = latest_limits(c);
  drawn.emplace_back().limits = {c.low, c.high};
  for (const LimitsThen& then : drawn) {
    if (is_near(then.limits.first)) left = std::min(left, *then.limits.first);
    if (is_near(then.limits.second)) right = std::max(right, *then.limits.second);
  }
  const double width = span / static_cast<double>(h.bins.size());
  const auto bell = [&](double x) {
    const double z = (x - c.all.mean) / sigma;
    return static_cast<double>(c.looked_at) * width / sigma * 0.3989422804 * std::exp(-z * z / 2);
  };
  const auto most = static_cast<double>(*std::max_element(h.bins.begin(), h.bins.end()));
  Drawing drawing(left, right, 0, std::max(most, std::min(bell(c.all.mean), 2 * most)));
  std::string bars;
  for (size_t i = 0; i < h.bins.size(); ++i) {
    const double from = h.from + static_cast<double>(i) * width;
    const auto count = static_cast<double>(h.bins[i]);
    bars += "M" + drawing.at(from, 0) + "L" + drawing.at(from, count) + "L" + drawing.at(from + width, count) + "L" +
            drawing.at(from + width, 0);
  }
  drawing.path("bars", bars);
  constexpr int kSteps = 60;
  std::string curve;
  for (int i = 0; i <= kSteps; ++i) {
    const double x = left + (right - left) * i / kSteps;
    curve += (i == 0 ? "M" : "L") + drawing.at(x, bell(x));
  }
  drawing.path("curve", curve);
  for (const LimitsThen& then : drawn) {
    for (const auto& limit : {then.limits.first, then.limits.second}) {
      if (is_near(limit)) drawing.upright(&then == &drawn.back() ? "limit" : "limit then", *limit);
    }
  }
  return drawing.markup("histogram");
}

Markup run_chart_of(const ControlChart& chart) {
  if (!chart.can_judge()) return {};
  double bottom = chart.centre;
  double top = chart.centre;
  for (const ChartPoint& point : chart.points) {
    bottom = std::min({bottom, point.shown, chart.line(-chart.limit, point)});
    top = std::max({top, point.shown, chart.line(chart.limit, point)});
  }
  Drawing drawing(0, static_cast<double>(chart.points.size() - 1), bottom, top);
  std::string means;
  std::string lower;
  std::string upper;
  std::string alarms;
  for (size_t i = 0; i < chart.points.size(); ++i) {
    const ChartPoint& point = chart.points[i];
    const auto x = static_cast<double>(i);
    const char* step = i == 0 ? "M" : "L";
    means += step + drawing.at(x, point.shown);
    lower += step + drawing.at(x, chart.line(-chart.limit, point));
    upper += step + drawing.at(x, chart.line(chart.limit, point));
    if (point.rule > 0) alarms += "M" + drawing.at(x, point.shown) + "h0";
  }
  drawing.path("bound", lower + upper);
  drawing.path("curve", means);
  drawing.path("alarm", alarms);
  return drawing.markup("in time");
}

Markup index_markup(const std::optional<Index>& index, const std::string& remark) {
  if (!index) return "-";
  Markup out = Markup(index_text(index)) + element("small", interval_text(index));
  return remark.empty() ? out : out + element("small", remark);
}

Markup state_markup(const std::string& state) {
  return state == "out of control" ? element("strong", state) : element("small", state);
}

// Out of control, then by the share that failed, then by Ppk; those without one are last.
std::vector<const Characteristic*> worst_first(const Statistics& s) {
  std::vector<const Characteristic*> out;
  for (const Characteristic& c : s.characteristics) out.push_back(&c);
  const auto rank = [](const Characteristic* c) {
    const auto& ppk = c->line.capability.ppk;
    const double share = static_cast<double>(c->failed) / static_cast<double>(std::max(1LL, c->all.count));
    return std::tuple(state_of(*c) != std::string("out of control"), -share,
                      ppk ? ppk->value : std::numeric_limits<double>::infinity());
  };
  std::stable_sort(out.begin(), out.end(), [&](const auto* a, const auto* b) { return rank(a) < rank(b); });
  return out;
}

Markup measurements(const Statistics& s, const std::vector<const Characteristic*>& order) {
  HtmlTable table("measurements", {"Measurement", "Limits", "Values", "n", "Mean", "Sigma", "Ppk", "Cpk", "Failed",
                                   "Outliers", "Drift"});
  for (size_t i = 0; i < order.size(); ++i) {
    const Characteristic& c = *order[i];
    std::string remark;
    if (!c.is_normal() && c.line.capability.ppk) {
      const std::optional<double> other = percentile_ppk(c);
      remark = other ? "percentiles: " + index_text(other) : "not normal";
    }
    Markup failed(std::to_string(c.failed));
    if (c.unusable > 0) failed += element("small", not_usable(c));
    Markup limits(limits_of(c));
    if (c.limits_changed())
      limits += element("small", std::to_string(c.limits_then.size()) +
                                     (c.limits_follow() ? " limits of single runs" : " limits in turn"));
    table.add({element("a", {{"href", "#" + measurement_id(i)}}, name_of(c)), limits, histogram_of(c),
               std::to_string(c.all.count), c.all.count == 0 ? "-" : short_number(c.all.mean),
               short_number(c.all.sigma()), index_markup(c.line.capability.ppk, remark),
               index_markup(c.line.capability.cpk, ""), failed,
               c.outliers_sought ? std::to_string(c.outlier_count) : "-",
               run_chart_of(c.line.chart) + state_markup(state_of(c)) + element("small", drift_text(c, c.line))});
  }
  return element("p", basis_of(s)) + element("p", rules_of(s)) + element("div", {{"class", "scrolls"}}, table.markup());
}

Markup marked(const Marked& phones) {
  HtmlTable table("measurements", {"Measurement", "Limits", "n", "Mean", "Sigma", "Least", "Most", "Failed", "Drift"});
  for (const Characteristic& c : phones.characteristics) {
    const bool any = c.all.count > 0;
    table.add({name_of(c), limits_of(c), std::to_string(c.all.count), any ? short_number(c.all.mean) : "-",
               short_number(c.all.sigma()), any ? short_number(c.all.least) : "-", any ? short_number(c.all.most) : "-",
               failed_of(c),
               run_chart_of(c.line.chart) + state_markup(state_of(c.line)) + element("small", drift_text(c, c.line))});
  }
  return element("p", runs_of(phones)) + element("div", {{"class", "scrolls"}}, table.markup());
}

Markup durations(const Statistics& s) {
  HtmlTable table("durations", {"Step", "n", "Mean", "Sigma", "Least", "Most", "Limits", "Failed"});
  for (const Characteristic& c : s.durations) {
    const bool any = c.all.count > 0;
    table.add({c.step, std::to_string(c.all.count), any ? short_number(c.all.mean) : "-", short_number(c.all.sigma()),
               any ? short_number(c.all.least) : "-", any ? short_number(c.all.most) : "-", limits_of(c),
               failed_of(c)});
  }
  return element("div", {{"class", "scrolls"}}, table.markup());
}

Markup times(const Statistics& s) {
  const auto rows = times_of(s);
  HtmlTable table("times", rows.front());
  for (size_t i = 1; i < rows.size(); ++i) table.add({rows[i].begin(), rows[i].end()});
  return element("div", {{"class", "scrolls"}}, table.markup());
}

Markup outliers(const Characteristic& c) {
  if (c.outliers.empty()) return {};
  HtmlTable table("outliers", {"Value", "Sigmas", "Phone", "Station", "Time", "Run"});
  for (const Outlier& o : c.outliers) {
    table.add({short_number(o.value), short_number(o.distance), element("bdi", o.serial), element("bdi", o.station),
               time_text(o.started_ms), element("code", "sensorcal history --run " + o.run_id)});
  }
  return element("h4", "Outliers") + element("div", {{"class", "scrolls"}}, table.markup());
}

Markup limits(const Characteristic& c) {
  if (!c.limits_changed()) return {};
  Markup items;
  for (const LimitsThen& then : latest_limits(c)) items += element("li", to_text(then, c.unit));
  const std::string count = "Under " + std::to_string(c.limits_then.size()) + " limits, ";
  if (c.limits_follow()) return element("p", count + "which follow what is measured.");
  return element("p", count + "the newest last:") + element("ul", items);
}

Markup alarms(const ControlChart& chart) {
  Markup items;
  for (const Alarm& alarm : alarms_of(chart)) items += element("li", to_text(alarm));
  return items.empty() ? items : element("ul", items);
}

Markup chart_markup(const Characteristic& c, const Process& process, const std::string& label, Charts* charts) {
  if (process.chart.points.size() < 2) return {};
  return charts->place(chart_of(c, process), label) + alarms(process.chart);
}

Markup stations_of(const Characteristic& c, Charts* charts) {
  if (c.stations.size() < 2) return {};
  HtmlTable table("stations", {"Station", "n", "Mean", "Sigma", "Ppk", "Cpk", "Drift"});
  Markup changed;
  for (const auto& [station, process] : c.stations) {
    const Moments all = total(process.days);
    table.add({element("bdi", station), std::to_string(all.count), short_number(all.mean), short_number(all.sigma()),
               index_markup(process.capability.ppk, ""), index_markup(process.capability.cpk, ""), state_of(process)});
    if (process.changed)
      changed += element("h4", Markup("Station ") + element("bdi", station)) +
                 chart_markup(c, process, "means of one station", charts);
  }
  return element("h4", "Stations") + element("div", {{"class", "scrolls"}}, table.markup()) + changed;
}

Markup in_full(const Characteristic& c, size_t i, Charts* charts) {
  const Capability& k = c.line.capability;
  std::string about =
      "plan " + c.plan + " \u00B7 " + std::to_string(c.all.count) + " values \u00B7 limits " + limits_of(c);
  if (k.pp) about += " \u00B7 Pp " + index_text(k.pp) + " (" + interval_text(k.pp) + ")";
  if (k.cp) about += " \u00B7 Cp " + index_text(k.cp) + " (" + interval_text(k.cp) + ")";
  if (c.normality) about += " \u00B7 normal: p " + significant(c.normality->p, 2);
  Markup content = element("p", {{"class", "about"}, {"id", measurement_id(i)}}, about);
  content += limits(c) + chart_markup(c, c.line, "means, all stations", charts) + stations_of(c, charts) + outliers(c);
  return element("details", element("summary", name_of(c)) + content);
}

}  // namespace

constexpr const char* kLooks =
    "details > .about { margin: .5rem .8rem; }\n"
    "main { max-width: 76rem; }\n"
    ".canvas { height: 240px; position: relative; }\n"
    ".measurements td { overflow-wrap: normal; }\n.measurements td small { display: block; margin: 0; white-space: "
    "nowrap; }\n"
    ".yields th::first-letter { text-transform: uppercase; }\n"
    ".yields td small { display: block; margin: 0; white-space: nowrap; }\n"
    ".measurements td:last-child small { white-space: normal; }\n"
    ".measurements strong { color: var(--failed); }\n"
    ".measurements th button { all: unset; cursor: pointer; }\n"
    ".measurements th button:focus-visible { outline: 2px solid var(--link); }\n"
    ".measurements th[aria-sort=ascending]::after { content: ' \\2191'; }\n"
    ".measurements th[aria-sort=descending]::after { content: ' \\2193'; }\n"
    "@media print { .measurements th button { display: inline; } input[type=search] { display: none; } }\n";

void write_page(const Statistics& s, const std::string& question, const std::string& file) {
  Charts charts;
  Markup banner = element("h1", percent(s.yield.passed, s.yield.units) + " yield");
  banner += element("p", {{"class", "what"}}, question);
  std::string about = percent(s.yield.first_passed, s.yield.units) + " at the first run \u00B7 " +
                      counted(s.yield.units, "phone") + " \u00B7 " + counted(s.yield.runs, "run");
  if (s.runs.errors > 0) about += " \u00B7 " + counted(s.runs.errors, "error");
  if (s.runs.aborted > 0) about += " \u00B7 " + std::to_string(s.runs.aborted) + " aborted";
  banner += element("p", about);
  Markup body = card("Yield", yields(s, &charts)) + card("Failures", failures(s, &charts));
  const std::vector<const Characteristic*> order = worst_first(s);
  if (!order.empty()) {
    body += card("Measurements", measurements(s, order));
    Markup details;
    for (size_t i = 0; i < order.size(); ++i) details += in_full(*order[i], i, &charts);
    body += card("Each measurement", details);
  }
  if (!s.durations.empty()) body += card("Durations", durations(s));
  if (!s.times.empty()) body += card("Seconds a phone", times(s));
  for (const Marked& phones : s.marked)
    body += card(phones.phones.kind == "golden" ? "Golden phones" : "Known-bad phones", marked(phones));
  factory::write_page(file, "Statistics of runs", std::string(kLooks) + kDrawingLooks,
                      element("header", {{"class", "banner skipped"}}, element("div", banner)), body,
                      {"charts", charts.data(), assets::stats_js});
}

}  // namespace factory::store
