#include "quality/series.h"

#include <algorithm>
#include <set>
#include <tuple>

#include "store/dictionary.h"
#include "store/query.h"

namespace factory::store {
namespace {

using Key = decltype(Characteristic().key());

// A series as the store has it.
struct Row {
  int id = 0;
  int setup = 0;
  int step_index = 0;  // of its first value
  std::string profile;
  Series series;
  Characteristic c;
};

std::vector<Row> rows_of(Database* database, Filter filter) {
  // What asks for runs has no say here.
  filter.since_ms = filter.until_ms = std::nullopt;
  filter.verdict = std::nullopt;
  filter.marked.clear();
  filter.only = std::nullopt;
  Row row;
  Query query(database,
              "SELECT s.id, s.setup, COALESCE((SELECT m.step_index FROM measurement m WHERE m.series = s.id ORDER BY "
              "m.day, m.run, m.step_index LIMIT 1), 0), p.profile, s.reference, p.station, p.lot, p.plan, t.name, "
              "s.name, s.axis, s.unit, s.low, s.high FROM series s JOIN setup p ON p.id = s.setup JOIN plan_step t ON "
              "t.id = s.plan_step WHERE 1 = 1" +
                  on_measurements(filter) + " ORDER BY s.id");
  query.with(filter).into(&row.id, &row.setup, &row.step_index, &row.profile, &row.series.reference,
                          &row.series.station, &row.series.lot, &row.c.plan, &row.c.step, &row.c.name, &row.c.axis,
                          &row.c.unit, &row.c.low, &row.c.high);
  std::vector<Row> rows;
  while (query.next()) rows.push_back(row);
  for (Row& one : rows) {
    // Values that have limits of their own are held to the tightest of them.
    if (own_limit(one.c.low) || own_limit(one.c.high)) {
      std::optional<double> low;
      std::optional<double> high;
      Query tightest(database, "SELECT MAX(low), MIN(high) FROM measurement WHERE series = :series");
      tightest.with("series", one.id).into(&low, &high);
      (void)tightest.next();
      if (low) one.c.low = low;
      if (high) one.c.high = high;
    }
    one.series.limits = {one.c.low, one.c.high};
  }
  return rows;
}

}  // namespace

std::pair<std::vector<Characteristic>, std::map<int, Series>> read_series(Database* database, Filter filter) {
  std::vector<Row> rows = rows_of(database, std::move(filter));
  std::map<std::pair<int, Key>, std::set<int>> places;
  for (const Row& row : rows) places[{row.setup, row.c.key()}].insert(row.step_index);
  std::pair<std::vector<Characteristic>, std::map<int, Series>> out;
  std::map<std::pair<Key, std::string>, size_t> by_profile;
  std::map<std::pair<Key, Limits>, size_t> by_limits;
  for (Row& row : rows) {
    const std::set<int>& of_name = places[{row.setup, row.c.key()}];
    row.c.nth = static_cast<int>(std::distance(of_name.begin(), of_name.find(row.step_index)));
    const Key key = row.c.key();
    const auto alike = by_limits.try_emplace({key, row.series.limits}, out.first.size()).first->second;
    row.series.characteristic = by_profile.try_emplace({key, row.profile}, alike).first->second;
    by_limits[{key, row.series.limits}] = row.series.characteristic;
    if (row.series.characteristic == out.first.size()) out.first.push_back(row.c);
    out.second[row.id] = row.series;
  }
  return out;
}

Limits Process::limits_in(int subgroup) const {
  const auto& of_subgroup = under.at(subgroup);
  return std::max_element(of_subgroup.begin(), of_subgroup.end(),
                          [](const auto& a, const auto& b) { return a.second < b.second; })
      ->first;
}

void find_limits(Characteristic* c) {
  std::map<Limits, size_t> known;
  for (const auto& [subgroup, under] : c->line.under) {
    for (const auto& [limits, values] : under) {
      const auto [at, is_new] = known.try_emplace(limits, c->limits_then.size());
      if (is_new) c->limits_then.push_back({limits, 0, subgroup, subgroup, {}, {}});
      c->limits_then[at->second].values += values;
      c->limits_then[at->second].last = subgroup;
    }
  }
  if (!c->line.under.empty()) std::tie(c->low, c->high) = c->line.limits_in(c->line.under.rbegin()->first);
}

}  // namespace factory::store
