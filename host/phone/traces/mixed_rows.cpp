// Tables whose rows are of several kinds: "UncalAccel,<ms>,<ns>,x,y,z,..." or "<time>,Accelerometer,x,y,z".
#include <algorithm>
#include <cctype>
#include <set>

#include "phone/core/phone.h"
#include "phone/traces/column_name.h"
#include "phone/traces/column_plan.h"

namespace phone {
namespace {

constexpr size_t kLinesToJudge = 5000;
constexpr int kKindColumns = 2;
constexpr size_t kRowsMin = 3;  // fewer may be lines about the recording
constexpr double kClock = 1e9;  // clocks of phones lie above, values below

// What a cell names when it holds nothing but a sensor's name.
std::optional<ColumnName> kind_of(const std::string& cell) {
  if (cell.empty() || !isalpha(static_cast<unsigned char>(cell.front())) || cell.size() > 40 ||
      cell.find_first_of("()[]") != std::string::npos)
    return std::nullopt;
  ColumnName name = read_column_name(cell);
  if (!name.measure_named || name.axis >= 0 || name.channel > 0 || name.is_time) return std::nullopt;
  return name;
}

bool is_number(const TextTable& table, const std::string& cell) {
  double value = 0;
  return read_value(cell, table.decimal_comma(), &value) == CellFault::none;
}

struct Kinds {
  int column = -1;
  std::string wanted;  // empty: no rows of the sensor
  std::string all;     // for people
  size_t rows = 0;     // of any kind
  size_t judged = 0;
  std::vector<std::string> cells;  // of the first wanted row
};

// The kinds that stand in one column, in rows that go on with a number.
Kinds kinds_in(const TextTable& table, Quantity measure, int column) {
  Kinds kinds;
  kinds.column = column;
  std::set<std::string> seen;
  int best_rank = 0;
  std::vector<std::string> cells;
  const size_t at = static_cast<size_t>(column);
  for (size_t i = 0; i < std::min(table.lines().size(), kLinesToJudge); ++i) {
    if (is_blank(table.lines()[i]) || is_comment(table.lines()[i])) continue;
    table.split(table.lines()[i], &cells);
    ++kinds.judged;
    if (cells.size() < at + 2 || !is_number(table, cells[at + 1])) continue;
    const auto kind = kind_of(cells[at]);
    if (!kind) continue;
    ++kinds.rows;
    if (!seen.insert(cells[at]).second) continue;
    kinds.all += (kinds.all.empty() ? "" : ", ") + cells[at];
    if (*kind->measure != measure || (!kinds.wanted.empty() && kind->rank <= best_rank)) continue;
    best_rank = kind->rank;
    kinds.wanted = cells[at];
    kinds.cells = cells;
  }
  return kinds;
}

// "# UncalAccel,utcTimeMillis,..." names the columns of the rows that begin with "UncalAccel".
bool plan_by_comment(const TextTable& table, const ReplayOption& replay, const Kinds& kinds, ColumnPlan* plan) {
  std::vector<std::string> cells;
  for (size_t i = 0; i < std::min(table.lines().size(), kLinesToJudge); ++i) {
    std::string_view line = table.lines()[i];
    if (!is_comment(line)) continue;
    line.remove_prefix(line.find('#') + 1);
    table.split(line, &cells);
    if (cells.size() < 3 || cells.front() != kinds.wanted) continue;
    cells.front() = "_";  // the kind itself is no column
    if (plan_by_names(cells, replay, plan)) return true;
  }
  return false;
}

// Without names: the time stands before a kind in the second cell and behind a kind in the first, and there may be two
// of them, milliseconds since 1970 and nanoseconds since boot; the values follow.
bool plan_by_position(const TextTable& table, const ReplayOption& replay, const Kinds& kinds, ColumnPlan* plan) {
  const ReplayKind& sensor = *find_replay_kind(replay.sensor_type);
  if (sensor.layout != Layout::axes && sensor.layout != Layout::single) return false;
  plan->axes = sensor.layout == Layout::axes ? 3 : 1;
  plan->time = ColumnPlan::Time::column;
  plan->time_column = kinds.column == 0 ? 1 : 0;
  int first = 2;
  double clock = 0;
  if (kinds.column == 0 && kinds.cells.size() > 3 &&
      read_value(kinds.cells[2], table.decimal_comma(), &clock) == CellFault::none && clock > kClock) {
    plan->time_column = 2;
    plan->time_unit = TimeUnit::ns;
    first = 3;
  }
  if (kinds.cells.size() < static_cast<size_t>(first + plan->axes)) return false;
  for (int i = 0; i < plan->axes; ++i) plan->values[static_cast<size_t>(i)] = first + i;
  plan->description = kinds.wanted + " rows, columns by position";
  return true;
}

}  // namespace

std::optional<ColumnPlan> plan_mixed_rows(const TextTable& table, const ReplayOption& replay) {
  const Quantity measure = find_replay_kind(replay.sensor_type)->measure;
  for (int column = 0; column < kKindColumns; ++column) {
    const Kinds kinds = kinds_in(table, measure, column);
    if (kinds.rows < kRowsMin) continue;
    if (kinds.wanted.empty()) {
      if (kinds.rows * 2 < kinds.judged) continue;
      throw PhoneError(replay.file + ": rows of " + kinds.all + ", none for " +
                       find_replay_kind(replay.sensor_type)->name);
    }
    ColumnPlan plan;
    if (!plan_by_comment(table, replay, kinds, &plan)) {
      plan = ColumnPlan();
      if (!plan_by_position(table, replay, kinds, &plan)) return std::nullopt;
    }
    plan.kind_column = column;
    plan.kind = kinds.wanted;
    plan.measure_named = true;
    return plan;
  }
  return std::nullopt;
}

}  // namespace phone
