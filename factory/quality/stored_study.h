// Studies from runs: every measurement of theirs is one, if the runs are crossed.
#pragma once

#include <string>
#include <vector>

#include "quality/study.h"
#include "record/record.h"
#include "store/database.h"
#include "store/filter.h"

namespace factory::grr {

// One measurement of a plan with its readings, in the order of the runs.
struct Series {
  Subject subject;
  std::vector<Reading> readings;
};

struct SeriesOfRuns {
  std::vector<Series> series;    // in the order of the plan
  long long without_serial = 0;  // runs of phones that nobody can tell apart
};

// Aborted runs are left out. Throws StoreError, AwayError; for more runs than any study has, too.
SeriesOfRuns stored_series(store::Database* database, const store::Filter& filter);

// Of runs that were made just now, in their order; `measurement`: those of this name only, empty for all.
SeriesOfRuns series_of(const std::vector<record::Run>& runs, const std::string& measurement);

}  // namespace factory::grr
