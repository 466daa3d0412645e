// What many runs have in common is stored once: set-ups, steps of plans, series of measurements. Each is found by a
// number made from its content, so that stations need not agree on anything beforehand.
#pragma once

#include <optional>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "record/record.h"
#include "store/bulk.h"
#include "store/filter.h"

namespace factory::store {

// One table of such entries.
class Entries {
 public:
  Entries(Database* database, const std::string& table, const std::string& columns);

  // The number of the entry with this content, which is made where it is missing, with the columns' values in `row`.
  template <typename... T, typename... Row>
  int id(const std::tuple<T...>& content, const std::tuple<Row...>& row);
  template <typename... T>
  int id(const std::tuple<T...>& content) {
    return id(content, content);
  }

  size_t known() const { return known_.size(); }

  // Takes note of those that a question answers with, by digest and number.
  void read(const std::string& question, int setup);

 private:
  int find(long long digest);

  Database& database_;
  const std::string table_;
  Bulk insert_;
  std::unordered_map<std::string, int> known_;  // by their content
  std::unordered_map<long long, int> read_;     // by their digest
};

// A limit that has more than two significant digits may follow what is measured. Where limits are alike in these two,
// their measurements are one series: it has the limits of its first value, and each value such ones of its own.
std::optional<double> own_limit(std::optional<double> limit);

class Dictionary {
 public:
  explicit Dictionary(Database* database);

  struct Ids {
    int setup = 0;
    std::vector<int> plan_steps;  // by the run's steps
    std::vector<int> series;      // by the measurements of its attempts, one after the other
  };
  // Makes what is missing, in transactions of its own: of no consequence when the run is not stored after all.
  Ids ids_of(const record::Run& run);

  // Those of the chosen runs of a store that is attached as `other`. The tables setup_of, plan_step_of and series_of
  // say which number of that one, `old`, is which one here, `new`; series_of also the old one's limits, `low` and
  // `high`, where the new one has others. Within a transaction.
  void adopt(const Filter& filter);

 private:
  Database& database_;
  Entries setups_, plan_steps_, series_;
};

}  // namespace factory::store
