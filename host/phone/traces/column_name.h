// What a header's column name says about the column.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "phone/traces/units.h"

namespace phone {

struct ColumnName {
  std::string text;                // as it stands in the file
  std::vector<std::string> words;  // lower case, without axis, channel and unit: "imu_acc_x" has "imu" and "acc"
  int axis = -1;                   // 0 to 2 for x, y, z
  int channel = 0;                 // 1 and up for "CH1"
  std::optional<Unit> unit;
  std::optional<TimeUnit> time_unit;
  std::optional<Quantity> measure;  // what the words name; Quantity::other for what no replay takes
  bool measure_named = false;       // by a word that is known
  bool gravity_removed = false;
  bool is_time = false;
  bool is_index = false;  // counts samples
  int rank = 0;           // raw values before processed ones

  // Equal for the columns of one triplet or one row of channels.
  std::string group() const;
  bool has(const char* word) const;
};

ColumnName read_column_name(const std::string& text);

}  // namespace phone
