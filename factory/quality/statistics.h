// What the store says of the runs in it. The database adds up; what comes out is put together here.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "quality/capability.h"
#include "quality/control_chart.h"
#include "quality/subgroups.h"
#include "quality/times.h"
#include "store/database.h"
#include "store/filter.h"

namespace factory::store {

// Phones in a plan. A phone is known by its serial number; a run without one is a phone of its own. Runs that judged
// none, aborted or ended by an error, stand beside.
struct Yield {
  long long units = 0;
  long long passed = 0;  // those whose last run passed
  // Those of which one of the first one, two and three runs passed.
  long long first_passed = 0, second_passed = 0, third_passed = 0;
  long long runs = 0;
  long long errors = 0, aborted = 0;  // runs beside these
};

struct RunCounts {
  long long passed = 0, failed = 0, errors = 0, aborted = 0;
  long long marginal = 0;  // of the passed ones
  long long retried = 0;   // of the passed ones: a step took more than one attempt
};

struct Day {
  RunCounts runs;
  Yield yield;  // of the runs on this day alone
};

struct Failure {
  std::string step, measurement;  // measurement: empty where no value was out of its limits
  long long runs;
};

// Whose values are looked at.
enum class Attempts {
  first,   // of each step in each run: how good the process is by itself
  last,    // those that decided
  passing  // those that decided in a phone's last run, where that passed: what is shipped
};

struct Choices {
  Attempts attempts = Attempts::last;
  double outlier_sigmas = 4;  // robust ones from the median
  bool without_outliers = false;
  bool times = false;  // what phones' seconds went to is asked for, too
  Rules rules = Rules::ewma;
  Subgroups subgroups = {};  // of charts and of the deviation within
  // Of the runs whose values centre and limits of the charts are from: since, and up to but without; since 1970.
  std::optional<std::pair<long long, long long>> baseline_ms = {};
  // Of one measurement are fetched about so many, where it has more: percentiles of 0.135 % are then good to a fifth.
  long long single_values = 20000;
};

struct Outlier {
  double value, distance;  // from the median, in robust sigmas
  std::string run_id, serial, station;
  long long started_ms;
};

using Limits = std::pair<std::optional<double>, std::optional<double>>;  // low and high

// All stations' values, or one's.
struct Process {
  Days days;
  std::map<int, std::map<Limits, long long>> under;  // by which limits so many values of a subgroup were judged
  Days baseline;                                     // empty: none was asked for, or it has no values
  Capability capability;
  ControlChart chart;
  std::optional<Index> a_day;  // how much it drifts
  bool changed = false;        // out of control, also where so many charts are looked at

  Limits limits_in(int subgroup) const;  // those of most of its values
};

// Limits that were in force, and the subgroups in which they were.
struct LimitsThen {
  Limits limits;
  long long values = 0;
  int first = 0, last = 0;
  std::string from, until;  // the same in words
};

// The same value, wherever and by whatever version it was measured, and whatever its limits were then.
struct Characteristic {
  std::string plan, step, name, axis, unit;
  // Of several of this name in the plan, which have their limits each, as one before and one after a calibration: its
  // place among them.
  int nth = 0;
  std::optional<double> low, high;      // the newest ones
  std::vector<LimitsThen> limits_then;  // in their order; one, unless they changed
  Moments all;
  long long failed = 0;    // out of the limits, as judged then
  long long unusable = 0;  // not a number, infinite, or beyond 1e100
  Process line;            // all stations
  std::map<std::string, Process> stations;
  // By single values, of which a large store gives a part.
  long long looked_at = 0;
  Robust middle;
  std::optional<Normality> normality;
  std::optional<Percentiles> percentiles;
  Histogram histogram;
  bool outliers_sought = false;   // of eight values or more
  long long outlier_count = 0;    // counted in the figures above unless they are left out
  std::vector<Outlier> outliers;  // the farthest first

  // How long a step took: of the station, not of the phone.
  bool is_duration() const { return name == "duration" && unit == "s"; }
  bool is_normal() const { return !normality || normality->p >= kNormalBelow; }
  bool limits_changed() const { return limits_then.size() > 1; }
  // Each run has its own, as where a limit is a share of what is measured.
  bool limits_follow() const { return limits_then.size() > line.days.size() + 1; }
  auto key() const { return std::tuple(plan, step, name, axis, unit, nth); }
};

// Golden and known-bad phones: their runs are in no other figure.
struct Marked {
  MarkedPhones phones;
  RunCounts runs;
  std::vector<Characteristic> characteristics;
};

struct Statistics {
  Choices choices;
  RunCounts runs;
  Yield yield;
  std::map<std::string, Yield> by_plan;
  std::map<std::string, Yield> by_station;  // of the runs at this station alone
  std::map<int, Day> by_day;
  std::vector<Failure> failures;  // the most frequent first
  std::vector<Characteristic> characteristics;
  std::vector<Characteristic> durations;
  std::vector<Marked> marked;
  std::map<int, DayTimes> times;
};

// Throws StoreError, AwayError.
Statistics statistics(Database* database, const Filter& filter, const Choices& choices = {});

// "3000 runs, 2026-01-02T03:04 to 2026-02-03T04:05 UTC", whatever is asked for; "no run".
std::string all_runs(Database* database);

// The parts of it.
void count_runs(Database* database, const Filter& filter, Statistics* out);
std::vector<Characteristic> characteristics(Database* database, const Filter& filter, const Choices& choices);

}  // namespace factory::store
