// What many runs have in common is stored once: set-ups, steps of plans, series of measurements. Each is found by a
// number made from its content, so that stations need not agree on anything beforehand.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "store/database.h"
#include "store/run_rows.h"

namespace factory::store {

class Dictionary {
 public:
  explicit Dictionary(Database* database) : database_(*database) {}

  struct Ids {
    int setup = 0;
    std::vector<int> plan_steps;  // by the run's steps
    std::vector<int> series;      // by the run's measurements
  };
  // Makes what is missing, in transactions of its own: of no consequence when the run is not stored after all.
  Ids ids_of(const RunRows& run);

 private:
  void read_entries(int setup);
  int setup_id(const Setup& setup);
  int plan_step_id(const PlanStep& step);
  int series_id(const MeasurementRow& measurement, int setup, int plan_step);
  template <typename Insert>
  int id_of(const char* table, long long digest, Insert insert);

  Database& database_;
  std::unordered_map<std::string, int> setups_, plan_steps_, series_;  // by their content
  std::unordered_map<long long, int> read_;                            // by their digest
};

}  // namespace factory::store
