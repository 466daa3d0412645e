#include "store/dictionary.h"

#include <array>
#include <cstdlib>

#include "files/json_text.h"
#include "files/numbers.h"
#include "store/query.h"
#include "store/stored_run.h"
#include "store/stored_text.h"

namespace factory::store {
namespace {

constexpr int kAlike = 2;  // digits

std::string text_of(const std::string& text) { return to_stored(text); }
std::string text_of(int number) { return std::to_string(number); }
std::string text_of(std::optional<long long> number) { return number ? std::to_string(*number) : ""; }

// The content as it is, which costs less than its digest. Fields come in one order, numbers have one length, and texts
// tell theirs: no two contents give the same key.
template <typename T>
void append(const T& number, std::string* key) {
  key->append(reinterpret_cast<const char*>(&number), sizeof number);
}
void append(const std::string& text, std::string* key) {
  append(text.size(), key);
  *key += text;
}
template <typename T>
void append(const std::optional<T>& number, std::string* key) {
  append(number.has_value(), key);
  append(number.value_or(T()), key);
}

// What tells series apart of a limit.
std::string about(std::optional<double> limit) {
  return limit ? significant(*limit, kAlike) + (own_limit(limit) ? "~" : "") : "";
}

}  // namespace

std::optional<double> own_limit(std::optional<double> limit) {
  return limit && strtod(significant(*limit, kAlike).c_str(), nullptr) != *limit ? limit : std::nullopt;
}

Entries::Entries(Database* database, const std::string& table, const std::string& columns)
    : database_(*database),
      table_(table),
      insert_(database, table, "digest, " + columns, "ON CONFLICT (digest) DO NOTHING") {}

int Entries::find(long long digest) {
  const std::string question = "SELECT id FROM " + table_ + " WHERE digest = :digest";
  return static_cast<int>(Query(&database_, question).with("digest", digest).number());
}

template <typename... T, typename... Row>
int Entries::id(const std::tuple<T...>& content, const std::tuple<Row...>& row) {
  return std::apply(
      [&](const auto&... part) {
        std::string key;
        (append(part, &key), ...);
        if (const auto found = known_.find(key); found != known_.end()) return found->second;
        // No two contents give the same text: JSON keeps its elements apart.
        Json::Value list(Json::arrayValue);
        list.append(table_);
        (list.append(text_of(part)), ...);
        const long long digest = key_of(json_line(list));
        const auto read = read_.find(digest);
        int id = read != read_.end() ? read->second : find(digest);
        if (id == 0) {
          insert_.clear();
          std::apply([&](const auto&... column) { insert_.row(digest, column...); }, row);
          insert_.write();
          // Two may make the same entry at once: the second finds the first one's.
          id = find(digest);
        }
        return known_[key] = id;
      },
      content);
}

void Entries::read(const std::string& question, int setup) {
  long long digest = 0;
  int id = 0;
  Query query(&database_, question);
  query.with("setup", setup).into(&digest, &id);
  while (query.next()) read_[digest] = id;
}

Dictionary::Dictionary(Database* database)
    : database_(*database),
      setups_(database, "setup",
              "station, operator, plan, plan_file, plan_hash, profile, application, application_build, library, "
              "library_build, plan_version, lot"),
      plan_steps_(database, "plan_step", "name, kind, step_group, tag, param"),
      series_(database, "series", "setup, plan_step, name, axis, unit, low, high, reference") {}

Dictionary::Ids Dictionary::ids_of(const record::Run& run) {
  Ids ids;
  const bool hashed = !run.plan.sha256.empty() || run.plan.bytes.empty();
  const std::string hash = hashed ? run.plan.sha256 : sha256(run.plan.bytes);
  const std::string profile = run.phone.fact("profile");
  const size_t known = setups_.known();
  ids.setup = setups_.id(std::tie(run.station, run.operator_name, run.plan.name, run.plan.file, hash, profile,
                                  run.application.version, run.application.build_id, run.library.version,
                                  run.library.build_id, run.plan.version, run.lot));
  if (setups_.known() != known) {
    // What its runs have had so far, in two questions: a new process would ask for each by itself.
    series_.read("SELECT s.digest, s.id FROM series s WHERE s.setup = :setup", ids.setup);
    plan_steps_.read(
        "SELECT t.digest, t.id FROM plan_step t WHERE t.id IN (SELECT s.plan_step FROM series s WHERE s.setup = "
        ":setup)",
        ids.setup);
  }
  for (const record::Step& step : run.steps) {
    const std::optional<long long> param = step.param;
    const int plan_step = plan_steps_.id(std::tie(step.name, step.kind, step.group, step.tag, param));
    ids.plan_steps.push_back(plan_step);
    for (const record::Attempt& attempt : step.attempts) {
      for (const record::Measurement& m : attempt.measurements) {
        const std::optional<double> low = usable(m.low);
        const std::optional<double> high = usable(m.high);
        const double reference = to_number(m.value).value.value_or(0);
        ids.series.push_back(
            series_.id(std::tuple(ids.setup, plan_step, m.name, m.axis, m.unit, about(low), about(high)),
                       std::tie(ids.setup, plan_step, m.name, m.axis, m.unit, low, high, reference)));
      }
    }
  }
  return ids;
}

void Dictionary::adopt(const Filter& filter) {
  for (const std::string table : {"setup_of", "plan_step_of", "series_of"}) {
    database_.run("CREATE TEMP TABLE IF NOT EXISTS " + table +
                  " (old INTEGER PRIMARY KEY, new INTEGER, low DOUBLE PRECISION, high DOUBLE PRECISION)");
    database_.run("DELETE FROM " + table);
  }
  const auto become = [&](const std::string& table, int old, int now) {
    Query(&database_, "INSERT INTO " + table + " (old, new) VALUES (:old, :now)")
        .with("old", old)
        .with("now", now)
        .run();
  };
  int old = 0;
  std::array<std::string, 12> text;
  Query setups(
      &database_,
      "SELECT p.id, p.station, p.operator, p.plan, p.plan_file, p.plan_hash, p.profile, p.application, "
      "p.application_build, p.library, p.library_build, p.plan_version, p.lot FROM other.setup p WHERE p.id IN "
      "(SELECT r.setup FROM other.run r JOIN other.setup p ON p.id = r.setup WHERE 1 = 1" +
          on_runs(filter) + ")");
  setups.with(filter).into(&old);
  for (std::string& each : text) setups.into(&each);
  while (setups.next()) become("setup_of", old, setups_.id(std::tuple_cat(text)));

  std::optional<long long> param;
  Query steps(&database_,
              "SELECT t.id, t.name, t.kind, t.step_group, t.tag, t.param FROM other.plan_step t WHERE t.id IN (SELECT "
              "x.plan_step FROM other.step x JOIN other.run r ON r.day = x.day AND r.no = x.run JOIN other.setup p ON "
              "p.id = r.setup WHERE 1 = 1" +
                  on_runs(filter) + ")");
  steps.with(filter).into(&old, &text[0], &text[1], &text[2], &text[3], &param);
  while (steps.next()) become("plan_step_of", old, plan_steps_.id(std::tie(text[0], text[1], text[2], text[3], param)));

  int setup = 0;
  int step = 0;
  std::optional<double> low;
  std::optional<double> high;
  double reference = 0;
  Query series(&database_,
               "SELECT s.id, p.new, t.new, s.name, s.axis, s.unit, s.low, s.high, s.reference FROM other.series s JOIN "
               "setup_of p ON p.old = s.setup JOIN plan_step_of t ON t.old = s.plan_step");
  series.into(&old, &setup, &step, &text[0], &text[1], &text[2], &low, &high, &reference);
  while (series.next())
    become("series_of", old,
           series_.id(std::tuple(setup, step, text[0], text[1], text[2], about(low), about(high)),
                      std::tie(setup, step, text[0], text[1], text[2], low, high, reference)));
  for (const std::string limit : {"low", "high"}) {
    database_.run("UPDATE series_of SET " + limit + " = (SELECT NULLIF(o." + limit + ", s." + limit +
                  ") FROM other.series o CROSS JOIN series s WHERE o.id = old AND s.id = new)");
  }
}

}  // namespace factory::store
