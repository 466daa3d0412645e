#include "store/store.h"

#include <utility>

#include "store/bulk.h"
#include "store/dictionary.h"
#include "store/schema.h"
#include "store/stored_text.h"

namespace factory::store {

using soci::into;
using soci::use;

// The statements that write a run, prepared once.
class RunWriter {
 public:
  explicit RunWriter(Database* database)
      : run_(database->sql()),
        steps_(database, "step", {"day:i", "run:i", "step_index:i", "plan_step:i", "verdict:i", "attempts:i"}),
        attempts_(database, "attempt",
                  {"day:i", "run:i", "step_index:i", "number:i", "started_ms:i", "seconds:d", "verdict:i", "kept:i",
                   "put_back:i", "variance_restarts:i", "zero_variance_restarts:i", "bias_restarts:i", "reasons:t",
                   "hints:t", "notes:t"}),
        measurements_(database, "measurement",
                      {"series:i", "day:i", "run:i", "step_index:i", "attempt:i", "position:i", "value:d", "exact:t",
                       "standard_error:d", "verdict:i", "deciding:i"}),
        windows_(database, "sample_window",
                 {"day:i", "run:i", "step_index:i", "attempt:i", "unit:t", "axes:t", "period_ms:d"}),
        samples_(
            database, "sample",
            {"day:i", "run:i", "step_index:i", "attempt:i", "event:i", "axis:i", "value:d", "exact:t", "state:i"}) {
    prepare_run();
  }

  // False when a run of this id is there.
  bool write(const RunRows& run, const Dictionary::Ids& ids) {
    for (Bulk* bulk : {&steps_, &attempts_, &measurements_, &windows_, &samples_}) bulk->clear();
    const long long no = write_run(run, ids.setup);
    if (no == 0) return false;
    add_steps(run, ids, no);
    add_measurements(run, ids, no);
    add_samples(run, no);
    for (Bulk* bulk : {&steps_, &attempts_, &measurements_, &windows_, &samples_}) bulk->write();
    return true;
  }

 private:
  // What the statement reads: the values of one run.
  struct RunValues {
    long long no, day, setup, serial_key, started_ms, verdict, marginal, retried;
    double seconds;
    std::string id, serial, failed_step, failed_measurement, remarks;
    soci::indicator step_given, measurement_given, remarks_given;
  };

  void prepare_run() {
    RunValues& v = values_;
    for (const auto& [name, value] : {std::pair{"day", &v.day},
                                      {"setup", &v.setup},
                                      {"serial_key", &v.serial_key},
                                      {"started_ms", &v.started_ms},
                                      {"verdict", &v.verdict},
                                      {"marginal", &v.marginal},
                                      {"retried", &v.retried}})
      run_.exchange(use(*value, name));
    run_.exchange(use(v.seconds, "seconds"));
    run_.exchange(use(v.id, "id"));
    run_.exchange(use(v.serial, "serial"));
    run_.exchange(use(v.failed_step, v.step_given, "failed_step"));
    run_.exchange(use(v.failed_measurement, v.measurement_given, "failed_measurement"));
    run_.exchange(use(v.remarks, v.remarks_given, "remarks"));
    run_.exchange(into(v.no));
    run_.alloc();
    run_.prepare(
        "INSERT INTO run (day, id, setup, serial, serial_key, started_ms, seconds, verdict, marginal, retried, "
        "failed_step, failed_measurement, remarks) VALUES (:day, :id, :setup, :serial, :serial_key, :started_ms, "
        ":seconds, :verdict, :marginal, :retried, :failed_step, :failed_measurement, :remarks) "
        "ON CONFLICT (day, id) DO NOTHING RETURNING no");
    run_.define_and_bind();
  }

  // The run's number, or 0 when a run of this id is there.
  long long write_run(const RunRows& run, int setup) {
    const auto set = [](const std::optional<std::string>& from, std::string* to, soci::indicator* given) {
      *to = from.value_or("");
      *given = from ? soci::i_ok : soci::i_null;
    };
    RunValues& v = values_;
    v.day = run.day;
    v.setup = setup;
    // Phones without a serial number are different phones.
    v.serial_key = key_of(run.serial.empty() ? run.id : run.serial);
    v.started_ms = run.started_ms;
    v.verdict = run.verdict;
    v.marginal = run.marginal ? 1 : 0;
    v.retried = run.retried ? 1 : 0;
    v.seconds = run.seconds;
    v.id = run.id;
    v.serial = run.serial;
    set(run.failed_step, &v.failed_step, &v.step_given);
    set(run.failed_measurement, &v.failed_measurement, &v.measurement_given);
    set(run.remarks, &v.remarks, &v.remarks_given);
    const bool is_new = run_.execute(true);
    const long long no = is_new ? v.no : 0;
    // To its end, or it would stand in the way of the commit.
    while (is_new && run_.fetch()) {
    }
    return no;
  }

  void add_steps(const RunRows& run, const Dictionary::Ids& ids, long long no) {
    for (size_t i = 0; i < run.steps.size(); ++i) {
      const StepRow& row = run.steps[i];
      steps_.add(run.day).add(no).add(row.index).add(ids.plan_steps[i]).add(row.verdict).add(row.attempts);
    }
    for (const AttemptRow& row : run.attempts) {
      attempts_.add(run.day).add(no).add(row.step_index).add(row.number).add(row.started_ms).add(row.seconds);
      attempts_.add(row.verdict).add(row.kept).add(row.put_back);
      for (const int restarts : row.restarts) attempts_.add(restarts);
      attempts_.add(row.reasons).add(row.hints).add(row.notes);
    }
  }

  void add_measurements(const RunRows& run, const Dictionary::Ids& ids, long long no) {
    for (size_t i = 0; i < run.measurements.size(); ++i) {
      const MeasurementRow& row = run.measurements[i];
      measurements_.add(ids.series[i]).add(run.day).add(no).add(row.step_index).add(row.attempt).add(row.position);
      measurements_.add(row.number.value).add(row.number.exact).add(row.standard_error);
      measurements_.add(row.verdict).add(row.deciding);
    }
  }

  void add_samples(const RunRows& run, long long no) {
    for (const WindowRow& row : run.windows) {
      windows_.add(run.day).add(no).add(row.step_index).add(row.attempt).add(row.unit).add(row.axes);
      windows_.add(row.period_ms);
    }
    for (const SampleRow& row : run.samples) {
      samples_.add(run.day).add(no).add(row.step_index).add(row.attempt).add(row.event).add(row.axis);
      samples_.add(row.number.value).add(row.number.exact).add(row.state);
    }
  }

  RunValues values_{};
  soci::statement run_;
  Bulk steps_;
  Bulk attempts_;
  Bulk measurements_;
  Bulk windows_;
  Bulk samples_;
};

Store::Store(Database database) : database_(std::move(database)) {
  migrate(&database_);
  try {
    dictionary_ = std::make_unique<Dictionary>(&database_);
    writer_ = std::make_unique<RunWriter>(&database_);
  } catch (const soci::soci_error&) {
    rethrow(database_.uri());
  }
}

Store::~Store() = default;

bool Store::put(const RunRows& run) {
  try {
    if (run.day != month_seen_of_day_) ensure_month(&database_, run.day);
    month_seen_of_day_ = run.day;
    const Dictionary::Ids ids = dictionary_->ids_of(run);
    Transaction transaction(&database_);
    const bool is_new = writer_->write(run, ids);
    transaction.commit();
    return is_new;
  } catch (const soci::soci_error&) {
    rethrow(database_.uri());
  }
}

}  // namespace factory::store
