// The page of `sensorcal stats`: looks and chart library are those of a run's page.
#include <algorithm>

#include "quality/stats_view.h"
#include "report/html.h"

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
    return element("div", {{"class", "canvas"}},
                   element("canvas", {{"data-chart", number}, {"role", "img"}, {"aria-label", label}}, {}));
  }
  const Json::Value& data() const { return data_; }

 private:
  Json::Value data_{Json::arrayValue};
};

Json::Value chart_of(const Characteristic& c, const ControlChart& chart) {
  Json::Value out;
  out["kind"] = "drift";
  out["centre"] = chart.centre;
  if (c.low) out["low"] = *c.low;
  if (c.high) out["high"] = *c.high;
  out["points"] = Json::Value(Json::arrayValue);
  for (const ChartPoint& point : chart.points) {
    Json::Value& p = out["points"].append(Json::Value());
    p["day"] = date_text(point.day);
    p["mean"] = point.values.mean;
    p["shown"] = point.shown;
    p["count"] = static_cast<Json::Int64>(point.values.count);
    p["upper"] = chart.line(chart.limit, point);
    p["lower"] = chart.line(-chart.limit, point);
    p["rule"] = rule_in_words(point.rule);
  }
  return out;
}

Json::Value days_chart(const Statistics& s) {
  Json::Value out;
  out["kind"] = "days";
  out["points"] = Json::Value(Json::arrayValue);
  for (const auto& [day, runs] : s.by_day) {
    Json::Value& p = out["points"].append(Json::Value());
    p["day"] = date_text(day);
    p["passed"] = static_cast<Json::Int64>(runs.passed);
    p["failed"] = static_cast<Json::Int64>(runs.failed);
    p["error"] = static_cast<Json::Int64>(runs.errors);
    p["aborted"] = static_cast<Json::Int64>(runs.aborted);
  }
  return out;
}

Markup yields(const Statistics& s, Charts* charts) {
  HtmlTable table("yields", {"Of", "Phones", "Yield", "First-pass yield", "Runs"});
  const auto add = [&](const Markup& name, const Yield& y) {
    table.add({name, std::to_string(y.units), percent(y.passed, y.units), percent(y.first_passed, y.units),
               std::to_string(y.runs)});
  };
  add("all", s.yield);
  for (const auto& [plan, yield] : s.by_plan) add(Markup("plan ") + element("bdi", plan), yield);
  for (const auto& [station, yield] : s.by_station) add(Markup("station ") + element("bdi", station), yield);
  return table.markup() + charts->place(days_chart(s), "runs by day");
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
    Json::Value& p = chart["points"].append(Json::Value());
    p["rank"] = rank;
    p["runs"] = static_cast<Json::Int64>(failure.runs);
    p["together"] = static_cast<double>(together) / static_cast<double>(std::max(1LL, s.runs.failed)) * 100;
  }
  return charts->place(chart, "what runs failed on, most frequent first") + table.markup();
}

std::string measurement_id(size_t i) { return "measurement-" + std::to_string(i + 1); }

Markup measurements(const Statistics& s) {
  HtmlTable table("measurements", {"Measurement", "Plan", "n", "Mean", "Sigma", "Limits", "Pp", "Ppk", "95 %", "Cp",
                                   "Cpk", "95 %", "Failed", "Not usable", "Outliers", "Drift"});
  for (size_t i = 0; i < s.characteristics.size(); ++i) {
    const Characteristic& c = s.characteristics[i];
    const Capability& k = c.line.capability;
    table.add({element("a", {{"href", "#" + measurement_id(i)}}, name_of(c)), c.plan, std::to_string(c.all.count),
               c.all.count == 0 ? "-" : short_number(c.all.mean), short_number(c.all.sigma()), limits_of(c),
               index_text(k.pp), index_text(k.ppk), interval_text(k.ppk), index_text(k.cp), index_text(k.cpk),
               interval_text(k.cpk), std::to_string(c.failed), std::to_string(c.unusable),
               std::to_string(c.outlier_count), state_of(c)});
  }
  return element("div", {{"class", "scrolls"}}, table.markup()) + element("p", basis_of(s)) + element("p", rules_of(s));
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

Markup alarms(const ControlChart& chart) {
  Markup items;
  for (const Alarm& alarm : alarms_of(chart)) items += element("li", to_text(alarm));
  return items.empty() ? items : element("ul", items);
}

Markup chart_markup(const Characteristic& c, const Process& process, const std::string& label, Charts* charts) {
  if (process.chart.points.size() < 2) return {};
  return charts->place(chart_of(c, process.chart), label) + alarms(process.chart);
}

Markup in_full(const Characteristic& c, size_t i, Charts* charts) {
  const std::string about =
      "plan " + c.plan + " \u00B7 " + std::to_string(c.all.count) + " values \u00B7 limits " + limits_of(c);
  Markup content = element("h3", name_of(c)) + element("p", {{"class", "about"}}, about);
  content += chart_markup(c, c.line, "daily means, all stations", charts);
  if (c.stations.size() > 1) {
    for (const auto& [station, process] : c.stations) {
      const std::string state = state_of(process);
      Markup inner = element("summary", Markup("Station ") + element("bdi", station) + Markup(": " + state));
      inner += chart_markup(c, process, "daily means of one station", charts);
      content += element("details", inner);
    }
  }
  return element("article", {{"id", measurement_id(i)}, {"class", "card"}}, content + outliers(c));
}

}  // namespace

void write_page(const Statistics& s, const std::string& question, const std::string& file) {
  Charts charts;
  Markup banner = element("h1", percent(s.yield.passed, s.yield.units) + " yield");
  banner += element("p", {{"class", "what"}}, question);
  banner += element("p", percent(s.yield.first_passed, s.yield.units) + " at the first run \u00B7 " +
                             std::to_string(s.yield.units) + " phones \u00B7 " +
                             std::to_string(s.runs.passed + s.runs.failed + s.runs.aborted) + " runs");
  Markup body = card("Yield", yields(s, &charts)) + card("Failures", failures(s, &charts));
  if (!s.characteristics.empty()) body += card("Measurements", measurements(s));
  for (size_t i = 0; i < s.characteristics.size(); ++i) body += in_full(s.characteristics[i], i, &charts);
  factory::write_page(file, "Statistics of runs",
                      ".canvas { height: 240px; position: relative; }\n.measurements td { overflow-wrap: normal; }\n",
                      element("header", {{"class", "banner skipped"}}, element("div", banner)), body,
                      {"charts", charts.data(), assets::stats_js});
}

}  // namespace factory::store
