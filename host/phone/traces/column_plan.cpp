#include "phone/traces/column_plan.h"

#include <algorithm>
#include <map>

#include "phone/core/phone.h"
#include "phone/traces/column_name.h"

namespace phone {
namespace {

constexpr size_t kHeaderLines = 200;

// Columns that belong together: a triplet of axes, a row of channels, or one value.
struct Group {
  std::array<int, kMaxRecordedValues> column;
  ColumnName name;  // of its first column

  Group() { column.fill(-1); }
};

using Groups = std::vector<Group>;

enum class GroupSort { axes, channels, single };

Groups groups_of(const std::vector<ColumnName>& names, GroupSort sort) {
  Groups groups;
  std::map<std::string, size_t> by_key;
  for (size_t i = 0; i < names.size(); ++i) {
    const ColumnName& name = names[i];
    if (name.is_time || name.is_index) continue;
    int slot = 0;
    if (sort == GroupSort::axes) slot = name.axis;
    if (sort == GroupSort::channels) slot = name.channel - 1;
    if (sort == GroupSort::single && (name.axis >= 0 || name.channel > 0)) slot = -1;
    if (slot < 0 || slot >= kMaxChannels) continue;
    const std::string key = sort == GroupSort::single ? std::to_string(i) : name.group();
    const auto [at, is_new] = by_key.emplace(key, groups.size());
    if (is_new) {
      groups.emplace_back();
      groups.back().name = name;
    }
    int& column = groups[at->second].column[static_cast<size_t>(slot)];
    if (column < 0) column = static_cast<int>(i);
  }
  return groups;
}

int filled(const Group& group) {
  int count = 0;
  while (count < kMaxChannels && group.column[static_cast<size_t>(count)] >= 0) ++count;
  return count;
}

// How well a group fits a sensor; none where it does not.
std::optional<int> score(const Group& group, Quantity measure, int needed, const std::optional<Unit>& told) {
  const ColumnName& name = group.name;
  if (filled(group) < needed) return std::nullopt;
  const bool nameless = name.words.empty() && !name.unit && name.axis < 0 && name.channel == 0;
  if (nameless) return std::nullopt;
  if (name.measure && *name.measure != measure) return std::nullopt;
  if (name.unit && !fits(*name.unit, measure)) return std::nullopt;
  int points = name.rank;
  if (name.measure) points += 16;
  if (name.unit) points += 8;
  // "acc_x_g" beside "acc_x_ms2": the unit that was asked for.
  if (name.unit && told && name.unit->name == told->name) points += 2;
  return points;
}

const Group* best_group(const Groups& groups, Quantity measure, int needed, const std::optional<Unit>& told) {
  const Group* best = nullptr;
  int best_points = 0;
  for (const Group& group : groups) {
    const auto points = score(group, measure, needed, told);
    if (!points || (best && *points <= best_points)) continue;
    best = &group;
    best_points = *points;
  }
  return best;
}

void use_group(const Group& group, size_t first_slot, int count, ColumnPlan* plan) {
  for (size_t i = 0; i < static_cast<size_t>(count); ++i) plan->values[first_slot + i] = group.column[i];
  plan->axes = std::max(plan->axes, static_cast<int>(first_slot) + count);
  plan->gravity_removed = group.name.gravity_removed;
  plan->measure_named = group.name.measure_named || group.name.unit;
  if (!group.name.unit) return;
  plan->unit = *group.name.unit;
  plan->unit_known = true;
}

// Fills in the value columns; false where none fit.
bool plan_values(const std::vector<ColumnName>& names, const ReplayOption& replay, ColumnPlan* plan) {
  const ReplayKind& kind = *find_replay_kind(replay.sensor_type);
  const Groups singles = groups_of(names, GroupSort::single);
  const Groups axes = groups_of(names, GroupSort::axes);
  const Groups channels = groups_of(names, GroupSort::channels);
  const bool streams = kind.layout == Layout::channels || kind.layout == Layout::lux_and_channels;
  const Group* const row = streams ? best_group(channels, Quantity::counts, 1, replay.unit) : nullptr;
  if (kind.layout == Layout::axes) {
    const Group* triplet = best_group(axes, kind.measure, 3, replay.unit);
    if (triplet) use_group(*triplet, 0, 3, plan);
    return triplet;
  }
  if (kind.layout == Layout::channels) {
    if (row) use_group(*row, 0, filled(*row), plan);
    return row;
  }
  const Group* single = best_group(singles, kind.measure, 1, replay.unit);
  if (row) use_group(*row, 1, filled(*row), plan);
  if (single && (!row || single->name.measure)) use_group(*single, 0, 1, plan);
  return single || row;
}

// The better a time column's unit and words are known, the more it counts.
int time_score(const ColumnName& name, const ReplayOption& replay) {
  int points = 100;
  if (replay.time_unit && name.time_unit) points += *name.time_unit == *replay.time_unit ? 20 : -20;
  if (!replay.time_unit && name.time_unit) points += 10;
  if (name.has("elapsed")) points += 2;
  for (const char* word : {"update", "location", "gps", "date"}) {
    if (name.has(word)) points -= 4;
  }
  return points;
}

void plan_time(const std::vector<ColumnName>& names, const ReplayOption& replay, ColumnPlan* plan) {
  int best = 0;
  for (size_t i = 0; i < names.size(); ++i) {
    if (names[i].is_index && replay.rate_hz && plan->time != ColumnPlan::Time::index) {
      plan->time = ColumnPlan::Time::index;
      plan->time_column = static_cast<int>(i);
    }
    if (!names[i].is_time || replay.rate_hz || time_score(names[i], replay) <= best) continue;
    best = time_score(names[i], replay);
    plan->time = ColumnPlan::Time::column;
    plan->time_column = static_cast<int>(i);
    plan->time_unit = names[i].time_unit;
  }
}

// What was told goes over what the header says.
void apply_options(const ReplayOption& replay, ColumnPlan* plan) {
  if (replay.time_unit) {
    if (plan->time_unit && *plan->time_unit != *replay.time_unit) {
      plan->notes.push_back(std::string("the header says ") + name_of(*plan->time_unit) +
                            ", time=" + name_of(*replay.time_unit) + " is used as told");
    }
    plan->time_unit = replay.time_unit;
  }
  if (replay.unit) {
    if (plan->unit_known && plan->unit.name != replay.unit->name) {
      plan->notes.push_back("the header says " + plan->unit.name + ", unit=" + replay.unit->name + " is used as told");
    }
    plan->unit = *replay.unit;
    plan->unit_known = true;
  }
  const ReplayKind& kind = *find_replay_kind(replay.sensor_type);
  const bool no_lux = kind.layout == Layout::lux_and_channels && plan->values[0] < 0;
  if (no_lux) plan->notes.push_back("no lux column: lux is 0");
  if (plan->unit_known) return;
  plan->unit = event_unit(no_lux ? Quantity::counts : kind.measure);
  if (plan->unit.measure != Quantity::counts) plan->notes.push_back("unit not told: taken as " + plan->unit.name);
}

void describe_names(const std::vector<std::string>& cells, ColumnPlan* plan) {
  const auto add = [&](int column) {
    if (column < 0) return;
    plan->description += (plan->description.empty() ? "'" : ", '") + cells[static_cast<size_t>(column)] + "'";
  };
  add(plan->time_column);
  for (const int column : plan->values) add(column);
}

ColumnPlan plan_as_told(const ReplayOption& replay) {
  ColumnPlan plan;
  plan.headerless = true;
  const bool lux_first = find_replay_kind(replay.sensor_type)->layout == Layout::lux_and_channels;
  for (size_t i = 0; i < replay.columns.size(); ++i) {
    const std::string& name = replay.columns[i];
    plan.description += (i == 0 ? "" : ",") + name;
    if (name == "_") continue;
    if (name == "t") {
      plan.time = replay.rate_hz ? ColumnPlan::Time::index : ColumnPlan::Time::column;
      plan.time_column = static_cast<int>(i);
      continue;
    }
    int slot = 0;
    if (name[0] >= 'x') slot = name[0] - 'x';
    if (name[0] == 'c') slot = name[1] - '1' + (lux_first ? 1 : 0);
    plan.values[static_cast<size_t>(slot)] = static_cast<int>(i);
    plan.axes = std::max(plan.axes, slot + 1);
  }
  return plan;
}

bool all_numbers(const TextTable& table, const std::vector<std::string>& cells) {
  TimeStamp time;
  return std::all_of(cells.begin(), cells.end(), [&](const std::string& cell) {
    return cell.empty() || read_time(cell, table.decimal_comma(), &time) == CellFault::none;
  });
}

bool no_numbers(const TextTable& table, const std::vector<std::string>& cells) {
  double value = 0;
  return std::none_of(cells.begin(), cells.end(), [&](const std::string& cell) {
    return read_value(cell, table.decimal_comma(), &value) == CellFault::none;
  });
}

ColumnPlan plan_by_header(const TextTable& table, const ReplayOption& replay) {
  std::string seen;
  std::vector<std::string> cells;
  for (size_t i = 0; i < std::min(table.lines().size(), kHeaderLines); ++i) {
    const std::string_view line = table.lines()[i];
    if (is_blank(line) || is_comment(line)) continue;
    table.split(line, &cells);
    if (all_numbers(table, cells)) break;
    if (!no_numbers(table, cells)) continue;  // a line about the recording, before its header
    ColumnPlan plan;
    if (plan_by_names(cells, replay, &plan)) {
      plan.first_line = i + 1;
      return plan;
    }
    if (cells.size() > 1 || seen.empty()) seen = std::string(line);
  }
  const char* const kind = find_replay_kind(replay.sensor_type)->name;
  if (seen.empty()) {
    throw PhoneError(replay.file + ": no header line: tell the columns, for example columns=t,x,y,z and time=ms");
  }
  if (seen.size() > 300) seen = seen.substr(0, 300) + "...";
  throw PhoneError(replay.file + ": no columns for " + kind + " in the header '" + seen + "': tell them with columns=");
}

}  // namespace

bool plan_by_names(const std::vector<std::string>& cells, const ReplayOption& replay, ColumnPlan* plan) {
  std::vector<ColumnName> names;
  names.reserve(cells.size());
  for (const std::string& cell : cells) names.push_back(read_column_name(cell));
  if (!plan_values(names, replay, plan)) return false;
  plan_time(names, replay, plan);
  describe_names(cells, plan);
  return true;
}

ColumnPlan plan_columns(const TextTable& table, const ReplayOption& replay) {
  std::optional<ColumnPlan> plan;
  if (!replay.columns.empty()) {
    plan = plan_as_told(replay);
  } else {
    plan = plan_mixed_rows(table, replay);
    if (!plan) plan = plan_by_header(table, replay);
  }
  apply_options(replay, &*plan);
  if (plan->time == ColumnPlan::Time::none && !replay.rate_hz) {
    throw PhoneError(replay.file + ": no time column: give rate=HZ, or name it t in columns=");
  }
  return *plan;
}

}  // namespace phone
