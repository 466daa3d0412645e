#include "store/copy.h"

#include <string>
#include <vector>

#include "store/dictionary.h"
#include "store/query.h"

namespace factory::store {
namespace {

constexpr long long kRunsEach = 5000;  // in a transaction, and whole days

// The other store's tables are `other.run` and so on while this lives.
class Attached {
 public:
  Attached(Database* database, const std::string& address) : database_(*database) {
    Query(&database_, "ATTACH :address AS other").with("address", address).run();
  }
  ~Attached() {
    try {
      database_.run("DETACH other");
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): with the connection it is gone in any case
    }
  }
  Attached(const Attached&) = delete;
  Attached& operator=(const Attached&) = delete;

 private:
  Database& database_;
};

struct Days {
  int first = 0, last = 0;
  long long runs = 0;
};

std::vector<Days> parts_of(Database* database, const Filter& filter) {
  std::vector<Days> out;
  int day = 0;
  long long runs = 0;
  Query query(database, "SELECT r.day, COUNT(*) FROM other.run r JOIN other.setup p ON p.id = r.setup WHERE 1 = 1" +
                            on_runs(filter) + " GROUP BY r.day ORDER BY r.day");
  query.with(filter).into(&day, &runs);
  while (query.next()) {
    if (out.empty() || out.back().runs + runs > kRunsEach) out.push_back({day, day, 0});
    out.back().last = day;
    out.back().runs += runs;
  }
  return out;
}

// Rows by day and run, as both tables have them: the numbers of runs follow each other here as there. A step that the
// other store does not know is null, which the table refuses.
constexpr const char* kRows[] = {
    "INSERT INTO run (no, day, id, setup, serial, serial_key, started_ms, seconds, verdict, marginal, retried, "
    "failed_step, failed_measurement, remarks, retest_of) SELECT c.new, r.day, r.id, c.setup, r.serial, r.serial_key, "
    "r.started_ms, r.seconds, r.verdict, r.marginal, r.retried, r.failed_step, r.failed_measurement, r.remarks, "
    "r.retest_of FROM taken c CROSS JOIN other.run r ON r.no = c.old",
    "INSERT INTO step (day, run, step_index, plan_step, verdict, attempts) SELECT x.day, c.new, x.step_index, t.new, "
    "x.verdict, x.attempts FROM other.step x CROSS JOIN taken c ON c.old = x.run LEFT JOIN plan_step_of t ON t.old = "
    "x.plan_step WHERE x.day BETWEEN :first AND :last",
    "INSERT INTO attempt (day, run, step_index, number, started_ms, seconds, verdict, kept, put_back, "
    "variance_restarts, zero_variance_restarts, bias_restarts, reasons, hints, notes) SELECT x.day, c.new, "
    "x.step_index, x.number, x.started_ms, x.seconds, x.verdict, x.kept, x.put_back, x.variance_restarts, "
    "x.zero_variance_restarts, x.bias_restarts, x.reasons, x.hints, x.notes FROM other.attempt x CROSS JOIN taken c ON "
    "c.old = x.run WHERE x.day BETWEEN :first AND :last",
    "INSERT INTO measurement (series, day, run, step_index, attempt, position, value, exact, standard_error, verdict, "
    "deciding, low, high) SELECT s.new, m.day, c.new, m.step_index, m.attempt, m.position, m.value, m.exact, "
    "m.standard_error, m.verdict, m.deciding, COALESCE(m.low, s.low), COALESCE(m.high, s.high) FROM series_of s CROSS "
    "JOIN other.measurement m ON m.series = s.old AND m.day BETWEEN "
    ":first AND :last CROSS JOIN taken c ON c.old = m.run",
    "INSERT INTO sample_window (day, run, step_index, attempt, unit, axes, period_ms) SELECT x.day, c.new, "
    "x.step_index, x.attempt, x.unit, x.axes, x.period_ms FROM other.sample_window x CROSS JOIN taken c ON c.old = "
    "x.run WHERE x.day BETWEEN :first AND :last",
    "INSERT INTO sample (day, run, step_index, attempt, event, axis, value, exact, state) SELECT x.day, c.new, "
    "x.step_index, x.attempt, x.event, x.axis, x.value, x.exact, x.state FROM other.sample x CROSS JOIN taken c ON "
    "c.old = x.run WHERE x.day BETWEEN :first AND :last"};

long long copy_days(Database* database, const Filter& filter, const Days& days) {
  Transaction transaction(database);
  const auto of_days = [&](const std::string& sql) {
    Query query(database, sql);
    if (sql.find(":first") != std::string::npos) query.with("first", days.first).with("last", days.last);
    return query;
  };
  database->run("DELETE FROM taken");
  of_days(
      "INSERT INTO taken (old, new, setup) SELECT r.no, (SELECT COALESCE(MAX(no), 0) FROM main.run) + ROW_NUMBER() "
      "OVER (ORDER BY r.day, r.id), s.new FROM other.run r JOIN other.setup p ON p.id = r.setup JOIN setup_of s ON "
      "s.old = r.setup WHERE r.day BETWEEN :first AND :last AND NOT EXISTS (SELECT 1 FROM main.run m WHERE m.day = "
      "r.day AND m.id = r.id)" +
      on_runs(filter))
      .with(filter)
      .run();
  const long long taken = Query(database, "SELECT COUNT(*) FROM taken").number();
  for (const char* rows : kRows) of_days(rows).run();
  transaction.commit();
  return taken;
}

}  // namespace

Copied copy_runs(Store* to, Database* from, const Filter& filter) {
  Database& database = to->database();
  return database.guarded([&] {
    const Attached other(&database, from->address());
    database.run("CREATE TEMP TABLE IF NOT EXISTS taken (old INTEGER PRIMARY KEY, new INTEGER, setup INTEGER)");
    {
      Transaction transaction(&database);
      to->dictionary().adopt(filter);
      transaction.commit();
    }
    Copied out;
    for (const Days& days : parts_of(&database, filter)) {
      const long long stored = copy_days(&database, filter, days);
      out.stored += stored;
      out.were_there += days.runs - stored;
    }
    return out;
  });
}

}  // namespace factory::store
