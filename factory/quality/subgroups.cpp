#include "quality/subgroups.h"

#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "files/app_error.h"
#include "store/filter.h"
#include "store/query.h"

namespace factory::store {
namespace {

constexpr int kHours = 24;
constexpr int kMinutes = 60;

std::string clock_text(int minutes) {
  char text[16];
  snprintf(text, sizeof text, "%02d:%02d", minutes / kMinutes, minutes % kMinutes);
  return text;
}

}  // namespace

std::vector<int> parse_shifts(const std::string& text) {
  std::vector<int> out;
  for (size_t at = 0; at <= text.size();) {
    const size_t end = std::min(text.find(',', at), text.size());
    int hour = 0;
    int minute = 0;
    int used = 0;
    const std::string one = text.substr(at, end - at);
    if (sscanf(one.c_str(), "%2d:%2d%n", &hour, &minute, &used) != 2 || used != static_cast<int>(one.size()) ||
        hour < 0 || hour >= kHours || minute < 0 || minute >= kMinutes)
      throw AppError(kUsage, "--shifts " + text + ": give the times at which shifts begin, 06:00,14:00,22:00");
    out.push_back(hour * kMinutes + minute);
    at = end + 1;
  }
  std::sort(out.begin(), out.end());
  if (std::adjacent_find(out.begin(), out.end()) != out.end())
    throw AppError(kUsage, "--shifts " + text + ": the same time twice");
  return out;
}

const char* Subgroups::plural() const {
  constexpr const char* kNames[] = {"days", "local days", "shifts", "hours", "lots"};
  return kNames[static_cast<int>(by_)];
}

void Subgroups::read_lots(Database* database) {
  std::string lot;
  Query query(database, "SELECT p.lot FROM run r JOIN setup p ON p.id = r.setup GROUP BY p.lot ORDER BY MIN(r.id)");
  query.into(&lot);
  while (query.next()) lots_.emplace(lot, static_cast<int>(lots_.size()));
}

int Subgroups::of_time(int day_or_quarter) const {
  if (!takes_quarters()) return day_or_quarter;
  const auto [at, is_new] = known_.try_emplace(day_or_quarter);
  if (!is_new) return at->second;
  const time_t begin = static_cast<time_t>(day_or_quarter) * (kQuarterMs / 1000);
  tm local{};
  localtime_r(&begin, &local);
  const time_t here = begin + local.tm_gmtoff;
  const int day = static_cast<int>(std::chrono::floor<std::chrono::days>(std::chrono::seconds(here)).count());
  const int minute = local.tm_hour * kMinutes + local.tm_min;
  // Before the day's first shift it is still the last one of the day before.
  const int begun = static_cast<int>(std::upper_bound(shifts_.begin(), shifts_.end(), minute) - shifts_.begin());
  const int shifts = static_cast<int>(shifts_.size());
  return at->second = by_ == SubgroupBy::day    ? day
                      : by_ == SubgroupBy::hour ? day * kHours + local.tm_hour
                                                : day * shifts + begun - 1;
}

int Subgroups::per_day() const {
  const int per_day[] = {1, 1, static_cast<int>(shifts_.size()), kHours, 0};
  return per_day[static_cast<int>(by_)];
}

std::string Subgroups::label(int subgroup) const {
  if (by_ == SubgroupBy::lot) {
    const auto found =
        std::find_if(lots_.begin(), lots_.end(), [&](const auto& lot) { return lot.second == subgroup; });
    return found == lots_.end() || found->first.empty() ? "no lot" : found->first;
  }
  if (by_ == SubgroupBy::hour) return date_text(subgroup / kHours) + " " + clock_text(subgroup % kHours * kMinutes);
  if (by_ != SubgroupBy::shift) return date_text(subgroup);
  const int shifts = static_cast<int>(shifts_.size());
  return date_text(subgroup / shifts) + " " + clock_text(shifts_[static_cast<size_t>(subgroup % shifts)]);
}

}  // namespace factory::store
