#include "store/store.h"

#include <utility>

#include "store/bulk.h"
#include "store/dictionary.h"
#include "store/schema.h"
#include "store/stored_text.h"

namespace factory::store {

// The statements that write a run, prepared once.
class RunWriter {
 public:
  explicit RunWriter(Database* database)
      : run_(database, "run",
             "day, id, setup, serial, serial_key, started_ms, seconds, verdict, marginal, retried, failed_step, "
             "failed_measurement, remarks",
             "ON CONFLICT (day, id) DO NOTHING RETURNING no"),
        steps_(database, "step", "day, run, step_index, plan_step, verdict, attempts"),
        attempts_(database, "attempt",
                  "day, run, step_index, number, started_ms, seconds, verdict, kept, put_back, variance_restarts, "
                  "zero_variance_restarts, bias_restarts, reasons, hints, notes"),
        measurements_(database, "measurement",
                      "series, day, run, step_index, attempt, position, value, exact, standard_error, verdict, "
                      "deciding"),
        windows_(database, "sample_window", "day, run, step_index, attempt, unit, axes, period_ms"),
        samples_(database, "sample", "day, run, step_index, attempt, event, axis, value, exact, state") {}

  // False when a run of this id is there.
  bool write(const RunRows& run, const Dictionary::Ids& ids) {
    for (Bulk* bulk : {&run_, &steps_, &attempts_, &measurements_, &windows_, &samples_}) bulk->clear();
    // Phones without a serial number are different phones.
    const long long serial_key = key_of(run.serial.empty() ? run.id : run.serial);
    run_.row(run.day, run.id, ids.setup, run.serial, serial_key, run.started_ms, run.seconds, run.verdict, run.marginal,
             run.retried, run.failed_step, run.failed_measurement, run.remarks);
    const long long no = run_.write();
    if (no == 0) return false;
    for (size_t i = 0; i < run.steps.size(); ++i) {
      const StepRow& row = run.steps[i];
      steps_.row(run.day, no, row.index, ids.plan_steps[i], row.verdict, row.attempts);
    }
    for (const AttemptRow& row : run.attempts) {
      const auto& [variance, zero_variance, bias] = row.restarts;
      attempts_.row(run.day, no, row.step_index, row.number, row.started_ms, row.seconds, row.verdict, row.kept,
                    row.put_back, variance, zero_variance, bias, row.reasons, row.hints, row.notes);
    }
    for (size_t i = 0; i < run.measurements.size(); ++i) {
      const MeasurementRow& row = run.measurements[i];
      measurements_.row(ids.series[i], run.day, no, row.step_index, row.attempt, row.position, row.number.value,
                        row.number.exact, row.standard_error, row.verdict, row.deciding);
    }
    for (const WindowRow& row : run.windows)
      windows_.row(run.day, no, row.step_index, row.attempt, row.unit, row.axes, row.period_ms);
    for (const SampleRow& row : run.samples)
      samples_.row(run.day, no, row.step_index, row.attempt, row.event, row.axis, row.number.value, row.number.exact,
                   row.state);
    for (Bulk* bulk : {&steps_, &attempts_, &measurements_, &windows_, &samples_}) bulk->write();
    return true;
  }

 private:
  Bulk run_, steps_, attempts_, measurements_, windows_, samples_;
};

Store::Store(Database database) : database_(std::move(database)) {
  migrate(&database_);
  database_.guarded([&] {
    dictionary_ = std::make_unique<Dictionary>(&database_);
    writer_ = std::make_unique<RunWriter>(&database_);
  });
}

Store::~Store() = default;

bool Store::put(const RunRows& run) {
  return database_.guarded([&] {
    if (run.day != month_seen_of_day_) ensure_month(&database_, run.day);
    month_seen_of_day_ = run.day;
    const Dictionary::Ids ids = dictionary_->ids_of(run);
    Transaction transaction(&database_);
    const bool is_new = writer_->write(run, ids);
    transaction.commit();
    return is_new;
  });
}

}  // namespace factory::store
