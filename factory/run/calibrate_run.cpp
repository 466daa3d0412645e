// An attempt at a calibration: note what is held, calibrate, take fresh samples, judge, and keep or put back.
#include <unistd.h>

#include <algorithm>
#include <cmath>

#include "run/step_run.h"

namespace factory::plan {
namespace {

constexpr int kFreshMotion = 50;
constexpr int kFreshOthers = 20;
constexpr int kHeard = 3;
// A value is kept when its residual's limit is so many standard errors away. More samples make the error smaller.
constexpr double kClearErrors = 3;

std::string channel_name(const Step& step) {
  return std::string(step.screen ? "screen's " : "") + "scale of channel " + std::to_string(*step.channel);
}

std::vector<std::vector<double>> accepted(const record::Window& window) {
  std::vector<std::vector<double>> out;
  for (const record::Sample& sample : window.samples) {
    if (sample.state == record::SampleState::accepted) out.push_back(sample.values);
  }
  return out;
}

// Residuals within their limits, but not surely so. None where one is outside: that is sure enough.
std::vector<Measurement> unsure(const std::vector<Measurement>& residuals) {
  std::vector<Measurement> out;
  for (Measurement m : residuals) {
    judge(&m, 0);
    if (m.outcome == Outcome::failed) return {};
    if (m.high && std::fabs(m.value) + kClearErrors * *m.standard_error > *m.high) out.push_back(m);
  }
  return out;
}

int batch_of(const Sensor& subject) { return subject.scatters ? kFreshMotion : kFreshOthers; }

Reason prefixed(const char* before, Reason reason) {
  reason.text.insert(0, before);
  return reason;
}

}  // namespace

bool UnderWay::stops(Session& session) {
  if (!session.interrupted()) return false;
  if (end_claimed || session.claim_end()) return end_claimed = true;
  for (;;) pause();
}

// Golden values are part of the step: they are noted, and put back, with the scales.
bool StepRun::write_golden() {
  if (step_.golden.empty()) return true;
  const Span span(*this, "write");
  const Watchdog::Operation operation(session_.watchdog());
  const int lost = session_.lost_messages();
  const int result = stored_value(step_.type, "golden")->write(*session_.cal().cal_api, step_.type, step_.golden);
  const bool answered = result == 0 && session_.lost_messages() == lost;
  if (const std::string silent = answered ? "" : HubWatch::problem(session_, lost); !silent.empty()) {
    attempt_.fail({Why::hub_silent, silent, kLookAtServices});
  } else if (result != 0) {
    attempt_.fail({Why::hub_refused, "the hub refused the golden values", kHubHint});
  } else {
    require_stored(session_, step_.type, "golden", step_.golden, &attempt_);
  }
  return attempt_.reasons.empty();
}

bool StepRun::choose_reference(std::optional<double>* reference_hpa) {
  if (step_.type != sensor_type::pressure || find_kind(step_.type, step_.param) == nullptr) return true;
  *reference_hpa = step_.reference_hpa;
  if (*reference_hpa) return true;
  const std::string known = session_.fixture().world()["pressure"];
  if (known.empty()) {
    attempt_.fail({Why::expected_unknown, "the pressure of the reference barometer is not known",
                   "give it: --reference HPA, or \"reference\" in a plan"});
    return false;
  }
  *reference_hpa = std::strtod(known.c_str(), nullptr);
  return true;
}

// False: the hub does not answer, and nothing is to be changed.
bool StepRun::note(HeldValues& held) {
  std::optional<record::Reason> problem;
  {
    const Span span(*this, "read before");
    problem = held.note(session_);
  }
  attempt_.before = held.before();
  attempt_.irreversible = held.irreversible();
  for (const std::string& what : held.irreversible()) told_.warn("cannot be undone: " + what);
  if (problem) attempt_.fail(*problem);
  return !problem;
}

void StepRun::begin_changes(const HeldValues& held) {
  const std::lock_guard<std::mutex> lock(under_way_.mutex);
  under_way_.held[&attempt_] = &held;
}

void StepRun::end_changes(HeldValues& held, bool went_through) {
  const std::lock_guard<std::mutex> lock(under_way_.mutex);
  conclude();
  if (under_way_.held.count(&attempt_) != 0) settle_what_stays(held, went_through);
  under_way_.held.erase(&attempt_);
}

void StepRun::measure_run(const Calibration& c) {
  const Limits& limits = step_.limits;
  for (const Restart& restart : c.run.restarts) ++attempt_.restarts[static_cast<size_t>(restart.cause)];
  if (limits.restarts) {
    std::string causes;
    auto commonest = Restart::Cause::variance;
    const auto count = [&](Restart::Cause cause) { return attempt_.restarts[static_cast<size_t>(cause)]; };
    for (const auto cause : {Restart::Cause::variance, Restart::Cause::zero_variance, Restart::Cause::bias}) {
      if (count(cause) == 0) continue;
      if (count(cause) > count(commonest)) commonest = cause;
      causes += (causes.empty() ? ": " : ", ") + std::to_string(count(cause)) + " by " + cause_name(cause);
    }
    const size_t reasons = attempt_.reasons.size();
    measure(
        {"restarts", "", static_cast<double>(c.run.restarts.size()), "", {}, {}, static_cast<double>(*limits.restarts)},
        restart_hint(commonest));
    if (attempt_.reasons.size() > reasons) attempt_.reasons.back().text += causes;
  }
  if (limits.seconds) {
    measure({"duration", "", c.seconds, "s", {}, {}, limits.seconds},
            c.run.restarts.empty() ? "the sensor delivers slowly: look at its driver and its rate"
                                   : restart_hint(c.run.restarts.back().cause));
  }
  if (c.kind == nullptr) return;
  const std::string unit = found_unit(*c.kind, c.golden);
  if (c.axes.empty() && attempt_.reasons.empty() && !session_.interrupted() && (limits.low || limits.high))
    attempt_.fail({Why::value_missing, "the run left no value to judge"});
  constexpr double kGoldenMin = 1;  // counts: a scale to a golden value of none would be none
  const bool has_usual = !c.golden && c.kind->found_low < c.kind->found_high;
  for (size_t i = 0; i < c.axes.size(); ++i) {
    const Axis& axis = c.axes[i];
    if (axis.name.empty()) continue;
    if (!c.in_hub && c.kind->rest_noise > 0) {
      const double share = c.kind->limit_is_relative ? std::fabs(axis.found) : 1;
      measure({"run noise", axis.name, axis.standard_deviation, c.kind->unit, {}, {}, c.kind->rest_noise * share},
              noise_hint(c.kind->unit));
    }
    Measurement m{c.golden ? "golden" : "offset", axis.name, axis.found, unit, {}, {}, {}};
    if (axis.scale && unit == "factor") {
      m.name = "scale";
      m.value = *axis.scale;
    }
    if (!axis.scale) m.standard_error = axis.standard_deviation / std::sqrt(std::max(1, c.samples));
    if (c.golden) m.low = kGoldenMin;
    if (has_usual) m.low = c.kind->found_low;
    if (has_usual) m.high = c.kind->found_high;
    if (limits.low) m.low = limits.low->at(i);
    if (limits.high) m.high = limits.high->at(i);
    measure(m, "the sensor is far from what it should be, or the fixture is not set as the step needs it");
  }
}

void StepRun::fail_unsure(const std::vector<Measurement>& residuals) {
  if (!attempt_.reasons.empty()) return;
  for (const Measurement& m : unsure(residuals)) {
    attempt_.fail({Why::value_unsure,
                   m.axis + ": residual " + plain(m.value) + " +/- " + plain(*m.standard_error) + " " + m.unit +
                       " is too near to the limit of " + plain(*m.high) + " " + m.unit + " to be sure of it",
                   "the fixture moved a little during the run: set it up again and repeat",
                   {m.axis, plain(m.value)}});
  }
}

// A movement that spoilt the run and ended among the fresh samples may hide in their mean: what was at rest shows the
// same once more.
void StepRun::look_again(const Sensor& subject, const FreshSamples& fresh) {
  if (fresh.problem) return attempt_.fail(prefixed("not verified twice: ", *fresh.problem));
  for (Measurement m : residuals_of(subject, fresh, calibration_->reference_hpa)) {
    m.name += " at a second look";
    judge(&m, 0);
    if (m.outcome == Outcome::failed)
      measure(std::move(m), "the phone was moved during the run: set it up again and repeat");
  }
}

// The target is still where the step needs it. Without it the sensor is looked at where the step says so: a person is
// not sent to and fro where a plan does it later.
void StepRun::verify_thresholds() {
  verify_near(true);
  if (!step_.far || !attempt_.reasons.empty() || session_.interrupted()) return;
  Fixture& fixture = session_.fixture();
  const std::string target = fixture.world()["target"];
  const std::string problem = fixture.set_world("target", "none");
  if (!problem.empty()) return attempt_.fail({Why::fixture_not_set, "not verified: " + problem});
  verify_near(false);
  if (!fixture.asks_operator() && !target.empty()) fixture.set_world("target", target);
}

// Enough samples to be sure, then whatever else has a part in it, and in the end a second look.
void StepRun::take_found(const Sensor& subject, const FreshSamples& came) {
  fresh_.append(came);
  const std::vector<Measurement> residuals = residuals_of(subject, fresh_, calibration_->reference_hpa);
  if (fresh_.problem) return attempt_.fail(prefixed("not verified: ", *fresh_.problem));
  if (!fresh_.hopeless && !unsure(residuals).empty() && fresh_.taken < kBatchesMax * batch_of(subject))
    return look_at(subject, fresh_.taken, [=, this](const FreshSamples& more) { take_found(subject, more); });
  measure_fresh(subject, fresh_, residuals);
  hear_others(*calibration_, subject.type);
  then([=, this] {
    fail_unsure(residuals);
    if (!subject.scatters || !attempt_.reasons.empty()) return;
    look_at(subject, kFreshMotion, [=, this](const FreshSamples& again) { look_again(subject, again); });
  });
}

void StepRun::verify_calibration(const Calibration& c) {
  if (is_self_test(step_.param)) {
    if (session_.sensor(step_.type) == nullptr) attempt_.fail(kNotListed);
    return;
  }
  if (c.kind != nullptr && !c.golden && c.kind->result != Result::proximity) {
    Sensor subject = *subject_of(step_.type);
    subject.type = c.kind->verified_type;
    return look_first(subject, batch_of(subject), c.reference_hpa,
                      [=, this](const FreshSamples& came) { take_found(subject, came); });
  }
  if (c.kind == nullptr) require_stored_offset();
  hear_others(c, 0);
}

// Fails what does not pass, and keeps no measurement of it.
void StepRun::require(Measurement m, const std::string& whose, const std::string& hint) {
  judge(&m, 0);
  if (m.outcome != Outcome::failed) return;
  const auto bound = [](const std::optional<double>& of) { return of ? plain(*of) : ""; };
  attempt_.fail({Why::value_outside,
                 whose + ", " + describe(m),
                 hint,
                 {m.name, m.axis, plain(m.value), bound(m.low), bound(m.high), m.unit}});
}

// What the chip found by itself is a value that it could find.
void StepRun::require_stored_offset() {
  const StoredValue* value = stored_value(step_.type, "offset");
  if (value == nullptr) return;
  const Watchdog::Operation operation(session_.watchdog());
  const Sensor& sensor = *sensor_of(step_.type);
  const auto [low, high] = value->range(step_.type);
  const std::vector<double> offset = value->read(*session_.cal().cal_api, step_.type, value->count).values;
  for (size_t i = 0; i < offset.size(); ++i)
    require({"offset", sensor.axes[i], offset[i], sensor.unit, {}, low, high}, "the hub", kHubHint);
}

// Whatever has a part in a calibration works afterwards: the sensor itself, the one of its chip that the library
// listened to, and the one that applications get. `verified` was looked at closely.
void StepRun::hear_others(const Calibration& c, int verified) {
  const _sensor_info* listened = record_of_run(session_, c);
  const int sampled = listened != nullptr && listened->present != 0 ? static_cast<int>(listened->info.type) : verified;
  std::vector<int> heard = {verified};
  for (const int type : {sampled, step_.type, sensor_of(step_.type)->used_type}) {
    const bool again = std::count(heard.begin(), heard.end(), type) != 0;
    if (again || (type != step_.type && session_.sensor(type) == nullptr)) continue;
    heard.push_back(type);
    if (type == sensor_type::proximity) {
      then([this] { hear_proximity(*calibration_); });
    } else {
      const Sensor itself = events_of(type);
      look_at(itself, itself.scatters ? kFreshOthers : kHeard,
              [=, this](const FreshSamples& fresh) { hear(itself, fresh, *calibration_); });
    }
  }
}

// Nothing is before the sensor, or its thresholds come next. Those of a phone as it was made know nothing of its
// crosstalk: the state follows from them and from what the run saw, if from anything.
void StepRun::hear_proximity(const Calibration& c) {
  const Span span(*this, "verify");
  if (sets_thresholds(step_)) return verify_thresholds();
  if (c.kind == nullptr || c.axes.empty()) return verify_near(std::nullopt);
  SensorCalibrationAPI& api = *session_.cal().cal_api;
  const auto held = [&](const char* name) {
    return stored_value(step_.type, name)->read(api, step_.type, 1).values[0];
  };
  const Watchdog::Operation operation(session_.watchdog());
  const std::pair thresholds(held("near"), held("far"));
  std::optional<bool> wanted = false;
  if (thresholds == std::pair(0.0, 0.0)) wanted.reset();
  if (thresholds == std::pair(300.0, 400.0)) {
    const double found = c.axes[0].found;
    wanted = found > thresholds.second ? std::optional(true) : found < thresholds.first ? wanted : std::nullopt;
  }
  verify_near(wanted);
}

// A few samples, held against what one sample of a sensor at rest may be off. What light a chip shares a scale with
// shows the same light, and what the hub calibrates one that a scale could make it; what a chip calibrated by itself
// shows nothing, or the distance.
void StepRun::hear(const Sensor& itself, const FreshSamples& fresh, const Calibration& c) {
  const std::string name = name_of(itself.type);
  if (fresh.problem) return attempt_.fail(prefixed(("not verified: " + name + ": ").c_str(), *fresh.problem));
  require_scatter(itself, fresh.rows);
  const std::map<std::string, std::string> world = session_.fixture().world();
  const bool is_light = itself.result == Result::lux_scale;
  const bool shares_scale = is_light && c.kind != nullptr && c.kind->result == itself.result;
  const bool by_hub = c.kind == nullptr;
  std::vector<double> wanted = by_hub ? told_by(world, itself.type) : expected_at(world, itself.type);
  const bool by_chip = by_hub && itself.result == Result::none;
  if (by_chip && itself.values > 1) wanted.assign(static_cast<size_t>(itself.values), 0);
  for (size_t i = 0; i < fresh.values.size(); ++i) {
    const double mean = fresh.values[i].mean();
    const double truth = i < wanted.size() ? wanted[i] : 0;
    double limit = itself.scatters ? itself.noise : 0;
    if (shares_scale) limit = itself.residual_limit * truth;
    if (by_chip && i < wanted.size()) limit = itself.residual_limit;
    Measurement seen{"mean", itself.axes[i], mean, itself.unit};
    if (limit > 0) seen = {"residual", itself.axes[i], mean - truth, itself.unit, {}, -limit, limit};
    if (by_hub && is_light && truth > 0) {
      seen.low = truth * itself.found_low;
      seen.high = truth * itself.found_high;
    }
    require(seen, name + " itself", std::isnan(mean) ? record::kNoNumbersHint : residual_hint(itself.unit));
    if (itself.scatters)
      require({"noise", itself.axes[i], fresh.values[i].standard_deviation(), itself.unit, {}, {}, itself.noise},
              name + " itself", noise_hint(itself.unit));
  }
}

// What a lost answer leaves reads as zeros, and is not kept. Whether there was none. A service that is gone is sent
// nothing, and so loses nothing.
bool StepRun::read_after(const HeldValues& held) {
  const int lost = session_.lost_messages();
  attempt_.after = held.now(session_);
  if (session_.lost_messages() == lost && test_service_answers({})) return true;
  attempt_.after.clear();
  return false;
}

// Nothing that is not known to be good stays in the hub.
void StepRun::settle_what_stays(HeldValues& held, bool went_through) {
  if (passes(attempt_.outcome)) {
    const Span span(*this, "read back");
    attempt_.kept = read_after(held);
    if (attempt_.kept) return;
    attempt_.fail({Why::hub_silent, "the sensor hub did not answer when its values were read back", kLookAtServices});
  }
  const Span span(*this, "put back");
  held.put_back(session_, &attempt_);
  if (attempt_.put_back) attempt_.notes.emplace_back("the old values were put back and read back");
  // A step of which nothing can be read or written leaves its result behind once it went through.
  if (went_through && held.before().empty() && !held.irreversible().empty()) attempt_.kept = true;
  if (!nothing_sent_)
    for (const std::string& what : held.irreversible()) attempt_.notes.push_back("not undone: " + what);
  (void)read_after(held);
}

// Steps that only some chips have, which shows on the phone alone.
std::string StepRun::chip_problem() {
  const StepRow* step = step_.channel ? nullptr : step_of(step_.type, step_.param);
  if (step == nullptr || chip_has(session_.cal(), step_.type, *step)) return "";
  const std::string sensor = step_.type == sensor_type::proximity ? "proximity" : "distance";
  return "this phone's " + sensor + " sensor " +
         (step->chip == Chip::time_of_flight ? "is no time-of-flight part" : "measures its crosstalk by itself") +
         ": it has no step " + std::to_string(step_.param);
}

void StepRun::run_calibrate() {
  const std::string other_chip = chip_problem();
  if (!other_chip.empty()) {
    // A service that is gone tells of no chip, and a phone without the sensor has none of another kind.
    if (!session_.sensor_service_there()) {
      attempt_.fail({Why::service_gone, "the sensor service is gone; nothing was sent", kLookAtServices});
    } else if (session_.sensor(step_.type) == nullptr) {
      attempt_.fail(kNotListed);
    } else {
      attempt_.fail({Why::other_phone, other_chip + "; nothing was sent", "run the plan that is made for this phone"});
    }
    return conclude();
  }
  if (step_.channel) {
    held_.emplace(step_.type, channel_name(step_), 1);
  } else {
    held_.emplace(step_.type, step_.param, !step_.golden.empty());
  }
  std::optional<double> reference_hpa;
  if (!note(*held_) || !choose_reference(&reference_hpa)) return;
  begin_changes(*held_);
  Calibration& c = calibration_.emplace(step_, reference_hpa, &attempt_);
  if (!write_golden()) return;
  told_.takes(taking_of(c));
  {
    const Span span(*this, "sample");  // settles, samples, and sends what it found
    run_library(session_, &c);
  }
  nothing_sent_ = c.panel && c.panel->refused;
  went_through_ = c.result == 0 && !nothing_sent_;
  if (!c.run.values.empty()) attempt_.window = window_of(session_, c);
  if (!session_.interrupted()) judge_run(session_, &c);
  if (attempt_.window && c.kind != nullptr) require_scatter(*c.kind, accepted(*attempt_.window));
  if (attempt_.reasons.empty() && !session_.interrupted()) verify_calibration(c);
}

void StepRun::end_calibrate() {
  if (calibration_) {
    const Calibration& c = *calibration_;
    if (under_way_.stops(session_)) session_.switch_off();  // a run that was woken leaves its sensor on
    if (c.panel && c.panel->restored < 0) {
      attempt_.fail(
          {Why::panel_refused, "the panel's brightness could not be put back", "set the panel's brightness by hand"});
    }
    measure_run(c);
  }
  end_changes(*held_, went_through_);
}

}  // namespace factory::plan
