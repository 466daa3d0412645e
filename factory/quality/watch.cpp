#include "quality/watch.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "files/json_text.h"
#include "files/numbers.h"
#include "files/words.h"
#include "quality/comparison.h"
#include "quality/stats_view.h"
#include "store/query.h"

namespace factory::store {
namespace {

constexpr double kUsual = 2000;  // phones that say what is usual
constexpr double kFewestBefore = 500;
constexpr double kFewestOthers = 200;
constexpr std::array kWorse = {2.0, 8.0};  // times as many failures: what is looked for
constexpr double kLimit = 12;
constexpr double kOver = 5;
constexpr size_t kPhonesEach = 20;

constexpr double kUpperEnd = 1.2815515655;  // of an interval of 80 %

constexpr long long kDayMs = 86400000;

// Which phones an alert on values rests on: those farthest off on its side.
struct Values {
  const Characteristic* c;
  std::string station;  // empty: all
  int first_day = 0, last_day = 0;
  double centre = 0, side = 0;
};

struct ValueAlert {
  Alert alert;
  Values values;
};

std::string place_of(const std::string& station) { return station.empty() ? "" : " at station " + shown(station); }

void add_chart(const Characteristic& c, const std::string& station, const Process& process,
               std::vector<ValueAlert>* out) {
  if (!process.changed || process.chart.points.back().rule == 0) return;
  const Alarm alarm = alarms_of(process.chart).back();
  const std::string about = name_of(c) + place_of(station) + ", plan " + shown(c.plan);
  const double side = alarm.last->shown - process.chart.centre;
  out->push_back({{"chart",
                   about,
                   about + ": " + to_text(alarm) + " where " + short_number(process.chart.centre) + " is usual",
                   {},
                   alarm.first->day * kDayMs},
                  {&c, station, alarm.first->day, alarm.last->day, process.chart.centre, side}});
}

void add_station(const Characteristic& c, const std::string& station, std::vector<ValueAlert>* out) {
  constexpr long long kFewest = 30;
  constexpr double kCertain = 6;  // standard errors
  Contrast against;
  int first_day = 0;
  int last_day = 0;
  for (const auto& [name, process] : c.stations) {
    against.sides[name == station ? 1 : 0].add(total(process.days));
    if (name != station || process.days.empty()) continue;
    first_day = process.days.begin()->first;
    last_day = process.days.rbegin()->first;
  }
  contrast(&against);
  if (!against.difference || std::min(against.sides[0].count, against.sides[1].count) < kFewest) return;
  const Index& difference = *against.difference;
  const double error = (difference.high - difference.value) / 1.96;
  if (against.size < 1 || std::abs(difference.value) < kCertain * error) return;
  const std::string about = name_of(c) + place_of(station) + ", plan " + shown(c.plan);
  out->push_back({{"station",
                   about,
                   about + ": mean " + short_number(against.sides[1].mean) + ", at the others " +
                       short_number(against.sides[0].mean) + in_unit(c.unit),
                   {},
                   first_day * kDayMs},
                  {&c, station, first_day, last_day, against.sides[0].mean, difference.value}});
}

std::vector<ValueAlert> alerts_on_values(const Statistics& statistics) {
  std::vector<ValueAlert> out;
  for (const Characteristic& c : statistics.characteristics) {
    add_chart(c, "", c.line, &out);
    if (c.stations.size() < 2) continue;
    for (const auto& [station, process] : c.stations) {
      add_chart(c, station, process, &out);
      add_station(c, station, &out);
    }
  }
  return out;
}

void add_phones(Database* database, Filter filter, const Values& values, Alert* alert) {
  filter.plan = values.c->plan;
  filter.step = values.c->step;
  filter.measurement = values.c->name;
  filter.axis = values.c->axis;
  if (!values.station.empty()) filter.station = values.station;
  std::string serial;
  long long all = 0;
  Query query(
      database,
      "SELECT r.serial, COUNT(*) OVER () FROM measurement m JOIN series s ON s.id = m.series JOIN setup p ON p.id = "
      "s.setup "
      "JOIN run r ON r.day = m.day AND r.no = m.run WHERE m.deciding = 1 AND r.serial <> '' AND m.day BETWEEN " +
          std::to_string(values.first_day) + " AND " + std::to_string(values.last_day) +
          " AND (m.value - :centre) * :side > 0" + on_measurements(filter) +
          " GROUP BY r.serial ORDER BY MAX(ABS(m.value - :centre)) DESC, r.serial LIMIT " +
          std::to_string(kPhonesEach));
  query.with("centre", values.centre).with("side", values.side).with(filter).into(&serial, &all);
  while (query.next()) alert->phones.push_back(serial);
  alert->more = all - static_cast<long long>(alert->phones.size());
}

void read_first_runs(Database* database, const Filter& filter, YieldWatch* watch) {
  FirstRun run;
  auto verdict = record::Outcome::failed;
  long long key = 0;
  std::set<std::pair<long long, std::string>> seen;
  Query query(database,
              "SELECT p.plan, p.station, r.serial, r.serial_key, r.started_ms, r.verdict FROM run r JOIN setup p ON "
              "p.id = r.setup WHERE r.verdict NOT IN (4, 5)" +
                  on_runs(filter) + " ORDER BY r.id");
  query.with(filter).into(&run.plan, &run.station, &run.serial, &key, &run.started_ms, &verdict);
  while (query.next()) {
    run.passed = verdict == record::Outcome::passed;
    if (seen.emplace(key, run.plan).second) watch->add(run);
  }
}

// A phone that has to fail and passed, or the other way round: the station judges wrongly.
void add_marked(Database* database, Filter filter, std::vector<Alert>* out) {
  for (size_t i = 0; i < filter.marked.size(); ++i) {
    const MarkedPhones& marked = filter.marked[i];
    filter.only = i;
    filter.verdict = marked.kind == "golden" ? record::Outcome::failed : record::Outcome::passed;
    FirstRun run;
    Query query(database,
                "SELECT r.serial, p.station, r.started_ms FROM run r JOIN setup p ON p.id = r.setup WHERE 1 = 1" +
                    on_runs(filter) + " ORDER BY r.id");
    query.with(filter).into(&run.serial, &run.station, &run.started_ms);
    Alert alert{"marked", marked.kind + " phones " + shown(marked.pattern), "", {}, 0};
    long long runs = 0;
    std::set<std::string> phones;
    while (query.next()) {
      if (runs++ == 0) alert.since_ms = run.started_ms;
      if (!phones.insert(run.serial).second) std::erase(alert.phones, run.serial);
      alert.phones.push_back(run.serial);
      if (alert.phones.size() > kPhonesEach) alert.phones.erase(alert.phones.begin());
    }
    if (runs == 0) continue;
    alert.more = static_cast<long long>(phones.size() - alert.phones.size());
    alert.text = alert.about + ": " + counted(runs, "run") + " " + outcome_name(*filter.verdict) + ", the last" +
                 place_of(run.station);
    out->push_back(alert);
  }
}

}  // namespace

void YieldWatch::Sum::add(const FirstRun& run, const Counts& before) {
  const double share = share_of(before.failed, before.phones, kUpperEnd).high;
  bool any = false;
  for (size_t i = 0; i < values.size(); ++i) {
    const double worse = std::min(kWorse[i] * share, (1 + share) / 2);
    values[i] += run.passed ? std::log((1 - worse) / (1 - share)) : std::log(worse / share);
    values[i] = std::max(0.0, values[i]);
    any = any || values[i] > 0;
  }
  if (stands) {
    const double bad = std::clamp(static_cast<double>(failed) / static_cast<double>(phones), kWorse[0] * share, 0.9);
    over = std::max(0.0, over + (run.passed ? std::log((1 - share) / (1 - bad)) : std::log(share / bad)));
  }
  if (stands ? over > kOver : !any) {
    *this = Sum();
    return;
  }
  if (phones++ == 0) since_ms = run.started_ms;
  usual = before.failed / before.phones;
  stands = stands || *std::max_element(values.begin(), values.end()) > kLimit;
  if (run.passed) return;
  ++failed;
  if (run.serial.empty()) return;
  serials.push_back(run.serial);
  if (serials.size() > kPhonesEach) serials.erase(serials.begin());
}

Alert YieldWatch::Sum::alert(const std::string& kind, const std::string& about, const std::string& against) const {
  return {kind,
          about,
          "first-pass yield of " + about + ": " + std::to_string(failed) + " of " + std::to_string(phones) +
              " phones failed at once since " + time_text(since_ms) + ", " + against + " " + fixed(100 * usual, 2) +
              " %",
          serials,
          since_ms,
          failed - static_cast<long long>(serials.size())};
}

void YieldWatch::add(const FirstRun& run) {
  Plan& plan = plans_[run.plan];
  if (plan.beginning.phones >= kFewestBefore) plan.sum.add(run, plan.beginning);
  if (plan.beginning.phones < kUsual) {
    ++plan.beginning.phones;
    plan.beginning.failed += run.passed ? 0 : 1;
  }
  Counts others;
  Station& own = plan.stations[run.station];
  for (auto& [name, station] : plan.stations) {
    if (&station == &own) continue;
    others.phones += station.recent.phones;
    others.failed += station.recent.failed;
  }
  if (others.phones >= kFewestOthers) own.sum.add(run, others);
  for (auto& [name, station] : plan.stations) {
    station.recent.phones *= 1 - 1 / kUsual;
    station.recent.failed *= 1 - 1 / kUsual;
  }
  ++own.recent.phones;
  own.recent.failed += run.passed ? 0 : 1;
}

std::vector<Alert> YieldWatch::standing() const {
  std::vector<Alert> out;
  for (const auto& [name, plan] : plans_) {
    const std::string about = "plan " + shown(name);
    if (plan.sum.stands) out.push_back(plan.sum.alert("yield", about, "of the first ones"));
    for (const auto& [station, its] : plan.stations) {
      if (its.sum.stands) out.push_back(its.sum.alert("station", about + place_of(station), "at the other stations"));
    }
  }
  return out;
}

std::vector<Alert> standing_alerts(Database* database, const Filter& filter, const Choices& choices) {
  YieldWatch yields;
  read_first_runs(database, filter, &yields);
  std::vector<Alert> out = yields.standing();
  add_marked(database, filter, &out);
  Choices by_day = choices;  // the store finds the phones of a day
  by_day.subgroups = Subgroups();
  const Statistics found = statistics(database, filter, by_day);
  for (ValueAlert& each : alerts_on_values(found)) {
    add_phones(database, filter, each.values, &each.alert);
    out.push_back(each.alert);
  }
  return out;
}

Json::Value to_json(const Alert& alert) {
  return valid(json_object({{"kind", alert.kind},
                            {"about", alert.about},
                            {"text", alert.text},
                            {"since", time_text(alert.since_ms)},
                            {"phones", json_list(alert.phones)},
                            {"more", alert.more}}));
}

std::string to_text(const Alert& alert) {
  std::vector<std::string> phones;
  for (const std::string& phone : alert.phones) phones.push_back(shown(phone));
  return alert.kind + ": " + alert.text + (phones.empty() ? "" : "; phones " + joined(phones, ", ")) +
         (phones.empty() || alert.more == 0 ? "" : " and " + std::to_string(alert.more) + " more") + "\n";
}

}  // namespace factory::store
