// Runs one attempt at a step on an opened phone.
#pragma once

#include <chrono>
#include <functional>
#include <mutex>

#include "phone/held_values.h"
#include "phone/sampler.h"
#include "run/attempt.h"
#include "run/calibration.h"
#include "sensors/sensor.h"
#include "sensors/stored_values.h"

namespace factory::plan {

// What a calibration under way would have to put back; the watcher of interruptions looks at it too.
struct UnderWay {
  std::mutex mutex;
  const HeldValues* held = nullptr;  // guarded by mutex, which is held while values are put back
  bool end_claimed = false;          // the running thread's

  // After Ctrl-C: true where this thread brings the run to its end. Does not come back where the watcher does that.
  bool stops(Session& session);
};

// What to try where a file of the device is not as it should be.
inline constexpr char kFileHint[] =
    "look whether the partition is mounted, may be written and has room, then calibrate this sensor again";

// What helps against a scatter, by the unit of what scatters.
const char* noise_hint(const std::string& unit);

class StepRun {
 public:
  StepRun(Session& session, UnderWay& under_way, const Step& step, Attempt* attempt)
      : session_(session), under_way_(under_way), step_(step), attempt_(*attempt) {}

  // `warn` is told, before anything is changed, what cannot be undone.
  void run(const std::function<void(const std::string&)>& warn);

 private:
  void run_fixture();
  void run_calibrate(const std::function<void(const std::string&)>& warn);
  void run_verify();
  void run_check();
  void run_report_check();
  void run_probe();
  void run_write(const std::function<void(const std::string&)>& warn);

  int write(const StoredValue& value);

  // Parts of a calibration.
  std::string chip_problem();
  std::string note(HeldValues& held);
  void ask_for(Calibration* calibration);
  bool write_golden();
  bool choose_reference(CalibrationRequest* request);
  void measure_run(const Calibration& calibration);
  void measure_panel(const Panel& panel);
  void verify_calibration(const Calibration& calibration);
  void verify_near(bool near);
  void verify_thresholds();
  void begin_changes(const HeldValues& held);  // from here on the watcher would put back
  void end_changes(HeldValues& held, bool went_through);
  void settle_what_stays(HeldValues& held, bool went_through);

  void measure_fresh(const Quantity& subject, const FreshSamples& fresh, const std::vector<double>& expected);
  std::vector<double> expected_of(const Quantity& subject, std::optional<double> reference_hpa);
  FreshSamples take_fresh(const Quantity& subject, int count);
  std::optional<double> residual_limit(size_t axis, double expected) const;
  // Axes whose residuals are within their limits, but not surely so. None where one is outside: that is sure enough.
  std::vector<size_t> unsure_axes(const FreshSamples& fresh, const std::vector<double>& expected) const;
  void look_again(const Quantity& subject, std::optional<double> reference_hpa);
  void fail_unsure(const Quantity& subject, const FreshSamples& fresh, const std::vector<double>& expected);
  void measure(const std::string& name, const std::string& axis, double value, const std::string& unit,
               std::optional<double> error, std::optional<double> low, std::optional<double> high,
               const std::string& hint);
  void conclude();
  void look_for_services(int lost_before);

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
  double seconds() const { return std::chrono::duration<double>(session_.now() - attempt_.started).count(); }
  std::string tag() const { return step_.type == 0 ? "" : tag_of(step_.type); }

  Session& session_;
  UnderWay& under_way_;
  const Step& step_;
  Attempt& attempt_;
  bool nothing_sent_ = false;  // to the hub, by a run that is over
};

}  // namespace factory::plan
