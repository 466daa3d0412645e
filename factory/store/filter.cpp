#include "store/filter.h"

#include <fnmatch.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "files/app_error.h"
#include "files/time_text.h"
#include "files/words.h"
#include "store/query.h"

namespace factory::store {
namespace {

constexpr long long kDayMs = 86400000;

// Of no run before 1970: its id has no such time.
int day_of(long long ms) { return static_cast<int>(ms / kDayMs); }

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

// Of the conditions that begin so.
std::string on_texts(const Filter& filter, std::string_view begin) {
  std::string sql;
  for (const FilterText& part : kFilterTexts) {
    if (!(filter.*part.text).empty() && std::string_view(part.condition).starts_with(begin))
      sql += std::string(" AND ") + part.condition;
  }
  return sql;
}

std::string on_marked(const Filter& filter) {
  std::string keys;
  for (size_t i = 0; i < filter.marked.size(); ++i) {
    for (const long long key : filter.marked[i].keys) {
      if (!filter.only || filter.only == i) keys += (keys.empty() ? "" : ", ") + std::to_string(key);
    }
  }
  return keys.empty() ? "" : std::string(" AND r.serial_key ") + (filter.only ? "IN (" : "NOT IN (") + keys + ")";
}

void find_marked(Database* database, MarkedPhones* marked) {
  *marked = {marked->kind, marked->pattern, {}, {}};
  std::string serial;
  long long key = 0;
  Query query(database, "SELECT serial, serial_key FROM run WHERE serial <> '' GROUP BY 1, 2 ORDER BY 1");
  query.into(&serial, &key);
  while (query.next()) {
    if (fnmatch(marked->pattern.c_str(), serial.c_str(), 0) != 0) continue;
    marked->serials.push_back(serial);
    marked->keys.push_back(key);
  }
  if (marked->keys.empty())
    throw AppError(kUsage, marked->kind + " phones " + marked->pattern + ": no serial number in the store is like it");
}

std::string on_verdict(const Filter& filter) {
  return filter.verdict ? " AND r.verdict = " + std::to_string(static_cast<int>(*filter.verdict)) : "";
}

void require_one_of(const std::string& option, const std::string& text, const std::vector<std::string>& known) {
  if (std::find(known.begin(), known.end(), text) != known.end()) return;
  throw AppError(kUsage, option + " " + text + ": the store has none of this name" + or_nearest(text, known));
}

std::vector<std::string> texts_of(Database* database, const std::string& column) {
  std::vector<std::string> out;
  std::string text;
  Query query(database, "SELECT DISTINCT " + column + " FROM setup p WHERE " + column + " <> ''");
  query.into(&text);
  while (query.next()) out.push_back(text);
  return out;
}

}  // namespace

std::optional<MeasurementName> MeasurementName::as_meant(const std::string& text) const {
  if (text == name) return MeasurementName{"", "", name, ""};
  if (text == with_axis()) return MeasurementName{"", "", name, axis};
  if (text == in_step()) return MeasurementName{"", step, name, axis};
  if (text == in_plan()) return *this;
  return {};
}

void require_known(Database* database, Filter* filter) {
  for (const auto& [name, condition, part, option] : kFilterTexts) {
    const std::string& text = filter->*part;
    const std::string column = std::string(condition).substr(0, std::string_view(condition).find(' '));
    if (option != nullptr && !text.empty()) require_one_of(option, text, texts_of(database, column));
  }
  for (MarkedPhones& marked : filter->marked) find_marked(database, &marked);
  if (filter->measurement.empty()) return;
  std::vector<std::string> known;
  MeasurementName have;
  Query query(database,
              "SELECT DISTINCT p.plan, t.name, s.name, s.axis FROM series s JOIN plan_step t ON t.id = s.plan_step "
              "JOIN setup p ON p.id = s.setup ORDER BY 1, 2, 3, 4");
  query.into(&have.plan, &have.step, &have.name, &have.axis);
  while (query.next()) {
    if (!filter->plan.empty() && have.plan != filter->plan) continue;
    if (const auto meant = have.as_meant(filter->measurement)) {
      filter->measurement = meant->name;
      filter->step = meant->step;
      filter->axis = meant->axis;
      if (!meant->plan.empty()) filter->plan = meant->plan;
      return;
    }
    known.push_back(have.in_step());
  }
  known.erase(std::unique(known.begin(), known.end()), known.end());
  require_one_of("--measurement", filter->measurement, known);
}

long long parse_time_ms(const std::string& option, const std::string& text) {
  std::string bare = text;
  if (bare.size() > 10 && bare.back() == 'Z') bare.pop_back();
  const bool separated = bare.size() > 11 && (bare[10] == 'T' || bare[10] == ' ');
  long long ms = 0;
  if ((bare.size() == 10 || separated) && date_of(bare.substr(0, 10), separated ? bare.substr(11) : "", &ms)) return ms;
  throw AppError(kUsage, option + " " + text + ": give a time, YYYY-MM-DD or YYYY-MM-DDTHH:MM[:SS], UTC");
}

std::pair<long long, long long> parse_period(const std::string& option, const std::string& text) {
  const size_t dots = text.find("..");
  if (dots == std::string::npos)
    throw AppError(kUsage, option + " " + text + ": give FROM..UNTIL, two times or days in UTC");
  const std::pair period(parse_time_ms(option, text.substr(0, dots)), parse_time_ms(option, text.substr(dots + 2)));
  if (period.first < period.second) return period;
  throw AppError(kUsage, option + " " + text + ": its end is not after its beginning");
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

std::string on_runs(const Filter& filter) {
  std::string sql = on_texts(filter, "p.") + on_verdict(filter) + on_marked(filter);
  // The day says which parts of the tables are of no interest.
  const auto add = [&](const char* days, const char* times, long long ms) {
    sql += std::string(" AND r.day") + days + std::to_string(day_of(ms)) + " AND r.started_ms" + times +
           std::to_string(ms);
  };
  if (filter.since_ms) add(" >= ", " >= ", *filter.since_ms);
  if (filter.until_ms) add(" <= ", " < ", *filter.until_ms);
  return sql;
}

std::string on_measurements(const Filter& filter) {
  std::string sql = on_texts(filter, "");
  if (filter.only) {
    sql += " AND m.run IN (SELECT r.no FROM run r WHERE 1 = 1" + on_marked(filter) + ")";
  } else if (Filter marked = filter; !marked.marked.empty()) {  // few runs are theirs
    for (marked.only = 0; *marked.only < marked.marked.size(); ++*marked.only)
      sql += " AND m.run NOT IN (SELECT r.no FROM run r WHERE 1 = 1" + on_marked(marked) + ")";
  }
  if (filter.verdict) sql += " AND m.run IN (SELECT r.no FROM run r WHERE 1 = 1" + on_verdict(filter) + ")";
  // Within a day only the run knows the time.
  const auto add = [&](const char* days, const char* others, const char* times, long long ms) {
    const std::string day = std::to_string(day_of(ms));
    sql += std::string(" AND m.day") + (ms % kDayMs == 0 ? times : days) + day;
    if (ms % kDayMs != 0)
      sql += " AND (m.day" + (others + day) + " OR m.run IN (SELECT no FROM run WHERE day = " + day +
             " AND started_ms" + times + std::to_string(ms) + "))";
  };
  if (filter.since_ms) add(" >= ", " > ", " >= ", *filter.since_ms);
  if (filter.until_ms) add(" <= ", " < ", " < ", *filter.until_ms);
  return sql;
}

}  // namespace factory::store
