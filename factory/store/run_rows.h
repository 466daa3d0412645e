// A run as rows of the store's tables. Texts are as to_stored() makes them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "record/record.h"

namespace factory::store {

// A number as it can be added up, and, where that is not all of it, as it was: "nan", "inf", "1e+200".
struct Number {
  std::optional<double> value;
  std::optional<std::string> exact;
};
Number to_number(double value);

struct PlanStep {
  std::string name, kind, group, tag;
  std::optional<long long> param;
};

struct StepRow {
  int index;
  PlanStep plan_step;
  int verdict;
  int attempts;
};

struct AttemptRow {
  int step_index, number;
  long long started_ms;
  double seconds;
  int verdict, kept, put_back;
  int restarts[3];                                   // variance, zero variance, bias
  std::optional<std::string> reasons, hints, notes;  // lists in JSON
};

struct MeasurementRow {
  int step_index, attempt, position;
  size_t step;  // in RunRows::steps
  std::string name, axis, unit;
  std::optional<double> low, high;
  Number number;
  std::optional<double> standard_error;
  int verdict;
  bool deciding;  // of the step's last attempt, and that judged
};

struct WindowRow {
  int step_index, attempt;
  std::string unit, axes;
  std::optional<double> period_ms;
};

struct SampleRow {
  int step_index, attempt, event, axis;
  Number number;
  int state;  // 0 settling, 1 discarded, 2 accepted
};

struct Setup {
  std::string station, operator_name, plan, plan_file, plan_hash, profile;
  std::string application, application_build, library, library_build;
};

struct RunRows {
  std::string id, serial;
  int day;
  long long started_ms;
  double seconds;
  int verdict;
  bool marginal, retried;  // retried: a step needed more than one attempt
  std::optional<std::string> failed_step, failed_measurement, remarks;
  Setup setup;
  std::vector<StepRow> steps;
  std::vector<AttemptRow> attempts;
  std::vector<MeasurementRow> measurements;
  std::vector<WindowRow> windows;
  std::vector<SampleRow> samples;
};

constexpr int kPassedCode = 0, kMarginalCode = 1, kFailedCode = 2, kSkippedCode = 3, kAbortedCode = 4, kErrorCode = 5;
const char* verdict_name(int code);

// Throws StoreError where the run's id is none.
RunRows rows_of(const record::Run& run, bool samples);

// What of a record the store keeps, to be kept meanwhile: without logs, hub messages and, unless wanted, samples.
record::Run storable(record::Run run, bool samples);

}  // namespace factory::store
