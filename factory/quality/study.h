// A study of repeatability and reproducibility: every phone measured at every station, by every operator, or both,
// equally often. From a file, or from runs: every measurement of theirs is one, if the runs are crossed.
#pragma once

#include <array>
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
  std::string operator_name = {};
};

// What phones are measured by, in the order of their names: "stations", "operators".
struct By {
  bool stations = true, operators = false;
};

struct Factor {
  std::string name;                 // "phones", and those of By
  std::vector<std::string> levels;  // sorted
};

struct Study {
  Subject subject;
  std::vector<Factor> factors;  // the phones, then one or two others
  int trials = 0;
  std::vector<double> values;         // by the factors' levels and the trial, the last one changing fastest
  std::vector<std::string> left_out;  // which readings the study is without, and why: a sentence each

  // "10 phones, 3 stations, 3 trials"
  std::string size() const;
};

/**
 * The largest part of the readings in which every phone was at every station (with every operator) equally often: of
 * all numbers of trials, stations and operators the one that keeps most readings, where there is one with two trials or
 * more. Stations and operators with the most phones that were there often enough come first; of a phone's trials the
 * first ones count, in the order of the readings. Returns an empty text, or why there is no such part.
 */
std::string make_study(const Subject& subject, const std::vector<Reading>& readings, By by, Study* study);

// Which phones are to be measured where and by whom, and how often; without stations or operators that is one place.
struct Design {
  std::vector<std::string> phones, stations, operators;
  int trials = 3;
};

struct Turn {
  std::string phone, station, operator_name;  // of what is no factor: empty
  int trial = 0;                              // 0: nothing is left to measure
  long long done = 0, wanted = 0;             // readings of the design
};

// Round by round, and in a round place by place; each time with the phones in another order, so that nobody remembers
// the last value. `done`: their values do not matter.
Turn next_turn(const Design& design, const std::vector<Reading>& done);

struct Readings {
  std::vector<Reading> readings;
  By by;                              // the columns that are there
  std::vector<std::string> left_out;  // a trial that is there twice: the first one counts
};

// A file of comma-separated values with the columns phone, station or operator or both, trial and value, in any order.
// Throws AppError, which names the line.
Readings read_csv(const std::string& file);
Readings parse_csv(const std::string& file, const std::string& text);

// One measurement of a plan with its readings, in the order of the runs.
struct Series {
  Subject subject;
  std::vector<Reading> readings;
};

struct SeriesOfRuns {
  std::vector<Series> series;    // in the order of the plan
  long long without_serial = 0;  // runs of phones that nobody can tell apart
  std::string none;              // which runs there are, where none was chosen
};

// Aborted runs are left out. Throws StoreError, AwayError; for more runs than any study has, too.
SeriesOfRuns stored_series(store::Database* database, const store::Filter& filter);

// What was measured where and by whom, a reading for each of those runs, without its value.
std::vector<Reading> stored_turns(store::Database* database, const store::Filter& filter);

// Of runs that were made just now, in their order; `measurement`: those of this name only, empty for all.
SeriesOfRuns series_of(const std::vector<record::Run>& runs, const std::string& measurement);

}  // namespace factory::grr
