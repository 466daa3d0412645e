// Attempts at fixture, verify, check and probe steps, and what all steps share.
#include "run/step_run.h"

#include <algorithm>
#include <cmath>

#include "files/json_text.h"
#include "phone/verdict.h"

namespace factory::plan {
namespace {

constexpr int kVerifySamples = 50;
constexpr double kSpareSeconds = 5;

int samples_of(const Step& step) { return step.samples > 0 ? step.samples : kVerifySamples; }

// How far a mean may be from what it should be, either way.
std::optional<double> residual_limit(const Step& step, double expected, size_t axis) {
  const std::optional<Bound>& limit = step.limits.residual;
  if (limit) return limit->at(axis) * (limit->relative ? std::fabs(expected) : 1);
  const Sensor* kind = step.kind == StepKind::calibrate ? find_kind(step.type, 0) : nullptr;
  if (kind == nullptr || kind->residual_limit <= 0) return {};
  return kind->residual_limit * (kind->limit_is_relative ? std::fabs(expected) : 1);
}

// The most noise about a mean.
std::optional<double> noise_limit_of(const Step& step, double mean, size_t axis) {
  const std::optional<Bound>& limit = step.limits.noise;
  if (limit) return limit->at(axis) * (limit->relative ? std::fabs(mean) : 1);
  const Sensor& own = *sensor_of(step.type);
  if (step.kind != StepKind::calibrate || own.noise <= 0) return {};
  return own.noise * (own.limit_is_relative ? std::fabs(mean) : 1);
}

// What the sensor should report: what the plan says, the reference, the golden values, else what the fixture is set to.
std::vector<double> expected_of(Session& session, const Step& step, const Sensor& subject,
                                std::optional<double> reference_hpa) {
  if (!step.expected.empty()) return step.expected;
  if (reference_hpa) return {*reference_hpa};
  const Sensor* kind = find_kind(step.type, 0);
  if (kind != nullptr && kind->result == Result::channel_scale)
    return golden_values(session, step, static_cast<size_t>(subject.values));
  return expected_at(session.fixture().world(), step.type);
}

// What the first samples of a step may show that the others cannot mend any more. A limit of noise that goes by the
// mean is largest at a limit of the mean.
std::vector<Within> within_of(Session& session, const Step& step, const Sensor& subject,
                              std::optional<double> reference_hpa) {
  const Sensor* kind = find_kind(step.type, 0);
  // Where it takes messages to the hub to know, it is not worth them.
  const bool in_hub = kind != nullptr && kind->result == Result::channel_scale && step.expected.empty();
  const auto expected = in_hub ? std::vector<double>() : expected_of(session, step, subject, reference_hpa);
  std::vector<Within> out(static_cast<size_t>(subject.values));
  for (size_t i = 0; i < out.size(); ++i) {
    Within& within = out[i];
    const std::optional<double> limit = i < expected.size() ? residual_limit(step, expected[i], i) : std::nullopt;
    if (limit) within = {expected[i] - *limit, expected[i] + *limit};
    if (step.kind == StepKind::verify) {
      within.low = std::max(within.low, limit_at(step.limits.low, i).value_or(within.low));
      within.high = std::min(within.high, limit_at(step.limits.high, i).value_or(within.high));
    }
    const double farthest = std::max(std::fabs(within.low), std::fabs(within.high));
    within.noise = noise_limit_of(step, farthest, i).value_or(within.noise);
    if (step.kind == StepKind::calibrate) within.noise *= std::sqrt(kBatchesMax);
  }
  return out;
}

}  // namespace

void StepRun::begin() {
  session_.log().start_run();
  lost_ = session_.lost_messages();
  constexpr void (StepRun::*kRuns[])() = {&StepRun::run_fixture, &StepRun::run_calibrate, &StepRun::run_verify,
                                          &StepRun::run_check,   &StepRun::run_probe,     &StepRun::run_write};
  (this->*kRuns[static_cast<size_t>(step_.kind)])();
}

// What others log meanwhile is theirs.
void StepRun::leave(Attempt* logged) {
  session_.log().take_lines(logged);
  left_ = true;
}

void StepRun::end() {
  look(true);
  if (left_) session_.log().start_run();
  const double looked_s = left_ && !attempt_.spans.empty() ? attempt_.spans.back().to_s : 0;
  if (held_) end_calibrate();
  attempt_.seconds = left_ ? looked_s : seconds();
  if (step_.kind != StepKind::calibrate && step_.kind != StepKind::write) {
    if (step_.limits.seconds) measure({"duration", "", attempt_.seconds, "s", {}, {}, step_.limits.seconds}, "");
    conclude();
  }
  if (attempt_.outcome == Outcome::failed) look_for_services();
}

// What failed while a service was not there may have failed for that, and says nothing of the phone.
void StepRun::look_for_services() {
  if (!session_.sensor_service_there())
    attempt_.fail({Why::service_gone, "the sensor service is gone", kLookAtServices});
  const bool changes_hub = step_.kind == StepKind::calibrate || step_.kind == StepKind::write;
  const std::string silent = changes_hub ? HubWatch::problem(session_, lost_) : "";
  if (!silent.empty()) attempt_.fail({Why::hub_silent, silent, kLookAtServices});
}

void StepRun::conclude() {
  if (session_.interrupted()) {
    if (attempt_.reasons.empty()) attempt_.fail({Why::interrupted, "interrupted"});
    attempt_.outcome = Outcome::aborted;
  } else if (attempt_.outcome == Outcome::passed &&
             std::any_of(attempt_.measurements.begin(), attempt_.measurements.end(),
                         [](const Measurement& m) { return m.outcome == Outcome::marginal; })) {
    attempt_.outcome = Outcome::marginal;
  }
}

void StepRun::measure(Measurement m, const std::string& hint) {
  attempt_.measure(std::move(m), step_.limits.marginal, hint);
}

void StepRun::run_fixture() {
  const std::map<std::string, std::string> before = session_.fixture().world();
  Fixture::Settings wanted = step_.world;
  // Nobody is asked for what is so already; a second attempt is to set it up again.
  if (attempt_.number == 1) {
    std::erase_if(wanted, [&](const auto& setting) {
      const auto found = before.find(setting.first);
      return found != before.end() && found->second == setting.second;
    });
  }
  if (wanted.empty()) return;
  const Span span(*this, "fixture");
  const Fixture::Arranged arranged = session_.fixture().arrange(wanted);
  for (const std::string& problem : arranged.problems)
    attempt_.fail({session_.interrupted() ? Why::interrupted : Why::fixture_not_set, problem});
  attempt_.notes.insert(attempt_.notes.end(), arranged.notes.begin(), arranged.notes.end());
}

std::optional<SampleRequest> request_of(Session& session, const Step& step, const Sensor& subject, int count,
                                        std::vector<Within> within) {
  const auto* sensor = session.sensor(subject.type);
  const Sensor* kind = find_kind(step.type, 0);
  if (sensor == nullptr && kind != nullptr) sensor = verified_sensor(session, *kind);
  if (sensor == nullptr) return {};
  const int period_ms = step.period_s ? static_cast<int>(std::lround(*step.period_s * 1000)) : subject.period_ms;
  return SampleRequest{.sensor = *sensor,
                       .values = subject.values,
                       .first_word = subject.first_word,
                       .period_ms = period_ms,
                       .skip = step.settle,
                       .count = count,
                       .timeout_s = static_cast<int>(kSpareSeconds + (count + step.settle) * period_ms / 1000.0),
                       .within = std::move(within)};
}

std::optional<SampleRequest> request_of(Session& session, const Step& step) {
  const Sensor& subject = *subject_of(step.type);
  return request_of(session, step, subject, samples_of(step), within_of(session, step, subject, std::nullopt));
}

void StepRun::look_at(const Sensor& subject, int count, std::function<void(const FreshSamples&)> then) {
  to_look_.push_back({subject, count, {}, std::move(then)});
}

void StepRun::look_first(const Sensor& subject, int count, std::optional<double> reference_hpa,
                         std::function<void(const FreshSamples&)> then) {
  to_look_.push_back({subject, count, within_of(session_, step_, subject, reference_hpa), std::move(then)});
}

// Takes one look after the other. False, without `wait`: samples are still to come.
bool StepRun::look(bool wait) {
  while (!to_look_.empty() && !session_.interrupted()) {
    const NextLook& next = to_look_.front();
    FreshSamples came;
    FreshLook* looks = own_look() != nullptr ? &own_look()->samples : nullptr;
    if (next.at && looks == nullptr && !look_) {
      const std::optional<SampleRequest> request = request_of(session_, step_, *next.at, next.count, next.within);
      if (request) look_.emplace(session_.cal().sensor_manager, *request);
      if (!request) came.problem = kNotListed;
    }
    if (look_) looks = &*look_;
    if (looks != nullptr) {
      if (!wait && !looks->problem() && looks->go_on()) return false;
      came = take(*looks);
      attempt_.spans.push_back({tag(), "verify", seconds_at(looks->began()), seconds_at(looks->ended())});
      look_.reset();
    }
    const auto then = std::move(to_look_.front().then);
    to_look_.pop_front();
    if (!session_.interrupted()) then(came);
  }
  to_look_.clear();
  look_.reset();
  return true;
}

// The other looks end in time, too.
FreshSamples StepRun::take(FreshLook& look) {
  return look.take(session_.interrupted(), [&] {
    for (Look& other : looks_) {
      if (&other.samples != &look) other.samples.go_on();
    }
  });
}

// How far fresh means are from what they should be, as far as that is known, within the limits of the step or the
// sensor.
std::vector<Measurement> StepRun::residuals_of(const Sensor& subject, const FreshSamples& fresh,
                                               std::optional<double> reference_hpa) {
  const int lost = session_.lost_messages();
  const std::vector<double> expected = expected_of(session_, step_, subject, reference_hpa);
  std::vector<Measurement> out;
  // What was read of a hub that did not answer is not what it should be.
  if (const Sensor* kind = find_kind(step_.type, 0);
      kind != nullptr && kind->result == Result::channel_scale && step_.expected.empty() && step_.golden.empty()) {
    const bool answered = session_.lost_messages() == lost && test_service_answers({});
    expected_lost_ = answered ? "" : HubWatch::problem(session_, lost);
    if (!expected_lost_.empty()) {
      attempt_.fail({Why::hub_silent, expected_lost_, kLookAtServices});
      return out;
    }
  }
  for (size_t i = 0; i < fresh.values.size() && i < expected.size(); ++i) {
    const double residual = fresh.values[i].mean() - expected[i];
    Measurement& m = out.emplace_back(Measurement{"residual", subject.axes[i], residual, subject.unit, fresh.error(i)});
    m.high = residual_limit(step_, expected[i], i);
    if (m.high) m.low = -*m.high;
  }
  return out;
}

// Sensors that scatter do so on every axis, wherever they are looked at. Of a look that was over early the axis that
// ended it shows so alone: another may repeat a coarse value for a while.
void StepRun::require_scatter(const Sensor& subject, const std::vector<std::vector<double>>& rows,
                              std::optional<size_t> only) {
  for (size_t i = 0; subject.scatters && !rows.empty() && i < rows[0].size(); ++i) {
    const double first = rows[0].at(i);
    const bool scatters = !std::all_of(rows.begin(), rows.end(), [&](const auto& row) { return row.at(i) == first; });
    if (scatters || only.value_or(i) != i) continue;
    attempt_.fail({Why::sensor_stuck,
                   std::string(subject.axes[i]) + ": all samples are " + plain(first) + " " + subject.unit,
                   restart_hint(record::Cause::zero_variance),
                   {subject.axes[i], plain(first)}});
  }
}

void StepRun::measure_fresh(const Sensor& subject, const FreshSamples& fresh,
                            const std::vector<Measurement>& residuals) {
  require_scatter(subject, fresh.rows, fresh.hopeless);
  for (size_t i = 0; i < fresh.values.size(); ++i) {
    const std::string axis = subject.axes[i];
    const double mean = fresh.values[i].mean();
    const double noise = fresh.values[i].standard_deviation();
    const Limits& limits = step_.limits;
    if (i < residuals.size()) {
      measure(residuals[i], residual_hint(subject.unit));
    } else if (limits.residual && expected_lost_.empty()) {
      attempt_.fail({Why::expected_unknown,
                     axis + ": what the sensor should report is not known",
                     "say so with \"expect\", or write the golden values first",
                     {axis}});
    }
    const std::optional<double> most = noise_limit_of(step_, mean, i);
    measure({"noise", axis, noise, subject.unit, noise / std::sqrt(2.0 * std::max(1, fresh.taken)), {}, most},
            noise_hint(subject.unit));
    if (step_.kind == StepKind::verify && (limits.low || limits.high)) {
      measure({"mean", axis, mean, subject.unit, fresh.error(i), limit_at(limits.low, i), limit_at(limits.high, i)},
              residual_hint(subject.unit));
    }
  }
  if (!fresh.hopeless) return;
  attempt_.notes.push_back("the look was over after " + std::to_string(fresh.taken) + " of " +
                           std::to_string(fresh.wanted) + " samples: the others could not have brought " +
                           subject.axes[*fresh.hopeless] + " within its limits");
  if (attempt_.reasons.empty()) attempt_.fail(too_few(fresh, false));
}

void StepRun::verify_near(std::optional<bool> near) {
  const std::optional<Reason> problem = near_problem(session_, near);
  if (problem && !session_.interrupted()) attempt_.fail(*problem);
}

void StepRun::run_verify() {
  if (step_.near) {
    const Span span(*this, "verify");
    return verify_near(step_.near);
  }
  const Sensor& subject = *subject_of(step_.type);
  look_first(subject, samples_of(step_), std::nullopt, [&](const FreshSamples& came) { fresh_ = came; });
  look(true);
  if (own_look() != nullptr) moment_ = own_look()->samples.ended();
  if (session_.interrupted()) return;
  if (fresh_.problem) return attempt_.fail(*fresh_.problem);
  record::Window& window = attempt_.window.emplace();
  window.unit = subject.unit;
  window.axes.assign(subject.axes, subject.axes + subject.values);
  window.period_ms = step_.period_s ? static_cast<int>(std::lround(*step_.period_s * 1000)) : subject.period_ms;
  int event = step_.settle;
  for (const std::vector<double>& row : fresh_.rows)
    window.samples.push_back({++event, row, record::SampleState::accepted});
  measure_fresh(subject, fresh_, residuals_of(subject, fresh_, std::nullopt));
}

void StepRun::run_check() {
  if (step_.report) return run_report_check();
  const Span span(*this, "read");
  HubWatch hub(session_);
  const StoredValue* value = stored_value(step_.type, step_.value);
  const Reading reading = value->read(*session_.cal().cal_api, step_.type, step_.count);
  const std::string silent = hub.problem();
  if (!silent.empty()) return attempt_.fail({Why::hub_silent, silent, kLookAtServices});
  if (reading.result != 0) {
    const std::string answer = ": the answer was " + std::to_string(reading.result);
    const std::string what = value->file != nullptr ? "/" + std::string(value->file) : "the value";
    return attempt_.fail({Why::stored_unreadable,
                          what + " cannot be read" + answer,
                          value->file != nullptr ? kFileHint : "calibrate this sensor first",
                          {step_.value}});
  }
  const Sensor* kind = find_kind(step_.type, 0);
  for (size_t i = 0; i < reading.values.size(); ++i) {
    const bool named = kind != nullptr && reading.values.size() > 1 && i < static_cast<size_t>(kind->values);
    const std::string axis = named ? kind->axes[i] : reading.values.size() > 1 ? std::to_string(i + 1) : "";
    Measurement m{step_.value, axis, reading.values[i], value->unit(step_.type), {}, {}, {}};
    m.low = limit_at(step_.limits.low, i);
    m.high = limit_at(step_.limits.high, i);
    measure(m, "calibrate this sensor first, or look why its value is unusual");
  }
}

void StepRun::run_report_check() {
  constexpr char kOtherReport[] =
      "look at the phone's property persist.vendor.sensor.cali_sensor, and whether the plan is for it";
  const Span span(*this, "read");
  const Report report = make_report(session_);
  if (!report.warning.empty()) return attempt_.fail({Why::hub_silent, report.warning, kLookAtServices});
  for (const Verdict& verdict : report.verdicts) {
    const bool wanted =
        step_.positions.empty() || std::count(step_.positions.begin(), step_.positions.end(), verdict.sensor) != 0;
    if (wanted && !verdict.calibrated) {
      attempt_.fail({Why::not_calibrated,
                     verdict.sensor + " is not calibrated: " + verdict.holds + "; " + verdict.why,
                     !verdict.listed ? kNotListed.hint
                     : verdict.told  ? "calibrate " + verdict.sensor
                                     : kOtherReport,
                     {verdict.sensor}});
    }
  }
  for (const std::string& sensor : step_.positions) {
    const bool there = std::any_of(report.verdicts.begin(), report.verdicts.end(),
                                   [&](const Verdict& verdict) { return verdict.sensor == sensor; });
    if (there) continue;
    attempt_.fail({Why::not_calibrated, "this phone's report has no position for " + sensor, kOtherReport, {sensor}});
  }
  attempt_.notes.push_back("the report is " + report.text);
}

void StepRun::run_probe() {
  const Span span(*this, "probe");
  const auto row =
      std::find_if(probes().begin(), probes().end(), [&](const Probe& probe) { return step_.probe == probe.name; });
  const int answer = (session_.cal().*row->ask)();
  // Without the service each answer is "no such sensor".
  if (answer == step_.answer && answer >= 0) return;
  if (!session_.sensor_service_there())
    return attempt_.fail({Why::service_gone, "the sensor service is gone", kLookAtServices});
  if (answer == step_.answer) return;
  attempt_.fail({answer == Probe::kNoService ? Why::service_gone : Why::probe_differs,
                 "the probe " + step_.probe + " says '" + probe_text(answer) + "' where '" + probe_text(step_.answer) +
                     "' is expected",
                 "another chip is fitted than the plan is for, or its driver was not loaded",
                 {step_.probe, probe_text(answer), probe_text(step_.answer)}});
}

}  // namespace factory::plan
