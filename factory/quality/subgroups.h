// What a control chart has for its points: values that were measured close together, or belong together.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace factory::store {

class Database;

enum class SubgroupBy { utc_day, day, shift, hour, lot };
constexpr const char* kSubgroupNames[] = {"utc-day", "day", "shift", "hour", "lot"};

// Begins of shifts, "06:00,14:00,22:00", as minutes of a day, sorted. Throws AppError.
std::vector<int> parse_shifts(const std::string& text);

class Subgroups {
 public:
  Subgroups() = default;
  Subgroups(SubgroupBy by, std::vector<int> shifts) : by_(by), shifts_(std::move(shifts)) {}

  SubgroupBy by() const { return by_; }
  const char* plural() const;  // "days (UTC)", "shifts"

  // The store knows a run's day, UTC. What is finer, or of local time, takes the run's quarter of an hour: no zone's
  // clock is off by less.
  bool takes_quarters() const { return by_ != SubgroupBy::utc_day && by_ != SubgroupBy::lot; }
  static constexpr long long kQuarterMs = 900000;

  // In the order of their first runs.
  void read_lots(Database* database);
  int of_lot(const std::string& lot) const { return lots_.at(lot); }
  // Of a day, or of a quarter of an hour since 1970 where it takes these.
  int of_time(int day_or_quarter) const;
  int per_day() const;  // 0: these are not of a time
  // "2026-11-26", "2026-11-26 22:00", a lot's name.
  std::string label(int subgroup) const;

 private:
  SubgroupBy by_ = SubgroupBy::utc_day;
  std::vector<int> shifts_;
  std::map<std::string, int> lots_;
  mutable std::map<int, int> known_;  // of quarters
};

}  // namespace factory::store
