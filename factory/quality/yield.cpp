// Yield, first-pass yield and what runs failed on.
#include <algorithm>

#include "files/words.h"
#include "quality/statistics.h"
#include "store/query.h"

namespace factory::store {
namespace {

void add(const Yield& more, Yield* yield) {
  for (const auto count : {&Yield::units, &Yield::passed, &Yield::first_passed, &Yield::second_passed,
                           &Yield::third_passed, &Yield::runs, &Yield::errors, &Yield::aborted})
    yield->*count += more.*count;
}

// Phones of which `again` has more than one run, each with its last run and that which passed first: ids are in the
// order of time. In a plan, and of it at a station or on a day.
std::string units_sql(const std::string& columns, const std::string& label, const std::string& conditions) {
  const auto if_asked = [&](const std::string& name, const std::string& column, const char* nothing) {
    return (name == label ? column : nothing) + " AS " + name;
  };
  const std::string of_one = "r.serial_key, p.plan" + std::string(label == "station" ? ", p.station"
                                                                  : label == "day"   ? ", r.day"
                                                                                     : "");
  return "SELECT " + columns +
         ", COUNT(*), SUM(CASE WHEN last = last_passed THEN 1 ELSE 0 END), "
         "SUM(CASE WHEN passed_at <= 1 THEN 1 ELSE 0 END), SUM(CASE WHEN passed_at <= 2 THEN 1 ELSE 0 END), "
         "SUM(CASE WHEN passed_at <= 3 THEN 1 ELSE 0 END), SUM(runs) FROM (SELECT serial_key, plan, station, day, "
         "MAX(turn) AS last, MIN(CASE WHEN verdict = 0 THEN turn END) AS passed_at, MAX(CASE WHEN verdict = 0 THEN "
         "turn END) AS last_passed, COUNT(*) AS runs FROM (SELECT r.serial_key, p.plan, " +
         if_asked("station", "p.station", "''") + ", " + if_asked("day", "r.day", "0") +
         ", r.verdict, ROW_NUMBER() OVER (PARTITION BY " + of_one +
         " ORDER BY r.id) AS turn FROM again a JOIN run r ON r.serial_key = a.serial_key JOIN setup p ON p.id = "
         "r.setup WHERE r.verdict NOT IN (4, 5)" +
         conditions + ") runs_of GROUP BY serial_key, plan, station, day) units GROUP BY " + label;
}

// Most phones have one run: these are counted as they lie, and only the others are put together phone by phone, which
// takes sorting. Without conditions the index of the serial numbers alone tells them apart.
std::string yields_sql(const std::string& conditions) {
  return "WITH again AS (SELECT r.serial_key FROM run r" +
         (conditions.empty() ? "" : " JOIN setup p ON p.id = r.setup WHERE 1 = 1" + conditions) +
         " GROUP BY r.serial_key HAVING COUNT(*) > 1) "
         "SELECT 0, p.plan, p.station, day, units, passed, passed, passed, passed, units FROM (SELECT r.setup, r.day, "
         "COUNT(*) AS units, SUM(CASE WHEN r.verdict = 0 THEN 1 ELSE 0 END) AS passed FROM run r JOIN setup p ON p.id "
         "= r.setup LEFT JOIN again a ON a.serial_key = r.serial_key WHERE a.serial_key IS NULL AND r.verdict NOT IN "
         "(4, 5)" +
         conditions + " GROUP BY r.setup, r.day) once JOIN setup p ON p.id = once.setup UNION ALL " +
         units_sql("1, plan, '', 0", "plan", conditions) + " UNION ALL " +
         units_sql("2, '', station, 0", "station", conditions) + " UNION ALL " +
         units_sql("3, '', '', day", "day", conditions);
}

void count_units(Database* database, const Filter& filter, Statistics* out) {
  int about = 0;  // 1: a plan, 2: a station, 3: a day, 0: a set-up on a day, which is of all three
  std::string plan;
  std::string station;
  int day = 0;
  Yield yield;
  Query query(database, yields_sql(on_runs(filter)));
  query.with(filter).into(&about, &plan, &station, &day, &yield.units, &yield.passed, &yield.first_passed,
                          &yield.second_passed, &yield.third_passed, &yield.runs);
  while (query.next()) {
    if (about == 0 || about == 1) add(yield, &out->by_plan[plan]);
    if (about == 0 || about == 2) add(yield, &out->by_station[station]);
    if (about == 0 || about == 3) add(yield, &out->by_day[day].yield);
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

void count_by_verdict(Database* database, const Filter& filter, Statistics* out) {
  int day = 0;
  std::string plan;
  std::string station;
  auto verdict = record::Outcome::failed;
  long long runs = 0;
  long long marginal = 0;
  long long retried = 0;
  Query query(database,
              "SELECT r.day, p.plan, p.station, r.verdict, runs, marginal, retried FROM (SELECT r.day, r.setup, "
              "r.verdict, COUNT(*) AS runs, SUM(r.marginal) AS marginal, SUM(r.retried) AS retried FROM run r JOIN "
              "setup p ON p.id = r.setup WHERE 1 = 1" +
                  on_runs(filter) + " GROUP BY r.day, r.setup, r.verdict) r JOIN setup p ON p.id = r.setup");
  query.with(filter).into(&day, &plan, &station, &verdict, &runs, &marginal, &retried);
  while (query.next()) {
    add_counts(verdict, runs, marginal, retried, &out->runs);
    add_counts(verdict, runs, marginal, retried, &out->by_day[day].runs);
    Yield beside;
    if (verdict == record::Outcome::error) beside.errors = runs;
    if (verdict == record::Outcome::aborted) beside.aborted = runs;
    for (Yield* yield : {&out->by_plan[plan], &out->by_station[station], &out->by_day[day].yield}) add(beside, yield);
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

std::string all_runs(Database* database) {
  long long runs = 0;
  long long first_ms = 0;
  long long last_ms = 0;
  Query query(database, "SELECT COUNT(*), COALESCE(MIN(started_ms), 0), COALESCE(MAX(started_ms), 0) FROM run");
  query.into(&runs, &first_ms, &last_ms);
  query.next();
  return runs == 0 ? "no run"
                   : counted(runs, "run") + ", " + time_text(first_ms).substr(0, 16) + " to " +
                         time_text(last_ms).substr(0, 16) + " UTC";
}

void count_runs(Database* database, const Filter& filter, Statistics* out) {
  count_by_verdict(database, filter, out);
  count_failures(database, filter, out);
  count_units(database, filter, out);
  for (const auto& [plan, yield] : out->by_plan) add(yield, &out->yield);
}

}  // namespace factory::store
