#include "store/filter.h"

#include <chrono>
#include <cstdio>

#include "files/app_error.h"
#include "files/time_text.h"
#include "store/stored_text.h"

namespace factory::store {
namespace {

constexpr long long kDayMs = 86400000;

int day_of(long long ms) { return static_cast<int>(ms / kDayMs - (ms % kDayMs < 0 ? 1 : 0)); }

bool date_of(const std::string& text, const std::string& rest, long long* ms) {
  int n[6] = {0, 0, 0, 0, 0, 0};
  int used = 0;
  if (sscanf(text.c_str(), "%4d-%2d-%2d%n", &n[0], &n[1], &n[2], &used) != 3 || used != 10) return false;
  if (!rest.empty()) {
    const int count = sscanf(rest.c_str(), "%2d:%2d%n:%2d%n", &n[3], &n[4], &used, &n[5], &used);
    if (count < 2 || used != static_cast<int>(rest.size())) return false;
  }
  using namespace std::chrono;  // NOLINT(google-build-using-namespace): calendar arithmetic
  const year_month_day date{year{n[0]}, month{static_cast<unsigned>(n[1])}, day{static_cast<unsigned>(n[2])}};
  if (!date.ok() || n[3] < 0 || n[3] > 24 || n[4] < 0 || n[4] > 59 || n[5] < 0 || n[5] > 60) return false;
  *ms = (sys_days{date}.time_since_epoch().count() * 86400LL + n[3] * 3600 + n[4] * 60 + n[5]) * 1000;
  return true;
}

}  // namespace

long long parse_time_ms(const std::string& text) {
  std::string bare = text;
  if (bare.size() > 10 && bare.back() == 'Z') bare.pop_back();
  const bool separated = bare.size() > 11 && (bare[10] == 'T' || bare[10] == ' ');
  long long ms = 0;
  if ((bare.size() == 10 || separated) && date_of(bare.substr(0, 10), separated ? bare.substr(11) : "", &ms)) return ms;
  throw AppError(kUsage, "\"" + text + "\" is no time: wanted YYYY-MM-DD or YYYY-MM-DDTHH:MM[:SS], UTC");
}

std::string date_text(int day) {
  const std::chrono::year_month_day date{std::chrono::sys_days{std::chrono::days{day}}};
  char text[32];
  snprintf(text, sizeof text, "%04d-%02u-%02u", static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
           static_cast<unsigned>(date.day()));
  return text;
}

std::string time_text(long long ms) {
  return iso_time(std::chrono::system_clock::time_point(std::chrono::milliseconds(ms)));
}

Condition::Condition(const Filter& filter)
    : since_ms_(filter.since_ms.value_or(0)),
      until_ms_(filter.until_ms.value_or(0)),
      since_day_(day_of(since_ms_)),
      until_day_(day_of(until_ms_)),
      has_since_(filter.since_ms.has_value()),
      has_until_(filter.until_ms.has_value()),
      station_(to_stored(filter.station)),
      plan_(to_stored(filter.plan)),
      profile_(to_stored(filter.profile)),
      version_(to_stored(filter.version)),
      measurement_(to_stored(filter.measurement)) {}

std::string Condition::on_setups() const {
  std::string sql;
  if (!station_.empty()) sql += " AND p.station = :station";
  if (!plan_.empty()) sql += " AND p.plan = :plan";
  if (!profile_.empty()) sql += " AND p.profile = :profile";
  if (!version_.empty()) sql += " AND p.application = :version";
  return sql;
}

// The day says which parts of the tables are of no interest.
std::string Condition::on_runs() const {
  std::string sql = on_setups();
  if (has_since_) sql += " AND r.day >= :since_day AND r.started_ms >= :since_ms";
  if (has_until_) sql += " AND r.day <= :until_day AND r.started_ms < :until_ms";
  return sql;
}

// Within a day only the run knows the time.
std::string Condition::on_measurements() const {
  std::string sql = on_setups();
  if (!measurement_.empty()) sql += " AND s.name = :measurement";
  if (has_since_) sql += " AND m.day >= :since_day";
  if (has_since_ && since_ms_ % kDayMs != 0)
    sql +=
        " AND (m.day > :since_day OR m.run IN (SELECT no FROM run WHERE day = :since_day AND started_ms >= :since_ms))";
  if (has_until_) sql += until_ms_ % kDayMs == 0 ? " AND m.day < :until_day" : " AND m.day <= :until_day";
  if (has_until_ && until_ms_ % kDayMs != 0)
    sql +=
        " AND (m.day < :until_day OR m.run IN (SELECT no FROM run WHERE day = :until_day AND started_ms < :until_ms))";
  return sql;
}

void Condition::bind(soci::statement* statement, const std::string& sql) {
  const auto wanted = [&](const char* name) { return sql.find(name) != std::string::npos; };
  if (wanted(":station")) statement->exchange(soci::use(station_, "station"));
  if (wanted(":plan")) statement->exchange(soci::use(plan_, "plan"));
  if (wanted(":profile")) statement->exchange(soci::use(profile_, "profile"));
  if (wanted(":version")) statement->exchange(soci::use(version_, "version"));
  if (wanted(":measurement")) statement->exchange(soci::use(measurement_, "measurement"));
  if (wanted(":since_day")) statement->exchange(soci::use(since_day_, "since_day"));
  if (wanted(":until_day")) statement->exchange(soci::use(until_day_, "until_day"));
  if (wanted(":since_ms")) statement->exchange(soci::use(since_ms_, "since_ms"));
  if (wanted(":until_ms")) statement->exchange(soci::use(until_ms_, "until_ms"));
}

}  // namespace factory::store
