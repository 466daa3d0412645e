// What the store says of the runs in it. The database adds up; what comes out is put together here.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "quality/control_chart.h"
#include "store/database.h"
#include "store/filter.h"

namespace factory::store {

// Phones in a plan. A phone is known by its serial number; a run without one is a phone of its own. Runs that judged
// none, aborted or ended by an error, do not count.
struct Yield {
  long long units = 0;
  long long passed = 0;        // those whose last run passed
  long long first_passed = 0;  // those whose first run passed
  long long runs = 0;
};

struct RunCounts {
  long long passed = 0, failed = 0, errors = 0, aborted = 0;
  long long marginal = 0;  // of the passed ones
  long long retried = 0;   // of the passed ones: a step took more than one attempt
};

struct Failure {
  std::string step, measurement;  // measurement: empty where no value was out of its limits
  long long runs;
};

struct Outlier {
  double value, distance;  // from the mean, in sigmas
  std::string run_id, serial, station;
  long long started_ms;
};

// The same value with the same limits, wherever and by whatever version it was measured. Of every run counts the
// attempt that decided.
struct Characteristic {
  std::string plan, step, name, axis, unit;
  std::optional<double> low, high;
  Moments all;
  long long failed = 0;    // out of the limits, as judged then
  long long unusable = 0;  // not a number, infinite, or beyond 1e100
  std::map<int, Moments> days;
  std::map<std::string, std::map<int, Moments>> stations;
  std::vector<Outlier> outliers;  // the farthest first
};

struct Statistics {
  RunCounts runs;
  Yield yield;
  std::map<std::string, Yield> by_plan;
  std::map<std::string, Yield> by_station;  // of the runs at this station alone
  std::map<int, RunCounts> by_day;
  std::vector<Failure> failures;  // the most frequent first
  std::vector<Characteristic> characteristics;
};

constexpr double kOutlierSigmas = 4;

// Throws StoreError, AwayError.
Statistics statistics(Database* database, const Filter& filter, double outlier_sigmas = kOutlierSigmas);

// The parts of it.
void count_runs(Database* database, const Filter& filter, Statistics* out);
std::vector<Characteristic> characteristics(Database* database, const Filter& filter, double outlier_sigmas);

}  // namespace factory::store
