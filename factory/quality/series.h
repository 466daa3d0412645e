// Which of the store's series are the same measurement.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "quality/statistics.h"

namespace factory::store {

struct Series {
  size_t characteristic = 0;
  std::string station, lot;
  double reference = 0;
  Limits limits;
};

/**
 * The measurements of the series that the filter lets through, without values, and the series by their id.
 *
 * A measurement is a name, axis and unit of a step in a plan. At another place in the plan it is another one, if its
 * limits tell it apart. Limits that differ on one profile have changed, or follow what is measured; where they differ
 * between two profiles, phones are of two kinds and their values are kept apart.
 */
std::pair<std::vector<Characteristic>, std::map<int, Series>> read_series(Database* database, Filter filter);

// Those in force, the newest and all, of what the values' subgroups say.
void find_limits(Characteristic* c);

}  // namespace factory::store
