// Yield, first-pass yield and what runs failed on.
#include <algorithm>

#include "store/query.h"
#include "store/run_rows.h"
#include "store/statistics.h"

namespace factory::store {
namespace {

void add(const Yield& more, Yield* yield) {
  yield->units += more.units;
  yield->passed += more.passed;
  yield->first_passed += more.first_passed;
  yield->runs += more.runs;
}

// Ids are in the order of time: the first and the last run of a phone have the least and the greatest.
std::map<std::string, Yield> yields(Database* database, const Filter& filter, const std::string& by) {
  Condition condition(filter);
  const std::string group = by == "plan" ? "p.plan, r.serial_key" : "p." + by + ", p.plan, r.serial_key";
  const std::string sql =
      "SELECT label, COUNT(*), SUM(CASE WHEN last = last_passed THEN 1 ELSE 0 END), "
      "SUM(CASE WHEN first = first_passed THEN 1 ELSE 0 END), SUM(runs) FROM (SELECT p." +
      by +
      " AS label, MIN(r.id) AS first, MAX(r.id) AS last, MIN(CASE WHEN r.verdict = 0 THEN r.id END) AS first_passed, "
      "MAX(CASE WHEN r.verdict = 0 THEN r.id END) AS last_passed, COUNT(*) AS runs "
      "FROM run r JOIN setup p ON p.id = r.setup WHERE r.verdict <> 4" +
      condition.on_runs() + " GROUP BY " + group + ") units GROUP BY label";
  std::map<std::string, Yield> out;
  std::string label;
  Yield yield;
  Query query(database);
  query.with(&condition, sql).text(&label).whole(&yield.units).whole(&yield.passed);
  query.whole(&yield.first_passed).whole(&yield.runs).ask(sql);
  while (query.next()) out[label] = yield;
  return out;
}

void add_counts(int verdict, long long runs, long long marginal, long long retried, RunCounts* counts) {
  switch (verdict) {
    case kPassedCode:
      counts->passed += runs;
      counts->marginal += marginal;
      counts->retried += retried;
      break;
    case kAbortedCode:
      counts->aborted += runs;
      break;
    default:
      counts->failed += runs;
  }
}

void count_by_day(Database* database, const Filter& filter, Statistics* out) {
  Condition condition(filter);
  const std::string sql =
      "SELECT r.day, r.verdict, COUNT(*), SUM(r.marginal), SUM(r.retried) FROM run r JOIN setup p ON p.id = r.setup "
      "WHERE 1 = 1" +
      condition.on_runs() + " GROUP BY r.day, r.verdict";
  int day = 0;
  int verdict = 0;
  long long runs = 0;
  long long marginal = 0;
  long long retried = 0;
  Query query(database);
  query.with(&condition, sql).whole(&day).whole(&verdict).whole(&runs).whole(&marginal).whole(&retried).ask(sql);
  while (query.next()) {
    add_counts(verdict, runs, marginal, retried, &out->runs);
    add_counts(verdict, runs, marginal, retried, &out->by_day[day]);
  }
}

void count_failures(Database* database, const Filter& filter, Statistics* out) {
  Condition condition(filter);
  const std::string sql =
      "SELECT COALESCE(r.failed_step, ''), COALESCE(r.failed_measurement, ''), COUNT(*) AS runs FROM run r "
      "JOIN setup p ON p.id = r.setup WHERE r.verdict = 2" +
      condition.on_runs() + " GROUP BY 1, 2 ORDER BY runs DESC, 1, 2";
  Failure failure;
  Query query(database);
  query.with(&condition, sql).text(&failure.step).text(&failure.measurement).whole(&failure.runs).ask(sql);
  while (query.next()) out->failures.push_back(failure);
}

}  // namespace

void count_runs(Database* database, const Filter& filter, Statistics* out) {
  count_by_day(database, filter, out);
  count_failures(database, filter, out);
  out->by_plan = yields(database, filter, "plan");
  out->by_station = yields(database, filter, "station");
  for (const auto& [plan, yield] : out->by_plan) add(yield, &out->yield);
}

}  // namespace factory::store
