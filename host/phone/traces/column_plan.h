// Which columns of a text table hold a sensor's times and values.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "phone/traces/cells.h"
#include "phone/traces/recording.h"

namespace phone {

struct ColumnPlan {
  ColumnPlan() { values.fill(-1); }

  enum class Time { none, column, index };
  Time time = Time::none;
  int time_column = -1;
  std::optional<TimeUnit> time_unit;           // none: by the size of the numbers
  std::array<int, kMaxRecordedValues> values;  // the column of every value of a sample, -1 for none
  int axes = 0;
  Unit unit;
  bool unit_known = false;     // by the header or the option
  size_t first_line = 0;       // where the data may begin, from 0
  int kind_column = -1;        // rows of several kinds: where the kind stands
  std::string kind;            // and which rows are taken
  bool headerless = false;     // lines before the first good row are a preamble, not faults
  bool measure_named = false;  // by the header
  bool gravity_removed = false;
  std::string description;
  std::vector<std::string> notes;
};

// Throws PhoneError when no columns fit, naming those there are.
ColumnPlan plan_columns(const TextTable& table, const ReplayOption& replay);

// Rows of several kinds, each with its own columns: one sensor per row, named in the first or second cell. None where
// the table is not of that sort or has no rows for the sensor. See plan_columns().
std::optional<ColumnPlan> plan_mixed_rows(const TextTable& table, const ReplayOption& replay);
// Fills times and values from a header's cells; false where they do not fit.
bool plan_by_names(const std::vector<std::string>& cells, const ReplayOption& replay, ColumnPlan* plan);

}  // namespace phone
