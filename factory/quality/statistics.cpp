#include "quality/statistics.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <set>

#include "quality/series.h"
#include "store/query.h"

namespace factory::store {
namespace {

constexpr size_t kOutliersEach = 10;  // of one characteristic
constexpr size_t kFewestForOutliers = 8;
constexpr const char* kReference = "CAST(:reference AS DOUBLE PRECISION)";

// The values of one series on one day, or in one quarter of an hour.
struct Cell {
  int series = 0;
  int day = 0;
  Moments values;
  long long failed = 0;
  long long unusable = 0;
};

// A list of numbers that is given as JSON, for a statement has no room for all that there may be.
std::string listed(const Database& database, const std::string& name) {
  return database.postgresql()
             ? "(SELECT CAST(v AS BIGINT) FROM json_array_elements_text(CAST(:" + name + " AS JSON)) v)"
             : "(SELECT value FROM json_each(:" + name + "))";
}

template <typename Numbers>
std::string json_of(const Numbers& numbers) {
  std::string out = "[";
  for (const auto number : numbers) out += (out.size() == 1 ? "" : ",") + std::to_string(number);
  return out + "]";
}

std::string which_attempts(const Database& database, Attempts attempts) {
  switch (attempts) {
    case Attempts::first:
      return " AND m.attempt = 1 AND (m.deciding = 1 OR NOT EXISTS (SELECT 1 FROM attempt a WHERE a.day = m.day AND "
             "a.run = m.run AND a.step_index = m.step_index AND a.number = 1 AND a.verdict IN (4, 5)))";
    case Attempts::last:
      return " AND m.deciding = 1";
    case Attempts::passing:
      return " AND m.deciding = 1 AND m.run NOT IN " + listed(database, "not_passing");
  }
  return "";
}

// The runs that are not the last one of a phone in its plan, or did not pass: few, and asked for once, as a list in
// JSON. Ids are in the order of time; few phones came twice, and those are told apart one by one.
std::string runs_not_passing(Database* database, const Filter& filter) {
  std::vector<long long> out;
  long long no = 0;
  Query query(database,
              "SELECT k.no FROM run k JOIN setup w ON w.id = k.setup WHERE k.verdict <> 0 OR (k.serial_key IN (SELECT "
              "serial_key FROM run GROUP BY serial_key HAVING COUNT(*) > 1) AND EXISTS (SELECT 1 FROM run r JOIN setup "
              "p ON p.id = r.setup WHERE r.serial_key = k.serial_key AND r.id > k.id AND p.plan = w.plan AND r.verdict "
              "NOT IN (4, 5)" +
                  on_runs(filter) + "))");
  query.with(filter).into(&no);
  while (query.next()) out.push_back(no);
  return json_of(out);
}

class Answer {
 public:
  Answer(Database* database, const Filter& filter, const Choices& choices)
      : database_(*database),
        filter_(filter),
        choices_(choices),
        subgroups_(choices.subgroups),
        day_(subgroups_.takes_quarters() ? "(r.started_ms / " + std::to_string(Subgroups::kQuarterMs) + ")" : "m.day"),
        run_(subgroups_.takes_quarters() ? " JOIN run r ON r.day = m.day AND r.no = m.run" : ""),
        these_(which_attempts(*database, choices.attempts) + on_measurements(filter)),
        among_(" AND s.id IN " + listed(*database, "among")) {
    if (choices.attempts == Attempts::passing) not_passing_ = runs_not_passing(database, filter);
  }

  std::vector<Characteristic> get() {
    if (subgroups_.by() == SubgroupBy::lot) subgroups_.read_lots(&database_);
    std::tie(out_, series_) = read_series(&database_, filter_);
    cells_ = read_cells("", [](Query&) {});
    std::vector<std::vector<Cell*>> cells(out_.size());
    for (Cell& cell : cells_) cells[series_.at(cell.series).characteristic].push_back(&cell);
    for (size_t i = 0; i < out_.size(); ++i) {
      for (const Cell* cell : cells[i]) {
        out_[i].all.add(cell->values);
        out_[i].failed += cell->failed;
        out_[i].unusable += cell->unusable;
      }
      if (!out_[i].is_duration()) look_into(cells[i], &out_[i]);
      for (const Cell* cell : cells[i]) add(*cell, &out_[i]);
      out_[i].all = total(out_[i].line.days);
      find_limits(&out_[i]);
    }
    std::erase_if(out_,
                  [](const Characteristic& c) { return c.all.count == 0 && c.unusable == 0 && c.outlier_count == 0; });
    std::stable_sort(out_.begin(), out_.end(),
                     [](const Characteristic& a, const Characteristic& b) { return a.plan < b.plan; });
    return std::move(out_);
  }
  // As the answer has them.
  const Subgroups& subgroups() const { return subgroups_; }

 private:
  using Give = std::function<void(Query&)>;

  // What `these_` names.
  Query& give_these(Query* query) const {
    query->with(filter_);
    return not_passing_.empty() ? *query : query->with("not_passing", not_passing_);
  }

  // The cells of the series and days that are asked for, with sums about a value close by: no digits are lost when one
  // is taken from the other. Calls `take` with each, the sum of its distances from the reference and of their squares.
  template <typename Take>
  void read(const std::string& reference, const std::string& which, const Give& give, Take take) {
    const std::string distance = "(m.value - " + reference + ")";
    Query query(
        &database_,
        "SELECT s.id, " + day_ + ", COUNT(m.value), SUM(" + distance + "), SUM(" + distance + " * " + distance +
            "), MIN(m.value), MAX(m.value), COUNT(*) - COUNT(m.value), SUM(CASE WHEN m.verdict = 2 THEN 1 ELSE 0 END) "
            "FROM series s JOIN setup p ON p.id = s.setup JOIN measurement m ON m.series = s.id" +
            run_ + " WHERE 1 = 1" + which + these_ + " GROUP BY s.id, " + day_);
    give(give_these(&query));
    Cell cell;
    double sum = 0;
    double squares = 0;
    query.into(&cell.series, &cell.day, &cell.values.count, &sum, &squares, &cell.values.least, &cell.values.most,
               &cell.unusable, &cell.failed);
    while (query.next()) take(cell, sum, squares);
  }

  static void settle(Moments* values, double sum, double squares, double reference) {
    if (values->count == 0) {
      *values = Moments();
      return;
    }
    const double count = static_cast<double>(values->count);
    values->mean = reference + sum / count;
    values->squares = std::max(0.0, squares - sum * (sum / count));
  }

  // About the series' own references, or about one value.
  std::vector<Cell> read_cells(const std::string& which, const Give& give, std::optional<double> about = {}) {
    std::vector<Cell> cells;
    std::vector<size_t> imprecise;
    const auto give_all = [&](Query& query) {
      give(query);
      if (about) query.with("reference", *about);
    };
    read(about ? kReference : "s.reference", which, give_all, [&](Cell cell, double sum, double squares) {
      const auto series = series_.find(cell.series);
      if (series == series_.end()) return;  // of a run that was stored since the series were read
      settle(&cell.values, sum, squares, about.value_or(series->second.reference));
      // Of sixteen digits fewer than ten are left.
      if (cell.values.count > 1 && squares > 1e6 * cell.values.squares) imprecise.push_back(cells.size());
      cells.push_back(cell);
    });
    for (const size_t i : imprecise) refine(which, give, &cells[i]);
    return cells;
  }

  // Once more, about the mean that is known now.
  void refine(const std::string& which, const Give& give, Cell* cell) {
    const double reference = cell->values.mean;
    read(
        kReference, which + " AND s.id = :series AND " + day_ + " = :day",
        [&](Query& query) {
          give(query);
          query.with("reference", reference).with("series", cell->series).with("day", cell->day);
        },
        [&](Cell found, double sum, double squares) {
          settle(&found.values, sum, squares, reference);
          cell->values = found.values;
        });
  }

  void add(const Cell& cell, Characteristic* c) {
    if (cell.values.count == 0) return;
    const Series& series = series_.at(cell.series);
    const int subgroup =
        subgroups_.by() == SubgroupBy::lot ? subgroups_.of_lot(series.lot) : subgroups_.of_time(cell.day);
    for (Process* process : {&c->line, &c->stations[series.station]}) {
      process->days[subgroup].add(cell.values);
      process->under[subgroup][series.limits] += cell.values.count;
    }
  }

  // Sorted. Of many values a part, by runs that are scattered over all stations and times.
  std::vector<double> single_values(const std::vector<Cell*>& cells, long long count) {
    std::set<int> series;
    for (const Cell* cell : cells) series.insert(cell->series);
    const std::string part = std::to_string((count + choices_.single_values - 1) / choices_.single_values);
    std::vector<double> values;
    double value = 0;
    Query query(
        &database_,
        "SELECT m.value FROM series s JOIN setup p ON p.id = s.setup JOIN measurement m ON m.series = s.id WHERE "
        "m.value IS NOT NULL" +
            (count > choices_.single_values ? " AND (m.run * 7919) % 10007 * " + part + " < 10007" : "") + among_ +
            these_);
    give_these(&query).with("among", json_of(series)).into(&value);
    while (query.next()) values.push_back(value);
    std::sort(values.begin(), values.end());
    return values;
  }

  void look_into(const std::vector<Cell*>& cells, Characteristic* c) {
    if (c->all.count == 0) return;
    std::vector<double> values = single_values(cells, c->all.count);
    c->middle = robust(values);
    c->outliers_sought = values.size() >= kFewestForOutliers;
    if (c->outliers_sought && c->middle.sigma > 0) find_outliers(cells, c);
    if (choices_.without_outliers && c->outlier_count > 0)
      std::erase_if(values, [&](double value) { return value < low_end(*c) || value > high_end(*c); });
    c->looked_at = static_cast<long long>(values.size());
    c->normality = store::normality(values);
    c->percentiles = store::percentiles(values);
    c->histogram = store::histogram(values, c->middle);
  }

  double low_end(const Characteristic& c) const { return c.middle.median - choices_.outlier_sigmas * c.middle.sigma; }
  double high_end(const Characteristic& c) const { return c.middle.median + choices_.outlier_sigmas * c.middle.sigma; }

  // A cell's least and greatest value say how far one of it lies: those farthest off are looked into first, until no
  // other can have one to show.
  void find_outliers(const std::vector<Cell*>& cells, Characteristic* c) {
    std::vector<std::pair<double, Cell*>> far;
    std::set<int> series;
    for (Cell* cell : cells) {
      if (cell->values.count == 0 || (cell->values.least >= low_end(*c) && cell->values.most <= high_end(*c))) continue;
      far.emplace_back(std::max(c->middle.median - cell->values.least, cell->values.most - c->middle.median), cell);
      series.insert(cell->series);
    }
    if (far.empty()) return;
    std::stable_sort(far.begin(), far.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
    for (const auto& [distance, cell] : far) {
      if (c->outliers.size() == kOutliersEach && distance < std::abs(c->outliers.back().distance) * c->middle.sigma)
        break;
      read_outliers(*cell, c);
      keep_farthest(&c->outliers);
    }
    std::map<std::pair<int, int>, Moments> kept;
    const Give give = [&](Query& query) {
      query.with("low", low_end(*c)).with("high", high_end(*c)).with("among", json_of(series));
    };
    for (const Cell& cell : read_cells(among_ + " AND m.value BETWEEN :low AND :high", give, c->middle.median))
      kept[{cell.series, cell.day}] = cell.values;
    for (const auto& [distance, cell] : far) {
      const Moments& rest = kept[{cell->series, cell->day}];
      c->outlier_count += cell->values.count - rest.count;
      if (choices_.without_outliers) cell->values = rest;
    }
  }

  void read_outliers(const Cell& cell, Characteristic* c) {
    Outlier outlier;
    outlier.station = series_.at(cell.series).station;
    Query query(&database_,
                "SELECT m.value, r.id, r.serial, r.started_ms FROM series s JOIN setup p ON p.id = s.setup "
                "JOIN measurement m ON m.series = s.id JOIN run r ON r.day = m.day AND r.no = m.run "
                "WHERE s.id = :series AND " +
                    day_ + " = :day AND (m.value < :low OR m.value > :high)" + these_ +
                    " ORDER BY ABS(m.value - :median) DESC, r.id LIMIT 10");
    give_these(&query).with("series", cell.series).with("day", cell.day).with("median", c->middle.median);
    query.with("low", low_end(*c)).with("high", high_end(*c));
    query.into(&outlier.value, &outlier.run_id, &outlier.serial, &outlier.started_ms);
    while (query.next()) {
      outlier.distance = (outlier.value - c->middle.median) / c->middle.sigma;
      c->outliers.push_back(outlier);
    }
  }

  static void keep_farthest(std::vector<Outlier>* outliers) {
    std::sort(outliers->begin(), outliers->end(), [](const Outlier& a, const Outlier& b) {
      const double left = std::abs(a.distance);
      const double right = std::abs(b.distance);
      return left != right ? left > right : a.run_id < b.run_id;
    });
    if (outliers->size() > kOutliersEach) outliers->resize(kOutliersEach);
  }

  Database& database_;
  const Filter& filter_;
  const Choices choices_;
  Subgroups subgroups_;
  const std::string day_, run_;  // what cells are told apart by, and where that is from
  const std::string these_;      // values
  const std::string among_;      // series that are given
  std::string not_passing_;      // runs, where those that pass are asked for
  std::vector<Characteristic> out_;
  std::map<int, Series> series_;
  std::vector<Cell> cells_;
};

void judge(const Characteristic& c, const Choices& choices, const Subgroups& subgroups, Process* process) {
  process->capability = capability(process->days, c.low, c.high);
  process->chart = control_chart(process->days, choices.rules, process->baseline);
  process->a_day = drift_a_day(process->days, subgroups.per_day());
  for (ChartPoint& point : process->chart.points) point.when = subgroups.label(point.day);
}

// The same values in the period that was named.
void read_baselines(Database* database, Filter filter, Choices choices, std::vector<Characteristic>* out) {
  std::tie(filter.since_ms, filter.until_ms) = *choices.baseline_ms;
  std::map<decltype(Characteristic().key()), std::vector<Characteristic>> found;
  for (Characteristic& c : Answer(database, filter, choices).get()) found[c.key()].push_back(std::move(c));
  const auto add = [](const Days& days, Process* process) {
    for (const auto& [day, values] : days) process->baseline[day].add(values);
  };
  for (Characteristic& c : *out) {
    for (const Characteristic& then : found[c.key()]) {
      add(then.line.days, &c.line);
      for (const auto& [station, process] : then.stations) {
        if (const auto now = c.stations.find(station); now != c.stations.end()) add(process.days, &now->second);
      }
    }
  }
}

// Every process whose chart is looked at.
template <typename Use>
void for_charts(std::vector<Characteristic>* all, Use use) {
  for (Characteristic& c : *all) {
    use(&c.line);
    if (c.stations.size() < 2) continue;
    for (auto& [name, process] : c.stations) use(&process);
  }
}

void find_changes(std::vector<Characteristic>* all) {
  std::vector<double> p;
  for_charts(all, [&](Process* process) {
    if (process->chart.p) p.push_back(*process->chart.p);
  });
  const double cut = false_discovery_cut(p);
  for_charts(all, [&](Process* process) {
    process->changed = process->chart.p ? *process->chart.p <= cut : !process->chart.in_control();
  });
}

}  // namespace

std::vector<Characteristic> characteristics(Database* database, const Filter& filter, const Choices& choices) {
  Answer answer(database, filter, choices);
  std::vector<Characteristic> out = answer.get();
  if (choices.baseline_ms) read_baselines(database, filter, choices, &out);
  for (Characteristic& c : out) {
    judge(c, choices, answer.subgroups(), &c.line);
    for (LimitsThen& then : c.limits_then) {
      then.from = answer.subgroups().label(then.first);
      then.until = answer.subgroups().label(then.last);
    }
    for (auto& [name, process] : c.stations) judge(c, choices, answer.subgroups(), &process);
  }
  return out;
}

Statistics statistics(Database* database, const Filter& filter, const Choices& choices) {
  Statistics out;
  out.choices = choices;
  count_runs(database, filter, &out);
  for (Characteristic& c : characteristics(database, filter, choices))
    (c.is_duration() ? out.durations : out.characteristics).push_back(std::move(c));
  find_changes(&out.characteristics);
  if (choices.times) out.times = times_by_day(database, filter);
  Filter one = filter;
  for (size_t i = 0; i < filter.marked.size(); ++i) {
    one.only = i;
    Statistics runs;
    count_runs(database, one, &runs);
    out.marked.push_back({filter.marked[i], runs.runs, characteristics(database, one, choices)});
    std::vector<Characteristic>& its = out.marked.back().characteristics;
    std::erase_if(its, [](const Characteristic& c) { return c.is_duration(); });
    find_changes(&its);
  }
  return out;
}

}  // namespace factory::store
