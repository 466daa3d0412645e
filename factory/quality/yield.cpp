// Yield, first-pass yield and what runs failed on.
#include <algorithm>

#include "quality/statistics.h"
#include "store/query.h"

namespace factory::store {
namespace {

void add(const Yield& more, Yield* yield) {
  yield->units += more.units;
  yield->passed += more.passed;
  yield->first_passed += more.first_passed;
  yield->second_passed += more.second_passed;
  yield->third_passed += more.third_passed;
  yield->runs += more.runs;
}

// Phones of which `again` has more than one run, each with its last run and that which passed first: ids are in the
// order of time.
std::string units_sql(const std::string& columns, const std::string& label, const std::string& conditions) {
  const std::string of_one = "r.serial_key, p." + label + (label == "plan" ? "" : ", p.plan");
  return "SELECT " + columns +
         ", COUNT(*), SUM(CASE WHEN last = last_passed THEN 1 ELSE 0 END), "
         "SUM(CASE WHEN passed_at <= 1 THEN 1 ELSE 0 END), SUM(CASE WHEN passed_at <= 2 THEN 1 ELSE 0 END), "
         "SUM(CASE WHEN passed_at <= 3 THEN 1 ELSE 0 END), SUM(runs) FROM (SELECT serial_key, plan, station, MAX(turn) "
         "AS "
         "last, MIN(CASE WHEN verdict = 0 THEN turn END) AS passed_at, MAX(CASE WHEN verdict = 0 THEN turn END) AS "
         "last_passed, COUNT(*) AS runs FROM (SELECT r.serial_key, p.plan, " +
         (label == "plan" ? "''" : "p.station") + " AS station, r.verdict, ROW_NUMBER() OVER (PARTITION BY " + of_one +
         " ORDER BY r.id) AS turn FROM again a JOIN run r ON r.serial_key = a.serial_key JOIN setup p ON p.id = "
         "r.setup "
         "WHERE r.verdict NOT IN (4, 5)" +
         conditions + ") runs_of GROUP BY serial_key, plan, station) units GROUP BY " + label;
}

// Most phones have one run: these are counted as they lie, and only the others are put together phone by phone, which
// takes sorting. Without conditions the index of the serial numbers alone tells them apart.
std::string yields_sql(const std::string& conditions) {
  return "WITH again AS (SELECT r.serial_key FROM run r" +
         (conditions.empty() ? "" : " JOIN setup p ON p.id = r.setup WHERE 1 = 1" + conditions) +
         " GROUP BY r.serial_key HAVING COUNT(*) > 1) "
         "SELECT 0, p.plan, p.station, units, passed, passed, passed, passed, units FROM (SELECT r.setup, COUNT(*) AS "
         "units, "
         "SUM(CASE WHEN r.verdict = 0 THEN 1 ELSE 0 END) AS passed FROM run r JOIN setup p ON p.id = r.setup "
         "LEFT JOIN again a ON a.serial_key = r.serial_key WHERE a.serial_key IS NULL AND r.verdict NOT IN (4, 5)" +
         conditions + " GROUP BY r.setup) once JOIN setup p ON p.id = once.setup UNION ALL " +
         units_sql("1, plan, ''", "plan", conditions) + " UNION ALL " +
         units_sql("2, '', station", "station", conditions);
}

void count_units(Database* database, const Filter& filter, Statistics* out) {
  int about = 0;  // 1: a plan, 2: a station, 0: a set-up, which is of one and at the other
  std::string plan;
  std::string station;
  Yield yield;
  Query query(database, yields_sql(on_runs(filter)));
  query.with(filter).into(&about, &plan, &station, &yield.units, &yield.passed, &yield.first_passed,
                          &yield.second_passed, &yield.third_passed, &yield.runs);
  while (query.next()) {
    if (about != 2) add(yield, &out->by_plan[plan]);
    if (about != 1) add(yield, &out->by_station[station]);
  }
}

void add_counts(record::Outcome verdict, long long runs, long long marginal, long long retried, RunCounts* counts) {
  using record::Outcome;
  const bool passed = verdict == Outcome::passed;
  (passed                        ? counts->passed
   : verdict == Outcome::error   ? counts->errors
   : verdict == Outcome::aborted ? counts->aborted
                                 : counts->failed) += runs;
  if (!passed) return;
  counts->marginal += marginal;
  counts->retried += retried;
}

void count_by_day(Database* database, const Filter& filter, Statistics* out) {
  int day = 0;
  auto verdict = record::Outcome::failed;
  long long runs = 0;
  long long marginal = 0;
  long long retried = 0;
  Query query(database,
              "SELECT r.day, r.verdict, COUNT(*), SUM(r.marginal), SUM(r.retried) FROM run r JOIN setup p "
              "ON p.id = r.setup WHERE 1 = 1" +
                  on_runs(filter) + " GROUP BY r.day, r.verdict");
  query.with(filter).into(&day, &verdict, &runs, &marginal, &retried);
  while (query.next()) {
    add_counts(verdict, runs, marginal, retried, &out->runs);
    add_counts(verdict, runs, marginal, retried, &out->by_day[day]);
  }
}

void count_failures(Database* database, const Filter& filter, Statistics* out) {
  Failure failure;
  Query query(database,
              "SELECT COALESCE(r.failed_step, ''), COALESCE(r.failed_measurement, ''), COUNT(*) AS runs FROM run r "
              "JOIN setup p ON p.id = r.setup WHERE r.verdict = 2" +
                  on_runs(filter) + " GROUP BY 1, 2 ORDER BY runs DESC, 1, 2");
  query.with(filter).into(&failure.step, &failure.measurement, &failure.runs);
  while (query.next()) out->failures.push_back(failure);
}

}  // namespace

void count_runs(Database* database, const Filter& filter, Statistics* out) {
  count_by_day(database, filter, out);
  count_failures(database, filter, out);
  count_units(database, filter, out);
  for (const auto& [plan, yield] : out->by_plan) add(yield, &out->yield);
}

}  // namespace factory::store
