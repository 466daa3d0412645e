// The database without a library over it: what the store's ways are compared with.
#pragma once

#include <sqlite3.h>

#include <optional>
#include <stdexcept>
#include <string>

#include "store/dictionary.h"
#include "store/stored_run.h"

namespace bench {

class BareStatement {
 public:
  BareStatement(sqlite3* database, const std::string& sql) : database_(database) {
    if (sqlite3_prepare_v2(database, sql.c_str(), -1, &statement_, nullptr) != SQLITE_OK) fail();
  }
  ~BareStatement() { sqlite3_finalize(statement_); }
  BareStatement(const BareStatement&) = delete;
  BareStatement& operator=(const BareStatement&) = delete;

  // Parameters in their order; the statement is run when the last is there.
  template <typename... Values>
  void run(const Values&... values) {
    int number = 0;
    (bind(++number, values), ...);
    while (step()) {
    }
    sqlite3_reset(statement_);
  }
  bool step() {
    const int result = sqlite3_step(statement_);
    if (result != SQLITE_ROW && result != SQLITE_DONE) fail();
    return result == SQLITE_ROW;
  }
  sqlite3_stmt* get() const { return statement_; }

 private:
  void bind(int number, long long value) { sqlite3_bind_int64(statement_, number, value); }
  void bind(int number, int value) { sqlite3_bind_int(statement_, number, value); }
  void bind(int number, double value) { sqlite3_bind_double(statement_, number, value); }
  void bind(int number, const std::string& value) {
    sqlite3_bind_text(statement_, number, value.data(), static_cast<int>(value.size()), SQLITE_STATIC);
  }
  template <typename T>
  void bind(int number, const std::optional<T>& value) {
    if (value) {
      bind(number, *value);
    } else {
      sqlite3_bind_null(statement_, number);
    }
  }
  [[noreturn]] void fail() const { throw std::runtime_error(sqlite3_errmsg(database_)); }

  sqlite3* database_;
  sqlite3_stmt* statement_ = nullptr;
};

class BareDatabase {
 public:
  // With the settings of the store's own connection.
  explicit BareDatabase(const std::string& file) {
    if (sqlite3_open(file.c_str(), &database_) != SQLITE_OK) throw std::runtime_error(file + " cannot be opened");
    for (const char* pragma : {"PRAGMA busy_timeout = 20000", "PRAGMA foreign_keys = ON", "PRAGMA synchronous = FULL",
                               "PRAGMA cache_size = -65536", "PRAGMA temp_store = MEMORY", "PRAGMA journal_mode = WAL"})
      sqlite3_exec(database_, pragma, nullptr, nullptr, nullptr);
  }
  ~BareDatabase() { sqlite3_close_v2(database_); }
  BareDatabase(const BareDatabase&) = delete;
  BareDatabase& operator=(const BareDatabase&) = delete;
  sqlite3* get() const { return database_; }

 private:
  sqlite3* database_ = nullptr;
};

// What is known of a run before it is written.
struct Known {
  factory::store::Dictionary::Ids ids;
  int day;
  long long serial_key, started_ms;
  int retried;
  factory::store::FailedOn failed;
  std::optional<std::string> reasons;
};

// The same rows into the same tables, in a transaction each, with all that can be known beforehand known.
class BareWriter {
 public:
  explicit BareWriter(sqlite3* database)
      : begin_(database, "BEGIN IMMEDIATE"),
        commit_(database, "COMMIT"),
        run_(database,
             "INSERT INTO run (day, id, setup, serial, serial_key, started_ms, seconds, verdict, marginal, retried, "
             "failed_step, failed_measurement, remarks) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
        step_(database, "INSERT INTO step VALUES (?, ?, ?, ?, ?, ?)"),
        attempt_(database, "INSERT INTO attempt VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
        measurement_(database, "INSERT INTO measurement VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
        database_(database) {}

  void put(const factory::record::Run& r, const Known& known) {
    begin_.run();
    run_.run(known.day, r.id, known.ids.setup, r.serial, known.serial_key, known.started_ms, r.seconds,
             static_cast<int>(r.outcome), 0, known.retried, known.failed.step, known.failed.measurement, kNothing);
    const long long no = sqlite3_last_insert_rowid(database_);
    size_t step = 0;
    size_t series = 0;
    for (const auto& s : r.steps) {
      step_.run(known.day, no, s.index, known.ids.plan_steps[step++], static_cast<int>(s.outcome),
                static_cast<int>(s.attempts.size()));
      for (const auto& a : s.attempts) {
        const bool last = &a == &s.attempts.back();
        attempt_.run(known.day, no, s.index, a.number, known.started_ms, a.seconds, static_cast<int>(a.outcome),
                     a.kept ? 1 : 0, a.put_back ? 1 : 0, a.restarts[0], a.restarts[1], a.restarts[2],
                     last ? kNothing : known.reasons, kNothing, kNothing);
        int position = 0;
        for (const auto& m : a.measurements)
          measurement_.run(known.ids.series[series++], known.day, no, s.index, a.number, ++position, m.value, kNothing,
                           m.standard_error, static_cast<int>(m.outcome), last ? 1 : 0,
                           factory::store::own_limit(m.low), factory::store::own_limit(m.high));
      }
    }
    commit_.run();
  }

 private:
  static inline const std::optional<std::string> kNothing;
  BareStatement begin_, commit_, run_, step_, attempt_, measurement_;
  sqlite3* database_;
};

}  // namespace bench
