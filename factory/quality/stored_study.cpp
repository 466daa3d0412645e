// Studies from runs.
#include "quality/study.h"

#include <algorithm>
#include <limits>
#include <map>
#include <tuple>

#include "files/app_error.h"
#include "files/words.h"
#include "quality/statistics.h"
#include "store/dictionary.h"
#include "store/query.h"
#include "store/stored_run.h"

namespace factory::grr {
namespace {

using store::Query;

constexpr long long kRunsMax = 20000;

// One value of a run, with what it is a value of.
struct Row {
  std::string plan, step, group, name, axis, unit, serial, station, operator_name;
  std::optional<double> low, high, value;
};

// Limits that follow what is measured do not make it another measurement: its values are held to the tightest of them.
std::optional<double> fixed(std::optional<double> limit) {
  constexpr double kFollows = std::numeric_limits<double>::infinity();
  return store::own_limit(limit) ? kFollows : limit;
}

class Collector {
 public:
  void add(const Row& row) {
    const auto [at, is_new] = places_.try_emplace(
        {row.plan, row.group, row.step, row.name, row.axis, row.unit, fixed(row.low), fixed(row.high)}, series_.size());
    if (is_new) {
      const store::MeasurementName name{row.plan, row.step, row.name, row.axis};
      series_.push_back({{name.in_plan(), row.unit, row.low, row.high}, {}});
    }
    Series& series = series_[at->second];
    if (row.low) series.subject.low = std::max(row.low, series.subject.low);
    if (row.high) series.subject.high = std::min(row.high, series.subject.high);
    constexpr double kUnusable = std::numeric_limits<double>::quiet_NaN();
    series.readings.push_back({row.serial, row.station, row.value.value_or(kUnusable), row.operator_name});
  }
  std::vector<Series> take() { return std::move(series_); }

 private:
  using Identity = std::tuple<std::string, std::string, std::string, std::string, std::string, std::string,
                              std::optional<double>, std::optional<double>>;
  std::map<Identity, size_t> places_;
  std::vector<Series> series_;
};

// Runs that may be part of a study, and what is asked of them.
long long count_runs(store::Database* database, const store::Filter& filter, const char* serial) {
  Query query(database,
              "SELECT COUNT(*) FROM run r JOIN setup p ON p.id = r.setup WHERE r.verdict NOT IN (4, 5) AND "
              "r.serial " +
                  std::string(serial) + " ''" + on_runs(filter));
  return query.with(filter).number();
}

}  // namespace

SeriesOfRuns stored_series(store::Database* database, const store::Filter& filter) {
  const long long runs = count_runs(database, filter, "<>");
  if (runs > kRunsMax)
    throw store::StoreError(std::to_string(runs) + " runs, and a study has no more than " + std::to_string(kRunsMax) +
                            ": choose its runs by --plan, --station, --since and --until");
  Row row;
  Query query(database,
              "SELECT p.plan, t.name, t.step_group, s.name, s.axis, s.unit, COALESCE(m.low, s.low), COALESCE(m.high, "
              "s.high), r.serial, p.station, "
              "p.operator, m.value "
              "FROM measurement m JOIN series s ON s.id = m.series JOIN setup p ON p.id = s.setup "
              "JOIN plan_step t ON t.id = s.plan_step JOIN run r ON r.day = m.day AND r.no = m.run "
              "WHERE m.deciding = 1 AND r.verdict NOT IN (4, 5) AND r.serial <> ''" +
                  on_measurements(filter) + " ORDER BY r.started_ms, r.id, m.step_index, m.position");
  query.with(filter).into(&row.plan, &row.step, &row.group, &row.name, &row.axis, &row.unit, &row.low, &row.high,
                          &row.serial, &row.station, &row.operator_name, &row.value);
  Collector collector;
  while (query.next()) collector.add(row);
  SeriesOfRuns out{collector.take(), count_runs(database, filter, "="), ""};
  if (runs + out.without_serial == 0) out.none = "there are none; the store has " + store::all_runs(database);
  return out;
}

std::vector<Reading> stored_turns(store::Database* database, const store::Filter& filter) {
  Reading reading{"", "", 0};
  Query query(database,
              "SELECT r.serial, p.station, p.operator FROM run r JOIN setup p ON p.id = r.setup WHERE r.verdict NOT IN "
              "(4, 5) AND r.serial <> ''" +
                  on_runs(filter));
  query.with(filter).into(&reading.phone, &reading.station, &reading.operator_name);
  std::vector<Reading> out;
  while (query.next()) out.push_back(reading);
  return out;
}

SeriesOfRuns series_of(const std::vector<record::Run>& runs, const std::string& measurement) {
  Collector collector;
  std::vector<std::string> known;
  for (const record::Run& run : runs) {
    for (const record::Step& step : run.steps) {
      for (const record::Attempt& attempt : step.attempts) {
        if (!store::decided(step, attempt)) continue;
        for (const record::Measurement& m : attempt.measurements) {
          const store::MeasurementName name{run.plan.name, step.name, m.name, m.axis};
          known.push_back(name.in_step());
          if (!measurement.empty() && !name.as_meant(measurement)) continue;
          collector.add({run.plan.name, step.name, step.group, m.name, m.axis, m.unit, run.serial, run.station,
                         run.operator_name, store::usable(m.low), store::usable(m.high), store::usable(m.value)});
        }
      }
    }
  }
  SeriesOfRuns out{collector.take(), 0, ""};
  if (out.series.empty() && !measurement.empty() && !known.empty())
    throw AppError(
        kUsage, "--measurement " + measurement + ": the plan has none of this name" + or_nearest(measurement, known));
  return out;
}

}  // namespace factory::grr
