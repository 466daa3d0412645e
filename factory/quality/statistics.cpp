#include "quality/statistics.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "store/query.h"

namespace factory::store {
namespace {

constexpr size_t kOutliersEach = 10;  // of one characteristic

struct Series {
  size_t characteristic = 0;
  std::string station;
  double reference = 0;
};

// The values of one series on one day.
struct Cell {
  int series = 0;
  int day = 0;
  Moments values;
  long long failed = 0;
  long long unusable = 0;
};

using Identity = std::tuple<std::string, std::string, std::string, std::string, std::string, std::optional<double>,
                            std::optional<double>>;

class Answer {
 public:
  Answer(Database* database, const Filter& filter, double outlier_sigmas)
      : database_(*database), filter_(filter), outlier_sigmas_(outlier_sigmas) {}

  std::vector<Characteristic> get() {
    read_series();
    read_cells();
    for (Cell& cell : cells_) add(cell);
    find_outliers();
    std::erase_if(out_, [](const Characteristic& c) { return c.all.count == 0 && c.unusable == 0; });
    std::stable_sort(out_.begin(), out_.end(),
                     [](const Characteristic& a, const Characteristic& b) { return a.plan < b.plan; });
    return std::move(out_);
  }

 private:
  void read_series() {
    int id = 0;
    Series series;
    Characteristic c;
    std::map<Identity, size_t> known;
    Filter any_time = filter_;
    any_time.since_ms = any_time.until_ms = std::nullopt;
    Query query(
        &database_,
        "SELECT s.id, s.reference, p.station, p.plan, t.name, s.name, s.axis, s.unit, s.low, s.high FROM series s "
        "JOIN setup p ON p.id = s.setup JOIN plan_step t ON t.id = s.plan_step WHERE 1 = 1" +
            on_measurements(any_time) + " ORDER BY s.id");
    query.with(filter_).into(&id, &series.reference, &series.station, &c.plan, &c.step, &c.name, &c.axis, &c.unit,
                             &c.low, &c.high);
    while (query.next()) {
      const auto [at, is_new] = known.try_emplace({c.plan, c.step, c.name, c.axis, c.unit, c.low, c.high}, out_.size());
      if (is_new) out_.push_back(c);
      series.characteristic = at->second;
      series_[id] = series;
    }
  }

  // The cells of the series and days that are asked for, with sums about a value close by: no digits are lost when one
  // is taken from the other. Calls `take` with each, the sum of its distances from the reference and of their squares.
  template <typename Give, typename Take>
  void read(const std::string& reference, const std::string& which, Give give, Take take) {
    const std::string distance = "(m.value - " + reference + ")";
    Query query(
        &database_,
        "SELECT s.id, m.day, COUNT(m.value), SUM(" + distance + "), SUM(" + distance + " * " + distance +
            "), MIN(m.value), MAX(m.value), COUNT(*) - COUNT(m.value), SUM(CASE WHEN m.verdict = 2 THEN 1 ELSE 0 END) "
            "FROM series s JOIN setup p ON p.id = s.setup JOIN measurement m ON m.series = s.id WHERE m.deciding = 1" +
            which + on_measurements(filter_) + " GROUP BY s.id, m.day");
    give(query.with(filter_));
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

  void read_cells() {
    std::vector<size_t> imprecise;
    read(
        "s.reference", "", [](Query&) {},
        [&](Cell cell, double sum, double squares) {
          settle(&cell.values, sum, squares, series_.at(cell.series).reference);
          // Of sixteen digits fewer than ten are left.
          if (cell.values.count > 1 && squares > 1e6 * cell.values.squares) imprecise.push_back(cells_.size());
          cells_.push_back(cell);
        });
    for (const size_t i : imprecise) refine(&cells_[i]);
  }

  // Once more, about the mean that is known now.
  void refine(Cell* cell) {
    const double reference = cell->values.mean;
    read(
        "CAST(:reference AS DOUBLE PRECISION)", " AND s.id = :series AND m.day = :day",
        [&](Query& query) { query.with("reference", reference).with("series", cell->series).with("day", cell->day); },
        [&](Cell found, double sum, double squares) {
          settle(&found.values, sum, squares, reference);
          cell->values = found.values;
        });
  }

  void add(const Cell& cell) {
    const Series& series = series_.at(cell.series);
    Characteristic& c = out_[series.characteristic];
    c.failed += cell.failed;
    c.unusable += cell.unusable;
    if (cell.values.count == 0) return;
    c.all.add(cell.values);
    c.days[cell.day].add(cell.values);
    c.stations[series.station][cell.day].add(cell.values);
  }

  // A cell's least and greatest value say how far one of it lies: those farthest off are looked into first, until no
  // other can have one to show.
  void find_outliers() {
    std::vector<std::pair<double, const Cell*>> far;
    for (const Cell& cell : cells_) {
      const Moments& all = out_[series_.at(cell.series).characteristic].all;
      const double sigma = all.sigma().value_or(0);
      if (sigma <= 0 || cell.values.count == 0) continue;
      const double distance = std::max(all.mean - cell.values.least, cell.values.most - all.mean) / sigma;
      if (distance > outlier_sigmas_) far.emplace_back(distance, &cell);
    }
    std::stable_sort(far.begin(), far.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
    for (const auto& [distance, cell] : far) {
      Characteristic& c = out_[series_.at(cell->series).characteristic];
      if (c.outliers.size() == kOutliersEach && distance < std::abs(c.outliers.back().distance)) continue;
      read_outliers(*cell, &c);
      keep_farthest(&c.outliers);
    }
  }

  void read_outliers(const Cell& cell, Characteristic* c) {
    const double mean = c->all.mean;
    const double sigma = *c->all.sigma();
    Outlier outlier;
    outlier.station = series_.at(cell.series).station;
    Query query(&database_,
                "SELECT m.value, r.id, r.serial, r.started_ms FROM measurement m "
                "JOIN run r ON r.day = m.day AND r.no = m.run JOIN setup p ON p.id = r.setup "
                "WHERE m.series = :series AND m.day = :day AND m.deciding = 1 AND (m.value < :low OR m.value > :high)" +
                    on_runs(filter_) + " ORDER BY ABS(m.value - :mean) DESC, r.id LIMIT 10");
    query.with(filter_).with("series", cell.series).with("day", cell.day).with("mean", mean);
    query.with("low", mean - outlier_sigmas_ * sigma).with("high", mean + outlier_sigmas_ * sigma);
    query.into(&outlier.value, &outlier.run_id, &outlier.serial, &outlier.started_ms);
    while (query.next()) {
      outlier.distance = (outlier.value - mean) / sigma;
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
  const double outlier_sigmas_;
  std::vector<Characteristic> out_;
  std::map<int, Series> series_;
  std::vector<Cell> cells_;
};

}  // namespace

std::vector<Characteristic> characteristics(Database* database, const Filter& filter, double outlier_sigmas) {
  return Answer(database, filter, outlier_sigmas).get();
}

Statistics statistics(Database* database, const Filter& filter, double outlier_sigmas) {
  Statistics out;
  count_runs(database, filter, &out);
  out.characteristics = characteristics(database, filter, outlier_sigmas);
  return out;
}

}  // namespace factory::store
