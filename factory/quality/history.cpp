#include "quality/history.h"

#include <memory>

#include "files/json_text.h"
#include "store/query.h"
#include "store/run_id.h"
#include "store/run_rows.h"

namespace factory::store {
namespace {

constexpr const char* kRunColumns =
    "SELECT r.day, r.no, r.setup, r.id, r.serial, r.started_ms, r.seconds, r.verdict, r.marginal, r.failed_step, "
    "r.failed_measurement, r.remarks, p.station, p.operator, p.plan, p.plan_hash, p.profile, p.application "
    "FROM run r JOIN setup p ON p.id = r.setup ";

Json::Value json_list(const std::string& text) {
  Json::Value out(Json::arrayValue);
  if (!text.empty()) parse_json(text, &out);
  return out;
}

Json::Value number_json(std::optional<double> value, const std::string& exact) {
  if (!exact.empty()) return exact;
  return value ? json_number(*value) : Json::Value();
}

struct Key {
  int day;
  long long no;
  int setup;
};

class Reader {
 public:
  explicit Reader(Database* database) : database_(*database) {}

  std::vector<std::pair<Key, Json::Value>> runs(const std::string& which, const char* name, const std::string& text,
                                                long long serial_key) {
    const std::string sql = kRunColumns + which;
    Key key{};
    std::string id, serial, failed_step, failed_measurement, remarks, station, by, plan, hash, profile, version;
    long long started_ms = 0;
    double seconds = 0;
    int verdict = 0;
    int marginal = 0;
    Query query(&database_);
    query.with(name, text);
    if (sql.find(":key") != std::string::npos) query.with("key", serial_key);
    query.whole(&key.day).whole(&key.no).whole(&key.setup).text(&id).text(&serial).whole(&started_ms);
    query.number(&seconds).whole(&verdict).whole(&marginal).text(&failed_step).text(&failed_measurement);
    query.text(&remarks).text(&station).text(&by).text(&plan).text(&hash).text(&profile).text(&version).ask(sql);
    std::vector<std::pair<Key, Json::Value>> out;
    while (query.next()) {
      Json::Value run;
      run["id"] = id;
      run["serial"] = serial;
      run["started"] = time_text(started_ms);
      run["seconds"] = json_number(seconds);
      run["verdict"] = verdict_name(verdict);
      run["marginal"] = marginal != 0;
      run["station"] = station;
      run["operator"] = by;
      run["plan"]["name"] = plan;
      run["plan"]["hash"] = hash;
      run["profile"] = profile;
      run["version"] = version;
      run["failed_step"] = failed_step;
      run["failed_measurement"] = failed_measurement;
      run["remarks"] = json_list(remarks);
      out.emplace_back(key, run);
    }
    return out;
  }

  void add_steps(const Key& key, Json::Value* run) {
    const std::string sql =
        "SELECT s.step_index, t.name, t.kind, t.step_group, t.tag, s.verdict FROM step s "
        "JOIN plan_step t ON t.id = s.plan_step WHERE s.day = :day AND s.run = :run ORDER BY s.step_index";
    int index = 0;
    int verdict = 0;
    std::string name, kind, group, tag;
    Query query(&database_);
    query.with("day", key.day).with("run", key.no).whole(&index).text(&name).text(&kind).text(&group).text(&tag);
    query.whole(&verdict).ask(sql);
    Json::Value& steps = (*run)["steps"] = Json::Value(Json::arrayValue);
    while (query.next()) {
      Json::Value step;
      step["index"] = index;
      step["name"] = name;
      step["kind"] = kind;
      step["group"] = group;
      step["tag"] = tag;
      step["verdict"] = verdict_name(verdict);
      step["attempts"] = Json::Value(Json::arrayValue);
      steps.append(step);
    }
    add_attempts(key, &steps);
  }

  void add_measurements(const Key& key, Json::Value* steps) {
    const std::string sql =
        "SELECT m.step_index, m.attempt, s.name, s.axis, s.unit, s.low, s.high, m.value, COALESCE(m.exact, ''), "
        "m.standard_error, m.verdict FROM series s JOIN measurement m ON m.series = s.id AND m.day = :day AND "
        "m.run = :run WHERE s.setup = :setup ORDER BY m.step_index, m.attempt, m.position";
    int step_index = 0;
    int attempt = 0;
    int verdict = 0;
    std::string name, axis, unit, exact;
    std::optional<double> low, high, value, standard_error;
    Query query(&database_);
    query.with("day", key.day).with("run", key.no).with("setup", key.setup);
    query.whole(&step_index).whole(&attempt).text(&name).text(&axis).text(&unit).number(&low).number(&high);
    query.number(&value).text(&exact).number(&standard_error).whole(&verdict).ask(sql);
    while (query.next()) {
      Json::Value* to = find_attempt(steps, step_index, attempt);
      if (to == nullptr) continue;
      Json::Value m;
      m["name"] = name;
      m["axis"] = axis;
      m["value"] = number_json(value, exact);
      m["unit"] = unit;
      m["standard_error"] = number_json(standard_error, "");
      m["low"] = number_json(low, "");
      m["high"] = number_json(high, "");
      m["verdict"] = verdict_name(verdict);
      (*to)["measurements"].append(m);
    }
  }

 private:
  void add_attempts(const Key& key, Json::Value* steps) {
    const std::string sql =
        "SELECT step_index, number, started_ms, seconds, verdict, kept, put_back, reasons, hints, notes FROM attempt "
        "WHERE day = :day AND run = :run ORDER BY step_index, number";
    int step_index = 0;
    int number = 0;
    int verdict = 0;
    int kept = 0;
    int put_back = 0;
    long long started_ms = 0;
    double seconds = 0;
    std::string reasons, hints, notes;
    Query query(&database_);
    query.with("day", key.day).with("run", key.no).whole(&step_index).whole(&number).whole(&started_ms);
    query.number(&seconds).whole(&verdict).whole(&kept).whole(&put_back).text(&reasons).text(&hints).text(&notes);
    query.ask(sql);
    while (query.next()) {
      for (Json::Value& step : *steps) {
        if (step["index"].asInt() != step_index) continue;
        Json::Value attempt;
        attempt["number"] = number;
        attempt["started"] = time_text(started_ms);
        attempt["seconds"] = json_number(seconds);
        attempt["verdict"] = verdict_name(verdict);
        attempt["kept"] = kept != 0;
        attempt["put_back"] = put_back != 0;
        attempt["reasons"] = json_list(reasons);
        attempt["hints"] = json_list(hints);
        attempt["notes"] = json_list(notes);
        step["attempts"].append(attempt);
      }
    }
  }

  static Json::Value* find_attempt(Json::Value* steps, int step_index, int number) {
    for (Json::Value& step : *steps) {
      if (step["index"].asInt() != step_index) continue;
      for (Json::Value& attempt : step["attempts"]) {
        if (attempt["number"].asInt() == number) return &attempt;
      }
    }
    return nullptr;
  }

  Database& database_;
};

Json::Value filled(Database* database, std::vector<std::pair<Key, Json::Value>> runs, bool full) {
  Json::Value out;
  out["schema"] = "sensorcal.history/1";
  Json::Value& list = out["runs"] = Json::Value(Json::arrayValue);
  for (auto& [key, run] : runs) {
    Reader(database).add_steps(key, &run);
    if (full) Reader(database).add_measurements(key, &run["steps"]);
    list.append(run);
  }
  return out;
}

}  // namespace

Json::Value history(Database* database, const std::string& serial, int limit, bool full) {
  const std::string stored = to_stored(serial);
  try {
    auto runs = Reader(database).runs(
        "WHERE r.serial_key = :key AND r.serial = :serial "
        "ORDER BY r.started_ms DESC, r.id DESC" +
            (limit > 0 ? " LIMIT " + std::to_string(limit) : std::string()),
        "serial", stored, key_of(stored));
    Json::Value out = filled(database, std::move(runs), full);
    out["serial"] = serial;
    return out;
  } catch (const soci::soci_error&) {
    rethrow(database->uri());
  }
}

Json::Value history_of_run(Database* database, const std::string& id) {
  try {
    return filled(database,
                  Reader(database).runs("WHERE r.day = :key AND r.id = :id", "id", id, time_of_id_ms(id) / 86400000),
                  true);
  } catch (const soci::soci_error&) {
    rethrow(database->uri());
  }
}

}  // namespace factory::store
