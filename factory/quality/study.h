// A study of repeatability and reproducibility: every phone measured at every station, equally often.
#pragma once

#include <optional>
#include <string>
#include <vector>

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

}  // namespace factory::grr
