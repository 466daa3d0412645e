// Which runs a question is about.
#pragma once

#include <soci/soci.h>

#include <optional>
#include <string>

namespace factory::store {

struct Filter {
  std::optional<long long> since_ms, until_ms;  // from, and up to but without; since 1970, UTC
  // Empty: any. Compared as they were given to the run.
  std::string station, plan, profile, version, measurement;
};

// "2026-11-24", "2026-11-24T22:04", "...:05", with or without a Z; UTC. Throws AppError.
long long parse_time_ms(const std::string& text);

// UTC, ISO 8601 with milliseconds; and the date alone, of a day since 1970.
std::string time_text(long long ms);
std::string date_text(int day);

// A condition in SQL and the values that belong to it.
class Condition {
 public:
  explicit Condition(const Filter& filter);

  // " AND ..." about the runs `r` of set-ups `p`.
  std::string on_runs() const;
  // " AND ..." about measurements `m` of set-ups `p` and series `s`.
  std::string on_measurements() const;

  // Binds the values of the condition that was asked for. This object outlives the statement.
  void bind(soci::statement* statement, const std::string& sql);

 private:
  std::string on_setups() const;

  long long since_ms_, until_ms_;
  int since_day_, until_day_;
  bool has_since_, has_until_;
  std::string station_, plan_, profile_, version_, measurement_;
};

}  // namespace factory::store
