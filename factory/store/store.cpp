#include "store/store.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "files/json_text.h"
#include "record/record_json.h"
#include "store/bulk.h"
#include "store/dictionary.h"
#include "store/query.h"
#include "store/run_id.h"
#include "store/schema.h"
#include "store/stored_run.h"
#include "store/stored_text.h"

namespace factory::store {

namespace {

// The codes are those of the record's type, in its order: schema.cpp has them, too.
int code_of(record::Outcome outcome) { return static_cast<int>(outcome); }
static_assert(static_cast<int>(record::Outcome::error) == 5 && record::kOutcomes == 6);

Json::Value to_list(const std::vector<std::string>& texts) { return json_list(texts); }
Json::Value to_list(const std::vector<record::Text>& texts) { return record::to_json(texts); }

template <typename T>
std::optional<std::string> list_text(const std::vector<T>& texts) {
  return texts.empty() ? std::nullopt : std::optional(json_line(to_list(texts)));
}

}  // namespace

// The statements that write a run, prepared once.
class RunWriter {
 public:
  explicit RunWriter(Database* database)
      : run_(database, "run",
             "day, id, setup, serial, serial_key, started_ms, seconds, verdict, marginal, retried, failed_step, "
             "failed_measurement, remarks, retest_of",
             "ON CONFLICT (day, id) DO NOTHING RETURNING no"),
        steps_(database, "step", "day, run, step_index, plan_step, verdict, attempts"),
        attempts_(database, "attempt",
                  "day, run, step_index, number, started_ms, seconds, verdict, kept, put_back, variance_restarts, "
                  "zero_variance_restarts, bias_restarts, reasons, hints, notes"),
        measurements_(database, "measurement",
                      "series, day, run, step_index, attempt, position, value, exact, standard_error, verdict, "
                      "deciding, low, high"),
        windows_(database, "sample_window", "day, run, step_index, attempt, unit, axes, period_ms"),
        samples_(database, "sample", "day, run, step_index, attempt, event, axis, value, exact, state") {}

  // False when a run of this id is there.
  bool write(const record::Run& run, int day, const Dictionary::Ids& ids, bool samples) {
    for (Bulk* bulk : {&run_, &steps_, &attempts_, &measurements_, &windows_, &samples_}) bulk->clear();
    // Phones without a serial number are different phones.
    const long long serial_key = key_of(to_stored(run.serial.empty() ? run.id : run.serial));
    const bool retried = std::any_of(run.steps.begin(), run.steps.end(),
                                     [](const record::Step& step) { return step.attempts.size() > 1; });
    const FailedOn failed = failed_on(run);
    run_.row(day, run.id, ids.setup, run.serial, serial_key, static_cast<long long>(time_of_id_ms(run.id)),
             usable(run.seconds).value_or(0), code_of(run.outcome), run.marginal(), retried, failed.step,
             failed.measurement, list_text(run.remarks),
             run.retest_of.empty() ? std::nullopt : std::optional(run.retest_of));
    const long long no = run_.write();
    if (no == 0) return false;
    auto series = ids.series.begin();
    auto plan_step = ids.plan_steps.begin();
    for (const record::Step& step : run.steps) {
      steps_.row(day, no, step.index, *plan_step++, code_of(step.outcome), static_cast<int>(step.attempts.size()));
      for (const record::Attempt& attempt : step.attempts) {
        add_attempt(day, no, step.index, attempt);
        int position = 0;
        for (const record::Measurement& m : attempt.measurements) {
          const Number number = to_number(m.value);
          measurements_.row(*series++, day, no, step.index, attempt.number, ++position, number.value, number.exact,
                            usable(m.standard_error), code_of(m.outcome), decided(step, attempt),
                            own_limit(usable(m.low)), own_limit(usable(m.high)));
        }
        if (samples && attempt.window) add_window(day, no, step.index, attempt.number, *attempt.window);
      }
    }
    for (Bulk* bulk : {&steps_, &attempts_, &measurements_, &windows_, &samples_}) bulk->write();
    return true;
  }

 private:
  void add_attempt(int day, long long no, int step, const record::Attempt& a) {
    const auto& [variance, zero_variance, bias] = a.restarts;
    const auto started = std::chrono::floor<std::chrono::milliseconds>(a.started.time_since_epoch());
    attempts_.row(day, no, step, a.number, static_cast<long long>(started.count()), usable(a.seconds).value_or(0),
                  code_of(a.outcome), a.kept, a.put_back, variance, zero_variance, bias, list_text(a.reasons),
                  list_text(a.hints), list_text(a.notes));
  }

  void add_window(int day, long long no, int step, int attempt, const record::Window& window) {
    const auto period = window.period_ms > 0 ? std::optional<double>(window.period_ms) : std::nullopt;
    windows_.row(day, no, step, attempt, window.unit, json_line(to_list(window.axes)), period);
    for (const record::Sample& sample : window.samples) {
      int axis = 0;
      for (const double value : sample.values) {
        const Number number = to_number(value);
        samples_.row(day, no, step, attempt, sample.event, axis++, number.value, number.exact,
                     static_cast<int>(sample.state));
      }
    }
  }

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

std::string Store::id() {
  std::string out;
  Query query(&database_, "SELECT id FROM identity");
  query.into(&out);
  return query.next() ? out : "";
}

int Store::put(std::span<const record::Run> runs, bool samples) {
  return database_.guarded([&] {
    std::vector<std::pair<int, Dictionary::Ids>> places;
    for (const record::Run& run : runs) {
      const int day = day_of_id(run.id);
      if (day != month_seen_of_day_) ensure_month(&database_, day);
      month_seen_of_day_ = day;
      places.emplace_back(day, dictionary_->ids_of(run));
    }
    Transaction transaction(&database_);
    int stored = 0;
    auto place = places.begin();
    for (const record::Run& run : runs) {
      stored += writer_->write(run, place->first, place->second, samples) ? 1 : 0;
      ++place;
    }
    transaction.commit();
    return stored;
  });
}

}  // namespace factory::store
