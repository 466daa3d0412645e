// The text of a replay option: which recording stands in for which sensor, and how it is to be read.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "phone/traces/units.h"

namespace phone {

inline constexpr int kMaxChannels = 8;

struct ReplayOption {
  std::string text;  // as it was given
  std::string tag;
  int sensor_type = 0;
  std::string file;
  std::vector<std::string> columns;   // "t", "x", "y", "z", "v", "c1" to "c8" or "_"; empty: by the header's names
  std::optional<TimeUnit> time_unit;  // none: by the header's names, else by the size of the numbers
  std::optional<double> rate_hz;      // evenly spaced samples, or what a counting column counts
  std::optional<Unit> unit;           // none: by the header's names, else what sensor events carry
  bool negate = false;
  bool own_timing = true;  // false: one sample per requested period
  double start_s = 0;      // the part to use, from the first sample on
  std::optional<double> length_s;
};

// Parses "TAG=FILE[,key=value]...". TAG is a sensor's tag or type number. FILE may contain '=' and ',': it ends at the
// first comma that is followed by lower-case letters and '='. Throws PhoneError that shows the option and its text.
ReplayOption parse_replay(const std::string& text);

}  // namespace phone
