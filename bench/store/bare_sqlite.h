// The database without a library over it: what the store's ways are compared with.
#pragma once

#include <sqlite3.h>

#include <optional>
#include <stdexcept>
#include <string>

#include "store/dictionary.h"
#include "store/run_rows.h"

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
        measurement_(database, "INSERT INTO measurement VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
        database_(database) {}

  void put(const factory::store::RunRows& r, const factory::store::Dictionary::Ids& ids, long long serial_key) {
    begin_.run();
    run_.run(r.day, r.id, ids.setup, r.serial, serial_key, r.started_ms, r.seconds, r.verdict, r.marginal ? 1 : 0,
             r.retried ? 1 : 0, r.failed_step, r.failed_measurement, r.remarks);
    const long long no = sqlite3_last_insert_rowid(database_);
    for (size_t i = 0; i < r.steps.size(); ++i) {
      const auto& s = r.steps[i];
      step_.run(r.day, no, s.index, ids.plan_steps[i], s.verdict, s.attempts);
    }
    for (const auto& a : r.attempts) {
      attempt_.run(r.day, no, a.step_index, a.number, a.started_ms, a.seconds, a.verdict, a.kept, a.put_back,
                   a.restarts[0], a.restarts[1], a.restarts[2], a.reasons, a.hints, a.notes);
    }
    for (size_t i = 0; i < r.measurements.size(); ++i) {
      const auto& m = r.measurements[i];
      measurement_.run(ids.series[i], r.day, no, m.step_index, m.attempt, m.position, m.number.value, m.number.exact,
                       m.standard_error, m.verdict, m.deciding ? 1 : 0);
    }
    commit_.run();
  }

 private:
  BareStatement begin_, commit_, run_, step_, attempt_, measurement_;
  sqlite3* database_;
};

}  // namespace bench
