#include "quality/history.h"

#include <cstdlib>

#include "files/json_text.h"
#include "record/record_json.h"
#include "store/query.h"
#include "store/run_id.h"

namespace factory::store {
namespace {

constexpr const char* kRunColumns =
    "SELECT r.day, r.no, r.setup, r.id, r.serial, r.started_ms, r.seconds, r.verdict, r.failed_step, "
    "r.failed_measurement, r.remarks, p.station, p.operator, p.plan, p.plan_file, p.plan_hash, p.profile, "
    "p.application, p.application_build, p.library, p.library_build FROM run r JOIN setup p ON p.id = r.setup ";

// Lists that the store keeps as JSON.
std::vector<std::string> texts_of(const std::string& json) {
  std::vector<std::string> out;
  for (const record::Text& text : record::read_texts(json)) out.push_back(text);
  return out;
}

double number_of(std::optional<double> value, const std::string& exact) {
  return exact.empty() ? value.value_or(0) : std::strtod(exact.c_str(), nullptr);
}

record::Outcome outcome_of(int code) {
  return code >= 0 && code < record::kOutcomes ? static_cast<record::Outcome>(code) : record::Outcome::failed;
}

record::Clock::time_point time_of(long long ms) { return record::Clock::time_point(std::chrono::milliseconds(ms)); }

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
    const std::string sql = kRunColumns + which;
    Key key;
    StoredRun row;
    record::Run& run = row.run;
    std::string remarks, profile;
    long long started_ms = 0;
    int verdict = 0;
    Query query(&database_);
    query.with(name, text).with("key", key_of_serial_or_day);
    query.whole(&key.day).whole(&key.no).whole(&key.setup).text(&run.id).text(&run.serial).whole(&started_ms);
    query.number(&run.seconds).whole(&verdict).text(&row.failed_step).text(&row.failed_measurement).text(&remarks);
    query.text(&run.station).text(&run.operator_name).text(&run.plan.name).text(&run.plan.file);
    query.text(&run.plan.sha256).text(&profile).text(&run.application.version).text(&run.application.build_id);
    query.text(&run.library.version).text(&run.library.build_id).ask(sql);
    std::vector<std::pair<Key, StoredRun>> out;
    while (query.next()) {
      run.started = time_of(started_ms);
      run.outcome = outcome_of(verdict);
      run.remarks = texts_of(remarks);
      run.phone.facts = {{"profile", profile}};
      out.emplace_back(key, row);
    }
    return out;
  }

  void add_steps(const Key& key, record::Run* run) {
    record::Step step;
    int verdict = 0;
    std::optional<double> param;
    Query query(&database_);
    query.with("day", key.day).with("run", key.no).whole(&step.index).text(&step.name).text(&step.kind);
    query.text(&step.group).text(&step.tag).number(&param).whole(&verdict);
    query.ask(
        "SELECT s.step_index, t.name, t.kind, t.step_group, t.tag, CAST(t.param AS DOUBLE PRECISION), s.verdict "
        "FROM step s JOIN plan_step t ON t.id = s.plan_step WHERE s.day = :day AND s.run = :run ORDER BY s.step_index");
    while (query.next()) {
      step.param = param ? std::optional<int>(static_cast<int>(*param)) : std::nullopt;
      step.outcome = outcome_of(verdict);
      run->steps.push_back(step);
    }
    add_attempts(key, run);
  }

  void add_measurements(const Key& key, record::Run* run) {
    int step_index = 0;
    int number = 0;
    int verdict = 0;
    std::string exact;
    std::optional<double> value;
    record::Measurement m;
    Query query(&database_);
    query.with("day", key.day).with("run", key.no).with("setup", key.setup);
    query.whole(&step_index).whole(&number).text(&m.name).text(&m.axis).text(&m.unit).number(&m.low).number(&m.high);
    query.number(&value).text(&exact).number(&m.standard_error).whole(&verdict);
    query.ask(
        "SELECT m.step_index, m.attempt, s.name, s.axis, s.unit, s.low, s.high, m.value, COALESCE(m.exact, ''), "
        "m.standard_error, m.verdict FROM series s JOIN measurement m ON m.series = s.id AND m.day = :day AND "
        "m.run = :run WHERE s.setup = :setup ORDER BY m.step_index, m.attempt, m.position");
    while (query.next()) {
      record::Attempt* attempt = find_attempt(run, step_index, number);
      if (attempt == nullptr) continue;
      m.value = number_of(value, exact);
      m.outcome = outcome_of(verdict);
      attempt->measurements.push_back(m);
    }
  }

  void add_windows(const Key& key, record::Run* run) {
    int step_index = 0;
    int number = 0;
    std::string unit, axes;
    std::optional<double> period_ms;
    Query query(&database_);
    query.with("day", key.day).with("run", key.no).whole(&step_index).whole(&number).text(&unit).text(&axes);
    query.number(&period_ms)
        .ask("SELECT step_index, attempt, unit, axes, period_ms FROM sample_window WHERE day = :day AND run = :run");
    while (query.next()) {
      record::Attempt* attempt = find_attempt(run, step_index, number);
      if (attempt != nullptr)
        attempt->window = {unit, texts_of(axes), static_cast<int>(period_ms.value_or(0)), {}, {}, {}};
    }
    add_samples(key, run);
  }

 private:
  void add_attempts(const Key& key, record::Run* run) {
    int step_index = 0;
    int verdict = 0;
    int kept = 0;
    int put_back = 0;
    long long started_ms = 0;
    std::string reasons, hints, notes;
    record::Attempt attempt;
    Query query(&database_);
    query.with("day", key.day).with("run", key.no).whole(&step_index).whole(&attempt.number).whole(&started_ms);
    query.number(&attempt.seconds).whole(&verdict).whole(&kept).whole(&put_back);
    for (int& count : attempt.restarts) query.whole(&count);
    query.text(&reasons).text(&hints).text(&notes).ask(
        "SELECT step_index, number, started_ms, seconds, verdict, kept, put_back, variance_restarts, "
        "zero_variance_restarts, bias_restarts, reasons, hints, notes FROM attempt WHERE day = :day AND run = :run "
        "ORDER BY step_index, number");
    while (query.next()) {
      attempt.started = time_of(started_ms);
      attempt.outcome = outcome_of(verdict);
      attempt.kept = kept != 0;
      attempt.put_back = put_back != 0;
      attempt.reasons = record::read_texts(reasons);
      attempt.hints = record::read_texts(hints);
      attempt.notes = texts_of(notes);
      if (record::Step* step = find_step(run, step_index)) step->attempts.push_back(attempt);
    }
  }

  void add_samples(const Key& key, record::Run* run) {
    int step_index = 0;
    int number = 0;
    int event = 0;
    int state = 0;
    std::optional<double> value;
    std::string exact;
    Query query(&database_);
    query.with("day", key.day).with("run", key.no).whole(&step_index).whole(&number).whole(&event).number(&value);
    query.text(&exact).whole(&state).ask(
        "SELECT step_index, attempt, event, value, COALESCE(exact, ''), state FROM sample WHERE day = :day AND "
        "run = :run ORDER BY step_index, attempt, event, axis");
    while (query.next()) {
      record::Attempt* attempt = find_attempt(run, step_index, number);
      if (attempt == nullptr || !attempt->window) continue;
      std::vector<record::Sample>& samples = attempt->window->samples;
      if (samples.empty() || samples.back().event != event)
        samples.push_back({event, {}, static_cast<record::SampleState>(state)});
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
  try {
    Reader reader(database);
    std::vector<StoredRun> out;
    for (auto& [place, row] : reader.runs(which, name, text, key)) {
      reader.add_steps(place, &row.run);
      if (full) reader.add_measurements(place, &row.run);
      if (full) reader.add_windows(place, &row.run);
      out.push_back(std::move(row));
    }
    return out;
  } catch (const soci::soci_error&) {
    rethrow(database->uri());
  } catch (const record::FormatError& error) {
    throw StoreError(database->uri().shown + ": a list of texts in it is damaged: " + error.what());
  }
}

}  // namespace

std::vector<StoredRun> history(Database* database, const std::string& serial, int limit, bool full) {
  const std::string stored = to_stored(serial);
  return found(database,
               "WHERE r.serial_key = :key AND r.serial = :serial ORDER BY r.started_ms DESC, r.id DESC" +
                   (limit > 0 ? " LIMIT " + std::to_string(limit) : std::string()),
               "serial", stored, key_of(stored), full);
}

std::optional<StoredRun> stored_run(Database* database, const std::string& id) {
  std::vector<StoredRun> runs =
      found(database, "WHERE r.day = :key AND r.id = :id", "id", id, time_of_id_ms(id) / 86400000, true);
  if (runs.empty()) return {};
  return std::move(runs.front());
}

Json::Value to_json(const std::vector<StoredRun>& runs) {
  Json::Value out;
  out["schema"] = "sensorcal.history/2";
  Json::Value& list = out["runs"] = Json::Value(Json::arrayValue);
  for (const StoredRun& stored : runs) {
    Json::Value& run = list.append(to_json(stored.run));
    run["failed_step"] = stored.failed_step;
    run["failed_measurement"] = stored.failed_measurement;
  }
  return out;
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
