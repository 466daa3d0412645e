#include "quality/history.h"

#include <cstdlib>

#include "files/json_text.h"
#include "record/record_json.h"
#include "store/query.h"
#include "store/run_id.h"
#include "store/stored_text.h"

namespace factory::store {
namespace {

constexpr const char* kRunColumns =
    "SELECT r.day, r.no, r.setup, r.id, r.serial, r.started_ms, r.seconds, r.verdict, r.failed_step, "
    "r.failed_measurement, r.remarks, p.station, p.operator, p.plan, p.plan_file, p.plan_hash, p.profile, "
    "p.application, p.application_build, p.library, p.library_build, p.plan_version, p.lot, r.retest_of FROM run r "
    "JOIN setup p ON p.id = r.setup ";

double number_of(std::optional<double> value, const std::string& exact) {
  return exact.empty() ? value.value_or(0) : std::strtod(exact.c_str(), nullptr);
}

struct Key {
  int day = 0;
  long long no = 0;
  int setup = 0;
};

class Reader {
 public:
  explicit Reader(Database* database) : database_(*database) {}

  std::vector<std::pair<Key, StoredRun>> runs(const std::string& which, const char* name, const std::string& text,
                                              long long key_of_serial_or_day) {
    Key key;
    StoredRun row;
    record::Run& run = row.run;
    std::string& profile = run.phone.facts["profile"];
    Query query(&database_, kRunColumns + which);
    query.with(name, text).with("key", key_of_serial_or_day);
    query.into(&key.day, &key.no, &key.setup, &run.id, &run.serial, &run.started, &run.seconds, &run.outcome,
               &row.failed_step, &row.failed_measurement, &run.remarks, &run.station, &run.operator_name,
               &run.plan.name, &run.plan.file, &run.plan.sha256, &profile, &run.application.version,
               &run.application.build_id, &run.library.version, &run.library.build_id, &run.plan.version, &run.lot,
               &run.retest_of);
    std::vector<std::pair<Key, StoredRun>> out;
    while (query.next()) out.emplace_back(key, row);
    return out;
  }

  void add_steps(const Key& key, record::Run* run) {
    record::Step step;
    Query query =
        of_run(key,
               "SELECT s.step_index, t.name, t.kind, t.step_group, t.tag, t.param, s.verdict FROM step s "
               "JOIN plan_step t ON t.id = s.plan_step WHERE s.day = :day AND s.run = :run ORDER BY s.step_index");
    query.into(&step.index, &step.name, &step.kind, &step.group, &step.tag, &step.param, &step.outcome);
    while (query.next()) run->steps.push_back(step);
    add_attempts(key, run);
  }

  void add_measurements(const Key& key, record::Run* run) {
    int step_index = 0;
    int number = 0;
    std::string exact;
    std::optional<double> value;
    record::Measurement m;
    Query query = of_run(
        key,
        "SELECT m.step_index, m.attempt, s.name, s.axis, s.unit, COALESCE(m.low, s.low), COALESCE(m.high, s.high), "
        "m.value, m.exact, m.standard_error, m.verdict FROM series s JOIN measurement m ON m.series = s.id AND m.day = "
        ":day AND m.run = :run "
        "WHERE s.setup = :setup ORDER BY m.step_index, m.attempt, m.position");
    query.with("setup", key.setup);
    query.into(&step_index, &number, &m.name, &m.axis, &m.unit, &m.low, &m.high, &value, &exact, &m.standard_error,
               &m.outcome);
    while (query.next()) {
      record::Attempt* attempt = find_attempt(run, step_index, number);
      if (attempt == nullptr) continue;
      m.value = number_of(value, exact);
      attempt->measurements.push_back(m);
    }
  }

  void add_windows(const Key& key, record::Run* run) {
    int step_index = 0;
    int number = 0;
    record::Window window;
    double period_ms = 0;
    Query query = of_run(
        key, "SELECT step_index, attempt, unit, axes, period_ms FROM sample_window WHERE day = :day AND run = :run");
    query.into(&step_index, &number, &window.unit, &window.axes, &period_ms);
    while (query.next()) {
      window.period_ms = static_cast<int>(period_ms);
      if (record::Attempt* attempt = find_attempt(run, step_index, number)) attempt->window = window;
    }
    add_samples(key, run);
  }

 private:
  Query of_run(const Key& key, const char* sql) {
    Query query(&database_, sql);
    query.with("day", key.day).with("run", key.no);
    return query;
  }

  void add_attempts(const Key& key, record::Run* run) {
    int step_index = 0;
    record::Attempt attempt;
    Query query = of_run(
        key,
        "SELECT step_index, number, started_ms, seconds, verdict, kept, put_back, variance_restarts, "
        "zero_variance_restarts, bias_restarts, reasons, hints, notes FROM attempt WHERE day = :day AND run = :run "
        "ORDER BY step_index, number");
    query.into(&step_index, &attempt.number, &attempt.started, &attempt.seconds, &attempt.outcome, &attempt.kept,
               &attempt.put_back, &attempt.restarts[0], &attempt.restarts[1], &attempt.restarts[2], &attempt.reasons,
               &attempt.hints, &attempt.notes);
    while (query.next()) {
      if (record::Step* step = find_step(run, step_index)) step->attempts.push_back(attempt);
    }
  }

  void add_samples(const Key& key, record::Run* run) {
    int step_index = 0;
    int number = 0;
    record::Sample sample;
    std::optional<double> value;
    std::string exact;
    Query query =
        of_run(key,
               "SELECT step_index, attempt, event, value, exact, state FROM sample WHERE day = :day AND run = :run "
               "ORDER BY step_index, attempt, event, axis");
    query.into(&step_index, &number, &sample.event, &value, &exact, &sample.state);
    while (query.next()) {
      record::Attempt* attempt = find_attempt(run, step_index, number);
      if (attempt == nullptr || !attempt->window) continue;
      std::vector<record::Sample>& samples = attempt->window->samples;
      if (samples.empty() || samples.back().event != sample.event) samples.push_back(sample);
      samples.back().values.push_back(number_of(value, exact));
    }
  }

  static record::Step* find_step(record::Run* run, int index) {
    for (record::Step& step : run->steps) {
      if (step.index == index) return &step;
    }
    return nullptr;
  }

  static record::Attempt* find_attempt(record::Run* run, int step_index, int number) {
    record::Step* step = find_step(run, step_index);
    if (step == nullptr) return nullptr;
    for (record::Attempt& attempt : step->attempts) {
      if (attempt.number == number) return &attempt;
    }
    return nullptr;
  }

  Database& database_;
};

std::vector<StoredRun> found(Database* database, const std::string& which, const char* name, const std::string& text,
                             long long key, bool full) {
  Reader reader(database);
  std::vector<StoredRun> out;
  for (auto& [place, row] : reader.runs(which, name, text, key)) {
    reader.add_steps(place, &row.run);
    if (full) reader.add_measurements(place, &row.run);
    if (full) reader.add_windows(place, &row.run);
    out.push_back(std::move(row));
  }
  return out;
}

}  // namespace

std::vector<StoredRun> history(Database* database, const std::string& serial, int limit, bool full) {
  const std::string stored = to_stored(serial);
  return found(database,
               "WHERE r.serial_key = :key AND r.serial = :serial ORDER BY r.started_ms DESC, r.id DESC" +
                   (limit > 0 ? " LIMIT " + std::to_string(limit) : std::string()),
               "serial", stored, key_of(stored), full);
}

std::vector<StoredRun> runs_at(Database* database, const std::string& station, record::Clock::time_point since) {
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(since.time_since_epoch()).count();
  return found(database,
               "WHERE r.started_ms + r.seconds * 1000 >= :key AND r.day >= " + std::to_string(ms / 86400000 - 1) +
                   " AND p.station = :station ORDER BY r.started_ms",
               "station", to_stored(station), ms, false);
}

std::optional<StoredRun> stored_run(Database* database, const std::string& id) {
  std::vector<StoredRun> runs = found(database, "WHERE r.day = :key AND r.id = :id", "id", id, day_of_id(id), true);
  if (runs.empty()) return {};
  return std::move(runs.front());
}

long long each_run(Database* database, const Filter& filter, const std::function<void(const record::Run&)>& take) {
  std::vector<std::string> ids;
  std::string id;
  Query query(database,
              "SELECT r.id FROM run r JOIN setup p ON p.id = r.setup WHERE 1 = 1" + on_runs(filter) + " ORDER BY r.id");
  query.with(filter).into(&id);
  while (query.next()) ids.push_back(id);
  long long taken = 0;
  for (const std::string& each : ids) {
    const auto found = stored_run(database, each);
    if (!found) continue;  // its month went meanwhile
    take(found->run);
    ++taken;
  }
  return taken;
}

Json::Value to_json(const std::vector<StoredRun>& runs) {
  const auto run_json = [](const StoredRun& stored) {
    return json_object({{"failed_step", stored.failed_step}, {"failed_measurement", stored.failed_measurement}},
                       to_json(stored.run));
  };
  return json_object({{"runs", json_list(runs, run_json)}});
}

std::vector<std::string> not_kept(const record::Run& run) {
  bool samples = false;
  for (const record::Step& step : run.steps) {
    for (const record::Attempt& attempt : step.attempts) samples |= attempt.window.has_value();
  }
  std::vector<std::string> out = {
      "This page was made from a store, which keeps a part of a record.",
      "Not kept: log lines, messages to the hub, its values before and after, what cannot be undone, restarts one by "
      "one, the phone's properties and directory."};
  if (!samples) out.emplace_back("Sample windows are kept where the run was stored with --store-samples.");
  return out;
}

}  // namespace factory::store
