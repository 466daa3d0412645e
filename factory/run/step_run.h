// Runs one attempt at a step on an opened phone.
#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <mutex>

#include "phone/held_values.h"
#include "phone/sampler.h"
#include "record/why.h"
#include "run/calibration.h"
#include "run/plan.h"
#include "sensors/sensor.h"
#include "sensors/stored_values.h"

namespace factory::plan {

using record::Attempt;
using record::Clock;
using record::Measurement;
using record::Outcome;
using record::Reason;
using record::Why;

// What the calibrations under way would have to put back; the watcher of interruptions looks at it too.
struct UnderWay {
  std::mutex mutex;
  std::map<const Attempt*, const HeldValues*> held;  // guarded by mutex, which is held while values are put back
  bool end_claimed = false;                          // the running thread's

  // After Ctrl-C: true where this thread brings the run to its end. Does not come back where the watcher does that.
  bool stops(Session& session);
};

// A look of a verify step, begun beside those of the steps before it.
struct Look {
  Look(Session& session, const Step& whose, const SampleRequest& request)
      : step(&whose), samples(session.cal().sensor_manager, request) {}
  const Step* step;
  FreshLook samples;
  Clock::time_point started;
};

class StepRun {
 public:
  // What is told while it runs: before anything is changed what cannot be undone, and before the library's run how it
  // takes its samples.
  struct Told {
    std::function<void(const std::string&)> warn;
    std::function<void(const Taking&)> takes;
  };
  // The first of `looks` may be the step's own; the others go on while it waits for its samples.
  StepRun(Session& session, UnderWay& under_way, const Step& step, std::deque<Look>& looks, Attempt* attempt, Told told)
      : session_(session),
        under_way_(under_way),
        step_(step),
        looks_(looks),
        attempt_(*attempt),
        told_(std::move(told)) {}

  // All of it but the fresh samples of a calibration.
  void begin();
  // Whether any are to come.
  bool looks() const { return !to_look_.empty(); }
  // Goes on with these as far as they came, without waiting for more. True: no more are needed.
  bool go_on() { return look(false); }
  // Others go on before its end. Gives what was logged so far.
  void leave(Attempt* logged);
  // Waits for what is needed, judges, keeps or puts back. The attempt is whole then.
  void end();

 private:
  void run_fixture();
  void run_calibrate();
  void run_verify();
  void run_check();
  void run_report_check();
  void run_probe();
  void run_write();

  // Parts of a calibration.
  std::string chip_problem();
  bool note(HeldValues& held);
  bool write_golden();
  bool choose_reference(std::optional<double>* reference_hpa);
  void measure_run(const Calibration& calibration);
  void end_calibrate();
  bool look(bool wait);
  void look_at(const Sensor& subject, int count, std::function<void(const FreshSamples&)> then);
  // The same, over at once where it cannot pass any more.
  void look_first(const Sensor& subject, int count, std::optional<double> reference_hpa,
                  std::function<void(const FreshSamples&)> then);
  void then(const std::function<void()>& what) {
    to_look_.push_back({std::nullopt, 0, {}, [what](const FreshSamples&) { what(); }});
  }
  void verify_calibration(const Calibration& calibration);
  void take_found(const Sensor& subject, const FreshSamples& came);
  void require(Measurement measurement, const std::string& whose, const std::string& hint);
  void require_stored_offset();
  void hear_others(const Calibration& calibration, int verified);
  void hear_proximity(const Calibration& calibration);
  void hear(const Sensor& itself, const FreshSamples& fresh, const Calibration& calibration);
  void verify_near(std::optional<bool> near);
  void verify_thresholds();
  void begin_changes(const HeldValues& held);  // from here on the watcher would put back
  void end_changes(HeldValues& held, bool went_through);
  bool read_after(const HeldValues& held);
  void settle_what_stays(HeldValues& held, bool went_through);

  void require_scatter(const Sensor& subject, const std::vector<std::vector<double>>& rows,
                       std::optional<size_t> only = {});
  void measure_fresh(const Sensor& subject, const FreshSamples& fresh, const std::vector<Measurement>& residuals);
  std::vector<Measurement> residuals_of(const Sensor& subject, const FreshSamples& fresh,
                                        std::optional<double> reference_hpa);
  FreshSamples take(FreshLook& look);
  Look* own_look() { return !looks_.empty() && looks_.front().step == &step_ ? &looks_.front() : nullptr; }
  void look_again(const Sensor& subject, const FreshSamples& fresh);
  void fail_unsure(const std::vector<Measurement>& residuals);
  void measure(Measurement measurement, const std::string& hint);
  void conclude();
  void look_for_services();

  // Notes what was under way while it lived; from the attempt's start.
  class Span {
   public:
    Span(StepRun& run, const char* what) : run_(run), what_(what), from_s_(run.seconds()) {}
    ~Span() { run_.attempt_.spans.push_back({run_.tag(), what_, from_s_, run_.seconds()}); }
    Span(const Span&) = delete;
    Span& operator=(const Span&) = delete;

   private:
    StepRun& run_;
    const char* const what_;
    const double from_s_;
  };
  double seconds() const { return seconds_at(moment_.value_or(std::chrono::steady_clock::now())); }
  double seconds_at(FreshLook::Time moment) const {
    return std::chrono::duration<double>(session_.at(moment) - attempt_.started).count();
  }
  std::string tag() const { return step_.type == 0 ? "" : tag_of(step_.type); }

  Session& session_;
  UnderWay& under_way_;
  const Step& step_;
  std::deque<Look>& looks_;
  Attempt& attempt_;
  const Told told_;
  std::optional<FreshLook::Time> moment_;  // that a look of its own has come to: the step itself was begun later
  std::string expected_lost_;              // why what the hub holds of what is expected was not read
  int lost_ = 0;                           // messages without an answer, at the beginning
  bool left_ = false;

  // Of a calibration.
  struct NextLook {
    std::optional<Sensor> at;  // none: only what comes then
    int count;
    std::vector<Within> within;
    std::function<void(const FreshSamples&)> then;
  };
  std::optional<HeldValues> held_;
  std::optional<Calibration> calibration_;
  std::deque<NextLook> to_look_;   // in turn
  std::optional<FreshLook> look_;  // of the first of them
  FreshSamples fresh_;             // that decide
  bool went_through_ = false;
  bool nothing_sent_ = false;  // to the hub, by a run that is over
};

// How many times as many samples as the first ones a calibration takes where these leave its verdict open.
inline constexpr int kBatchesMax = 8;

// What a step looks at, by its own period and count; nothing where the phone has no such sensor.
std::optional<SampleRequest> request_of(Session& session, const Step& step, const Sensor& subject, int count,
                                        std::vector<Within> within);
// The same of a verify step.
std::optional<SampleRequest> request_of(Session& session, const Step& step);

}  // namespace factory::plan
