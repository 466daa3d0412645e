#include "quality/times.h"

#include <string>
#include <vector>

#include "report/words.h"
#include "store/query.h"

namespace factory::store {
namespace {

TimePart part_of(const std::string& kind) {
  return kind == "calibrate" ? TimePart::calibrations
         : kind == "verify"  ? TimePart::looks
         : kind == "fixture" ? TimePart::fixture
                             : TimePart::rest;
}

void read_runs(Database* database, const Filter& filter, std::map<int, DayTimes>* days) {
  int day = 0;
  DayTimes found;
  Query query(database,
              "SELECT r.day, COUNT(DISTINCT r.serial_key), COUNT(*), SUM(r.seconds) FROM run r JOIN setup p ON "
              "p.id = r.setup WHERE 1 = 1" +
                  on_runs(filter) + " GROUP BY r.day");
  query.with(filter).into(&day, &found.phones, &found.runs, &found.seconds);
  while (query.next()) (*days)[day] = found;
}

void read_attempts(Database* database, const Filter& filter, std::map<int, DayTimes>* days) {
  struct Row {
    int day = 0;
    long long run = 0, started_ms = 0;
    double seconds = 0;
    std::string kind;
  } row;
  Query query(database,
              "SELECT a.day, a.run, t.kind, a.started_ms - r.started_ms, a.seconds FROM attempt a JOIN step s ON "
              "s.day = a.day AND s.run = a.run AND s.step_index = a.step_index JOIN plan_step t ON t.id = s.plan_step "
              "JOIN run r ON r.day = a.day AND r.no = a.run JOIN setup p ON p.id = r.setup WHERE 1 = 1" +
                  on_runs(filter) + " ORDER BY a.day, a.run");
  query.with(filter).into(&row.day, &row.run, &row.kind, &row.started_ms, &row.seconds);
  // Of one run. Looks at several sensors are taken together: their seconds are the same ones.
  std::vector<UnderWay> attempts;
  Row last;
  const auto count = [&] {
    add_seconds(attempts, (*days)[last.day].parts);
    attempts.clear();
  };
  while (query.next()) {
    if (row.run != last.run || row.day != last.day) count();
    last = row;
    const double from_s = static_cast<double>(row.started_ms) / 1000;
    attempts.push_back({static_cast<size_t>(part_of(row.kind)), from_s, from_s + row.seconds});
  }
  count();
}

void read_library(Database* database, const Filter& filter, std::map<int, DayTimes>* days) {
  int day = 0;
  double seconds = 0;
  Query query(database,
              "SELECT m.day, SUM(m.value) FROM series s JOIN setup p ON p.id = s.setup JOIN measurement m ON "
              "m.series = s.id WHERE s.name = 'duration' AND s.unit = 's'" +
                  on_measurements(filter) + " GROUP BY m.day");
  query.with(filter).into(&day, &seconds);
  while (query.next()) (*days)[day].library = seconds;
}

}  // namespace

std::map<int, DayTimes> times_by_day(Database* database, const Filter& filter) {
  std::map<int, DayTimes> days;
  read_runs(database, filter, &days);
  read_attempts(database, filter, &days);
  read_library(database, filter, &days);
  std::erase_if(days, [](const auto& day) { return day.second.runs == 0; });
  return days;
}

}  // namespace factory::store
