// How long a phone is at its stations, and what the seconds go to: day by day, from what runs and attempts took.
#pragma once

#include <array>
#include <map>

#include "store/database.h"
#include "store/filter.h"

namespace factory::store {

// In the order in which a second that several have counts for one.
enum class TimePart { calibrations, looks, fixture, rest };
constexpr size_t kTimeParts = 4;

struct DayTimes {
  long long phones = 0;                    // that had a run on the day
  long long runs = 0;                      // of whatever verdict: it took its time
  double seconds = 0;                      // of all runs, and so are the following
  std::array<double, kTimeParts> parts{};  // by the kind of step; what is left lies between steps
  double library = 0;                      // the library's own runs, part of the calibrations
};

// By the day since 1970, UTC. Throws StoreError, AwayError.
std::map<int, DayTimes> times_by_day(Database* database, const Filter& filter);

}  // namespace factory::store
