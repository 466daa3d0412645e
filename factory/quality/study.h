// A study of repeatability and reproducibility: every phone measured at every station, equally often. From a file, or
// from runs: every measurement of theirs is one, if the runs are crossed.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "record/record.h"
#include "store/database.h"
#include "store/filter.h"

namespace factory::grr {

struct Subject {
  std::string name;  // for people: "inertial, calibrate Acc: offset x"
  std::string unit;
  std::optional<double> low, high;
};

struct Reading {
  std::string phone, station;
  double value;
};

struct Study {
  Subject subject;
  std::vector<std::string> phones, stations;
  int trials = 0;
  std::vector<double> values;  // by phone, station and trial, the last one changing fastest

  double at(size_t phone, size_t station, int trial) const {
    return values[(phone * stations.size() + station) * static_cast<size_t>(trials) + static_cast<size_t>(trial)];
  }
};

// Puts readings into their order; those of one phone at one station are trials in the order in which they come. Returns
// an empty text, or why they are no study: what is missing, by name.
std::string make_study(const Subject& subject, const std::vector<Reading>& readings, Study* study);

// A file of comma-separated values with the columns phone, station, trial and value, in any order. Throws AppError,
// which names the line.
std::vector<Reading> read_csv(const std::string& file);
std::vector<Reading> parse_csv(const std::string& file, const std::string& text);

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
