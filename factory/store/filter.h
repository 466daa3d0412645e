// Which runs a question is about.
#pragma once

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

// Conditions in SQL, " AND ...", in which the filter's texts have their names: Query::with() gives them.
std::string on_runs(const Filter& filter);          // about the runs `r` of set-ups `p`
std::string on_measurements(const Filter& filter);  // about measurements `m` of set-ups `p` and series `s`

struct FilterText {
  const char* name;
  const char* column;
  std::string Filter::*text;
};
constexpr FilterText kFilterTexts[] = {{"station", "p.station", &Filter::station},
                                       {"plan", "p.plan", &Filter::plan},
                                       {"profile", "p.profile", &Filter::profile},
                                       {"version", "p.application", &Filter::version},
                                       {"measurement", "s.name", &Filter::measurement}};

}  // namespace factory::store
