#include "records.h"

#include <cmath>
#include <limits>
#include <random>

#include "files/time_text.h"

namespace records {
namespace {

using namespace factory::record;  // NOLINT(google-build-using-namespace): all that is made here

constexpr auto kNone = std::nullopt;
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

Measurement measured(const char* name, const char* axis, double value, const char* unit, std::optional<double> low,
                     std::optional<double> high, Outcome outcome) {
  std::optional<double> error;
  if (std::isfinite(value)) error = std::fabs(value) / 30 + 0.00001;
  return {name, axis, value, unit, error, low, high, outcome};
}

Attempt attempt(int number, Outcome outcome, double seconds, std::vector<Measurement> measurements = {}) {
  Attempt out;
  out.number = number;
  out.started = *factory::parse_iso_time("2026-03-02T08:15:00.250Z");
  out.seconds = seconds;
  out.outcome = outcome;
  out.measurements = std::move(measurements);
  return out;
}

Step step(int index, const char* name, const char* kind, const char* tag, Outcome outcome,
          std::vector<Attempt> attempts) {
  Step out;
  out.index = index;
  out.name = name;
  out.kind = kind;
  out.group = *tag == '\0' ? "" : "at rest";
  out.tag = tag;
  if (out.kind == "calibrate") out.param = 0;
  out.outcome = outcome;
  out.attempts = std::move(attempts);
  return out;
}

struct Signal {
  const char* unit;
  std::vector<std::string> axes;
  std::vector<double> means;
  double noise;
  double bias_limit;
  int period_ms;
};

Window window(const Signal& signal) {
  return {signal.unit, signal.axes, signal.period_ms, std::vector<double>(signal.axes.size(), signal.bias_limit),
          {},          {}};
}

void add_samples(const Signal& signal, int count, SampleState state, double extra_noise, Window* to) {
  std::mt19937 random(to->samples.size() + 7U);  // the same on every machine; its distributions are not
  const auto noise = [&] { return static_cast<double>(random() >> 8) / (1 << 24) * 2 - 1; };
  for (int i = 0; i < count; ++i) {
    Sample sample{static_cast<int>(to->samples.size()) + 1, {}, state};
    for (const double mean : signal.means) sample.values.push_back(mean + noise() * (signal.noise + extra_noise));
    to->samples.push_back(sample);
  }
}

void restart(Cause cause, const char* axis, double value, double limit, Attempt* of) {
  of->window->restarts.push_back({static_cast<int>(of->window->samples.size()), cause, axis, value, limit});
  ++of->restarts[static_cast<int>(cause)];
}

void values(const char* name, const char* unit, const std::vector<double>& before, const std::vector<double>& after,
            Attempt* to) {
  to->before.push_back({name, unit, before});
  to->after.push_back({name, unit, after});
}

void traffic(const char* tag, Attempt* to) {
  HubMessage message;
  message.time = "2026-03-02T08:15:01.123456Z";
  message.tag = tag;
  message.command = "set_offset";
  message.request = {{0, 0.0271F}, {1, 3}};
  message.answered = true;
  to->hub.push_back(message);
  message.answered = false;
  message.note = "the hub is silent";
  to->hub.push_back(message);
  to->log = {{3, "libsensor_calapi", "set offset enter", false},
             {6, "libsensor_cal", "Variance exceeded, restarting algorithm. index: 0", true},
             {4, "libsensor_cal", "calibration done\n", false}};
}

const Signal kAcc = {"m/s^2", {"x", "y", "z"}, {0.027, -0.154, -0.203}, 0.015, 2, 20};
const Signal kGyr = {"rad/s", {"x", "y", "z"}, {-0.0193, -0.0076, 0.0156}, 0.0008, 0.1, 20};
const Signal kLight = {"lux", {"light"}, {212}, 3, 1000, 100};
const Signal kColour = {"counts", {"c1", "c2", "c3", "c4", "c5"}, {4100, 2900, 1750, 820, 3300}, 20, 20000, 100};

Attempt good_attempt(int number, const char* tag, const Signal& signal, std::vector<Measurement> measurements) {
  Attempt out = attempt(number, Outcome::passed, 1.07, std::move(measurements));
  out.window = window(signal);
  add_samples(signal, 3, SampleState::settling, signal.noise * 3, &*out.window);
  add_samples(signal, 50, SampleState::accepted, 0, &*out.window);
  values("offset", signal.unit, {0, 0, 0}, signal.means, &out);
  out.kept = true;
  traffic(tag, &out);
  return out;
}

// The window starts anew again and again.
Attempt moving_attempt(int number, const char* tag, const Signal& signal, double shaking) {
  Attempt out = attempt(number, Outcome::failed, 5,
                        {measured("offset", "x", -0.412, signal.unit, -2, 2, Outcome::passed),
                         measured("noise", "x", 0.48, signal.unit, kNone, 0.05, Outcome::failed),
                         measured("residual", "y", kNan, signal.unit, -0.02, 0.02, Outcome::failed)});
  out.reasons = {{"noise",
                  {tag, "x", "0.48", "0.05", "m/s^2"},
                  std::string(tag) + " x: noise 0.48 +/- 0.016 m/s^2, limit 0.05 m/s^2"},
                 "the run restarted 3 times: 2 for variance, 1 for bias"};
  out.hints = {"the phone moves: set it down still and try again"};
  out.window = window(signal);
  add_samples(signal, 3, SampleState::settling, shaking, &*out.window);
  for (const Cause cause : {Cause::variance, Cause::bias, Cause::variance}) {
    add_samples(signal, 50, SampleState::discarded, shaking, &*out.window);
    restart(cause, "x", 0.231, cause == Cause::bias ? signal.bias_limit : 0.05, &out);
  }
  add_samples(signal, 50, SampleState::accepted, shaking / 3, &*out.window);
  values("offset", signal.unit, {0.01, -0.15, -0.2}, {0.01, -0.15, -0.2}, &out);
  out.put_back = true;
  out.log_dropped = 12;
  out.spans = {{tag, "samples", 2.5, 6.75}};
  traffic(tag, &out);
  return out;
}

Attempt stuck_attempt() {
  Signal stuck = kGyr;
  stuck.noise = 0;
  Attempt out = attempt(1, Outcome::failed, 5);
  out.reasons = {"Gyr x: all samples were equal (variance 0); the run restarted twice"};
  out.hints = {"the sensor repeats one value: it is stuck, or its driver does not update it"};
  out.window = window(stuck);
  for (int i = 0; i < 2; ++i) {
    add_samples(stuck, 53, SampleState::discarded, 0, &*out.window);
    restart(Cause::zero_variance, "x", 0, 0, &out);
  }
  out.window->samples.back().values[1] = kNan;
  return out;
}

Attempt light_attempt(double scale_limit, Outcome outcome) {
  Attempt out = attempt(1, outcome, 2.1,
                        {measured("scale", "light", 0.943, "", 0.8, scale_limit, outcome),
                         measured("residual", "light", 4.6, "lux", -10, 10, Outcome::marginal)});
  Signal far = kLight;
  far.bias_limit = 220;
  out.window = window(far);
  add_samples(far, 1, SampleState::settling, 20, &*out.window);
  add_samples(far, 9, SampleState::accepted, 0, &*out.window);
  values("scale", "", {1}, {0.943}, &out);
  out.irreversible = {"the light scale, which the hub does not give back"};
  out.kept = outcome != Outcome::failed;
  return out;
}

Run header(Outcome outcome) {
  Run out;
  out.outcome = outcome;
  out.serial = "K7-2026-000481";
  out.station = "line 3, station 2";
  out.operator_name = "M. Okafor";
  out.started = *factory::parse_iso_time("2026-03-02T08:15:00.120Z");
  out.seconds = 42.725;
  out.plan.name = "Reference plan";
  out.plan.file = "plans/reference.json";
  out.plan.sha256 = "9f86d081884c7d659a2feaa0c55ad015a3bf4f1b2b0b822cd15d6c15b0f00a08";
  out.application = {"0.1.0", "a35c0de1f04b7719"};
  out.library = {"0.1.0", "77b1e0c2d4a35f60"};
  out.phone.facts = {{"directory", "/srv/stations/3-2/phone"}, {"profile", "reference"}, {"seed", "7"}};
  out.phone.properties = {
      {"ro.product.device", "reference"},
      {"ro.product.model", "Reference One"},
      {"ro.build.fingerprint", "maker/reference/reference:14/UP1A.231005.007/42:user/release-keys"}};
  return out;
}

}  // namespace

Run passed() {
  Run out = header(Outcome::passed);
  out.steps = {step(1, "Lay the phone flat", "fixture", "", Outcome::passed, {attempt(1, Outcome::passed, 0.02)}),
               step(2, "Accelerometer offset", "calibrate", "Acc", Outcome::passed,
                    {moving_attempt(1, "Acc", kAcc, 0.4),
                     good_attempt(2, "Acc", kAcc,
                                  {measured("offset", "x", 0.0271, "m/s^2", -2, 2, Outcome::passed),
                                   measured("residual", "x", -0.0013, "m/s^2", -0.02, 0.02, Outcome::passed),
                                   measured("residual", "y", -0.00096, "m/s^2", -0.02, 0.02, Outcome::passed),
                                   measured("noise", "x", 0.0052, "m/s^2", kNone, 0.05, Outcome::passed)})}),
               step(3, "Light scale", "calibrate", "Light", Outcome::marginal, {light_attempt(1.2, Outcome::passed)}),
               step(4, "Rear colour", "verify", "cct-b-stream", Outcome::passed,
                    {good_attempt(1, "cct-b-stream", kColour,
                                  {measured("residual", "c1", 0.012, "", -0.05, 0.05, Outcome::passed)})})};
  return out;
}

Run failed() {
  Run out = header(Outcome::failed);
  out.remarks = {"Acc: the recording walk.csv has 3 gaps over 60 ms", "the light sensor plays a recording"};
  Attempt silent = attempt(1, Outcome::failed, 5);
  silent.reasons = {"Bar: no event came from the sensor until the time was over"};
  silent.hints = {"the sensor is silent: look at its connection and its driver"};
  Attempt dark = light_attempt(0.9, Outcome::failed);
  dark.reasons = {"Light: scale 0.943, at most 0.9"};
  out.steps = {step(1, "Lay the phone flat", "fixture", "", Outcome::passed, {attempt(1, Outcome::passed, 0.02)}),
               step(2, "Accelerometer offset", "calibrate", "Acc", Outcome::failed,
                    {moving_attempt(1, "Acc", kAcc, 0.9), moving_attempt(2, "Acc", kAcc, 2.4)}),
               step(3, "Gyroscope offset", "calibrate", "Gyr", Outcome::failed, {stuck_attempt()}),
               step(4, "Barometer offset", "calibrate", "Bar", Outcome::failed, {silent}),
               step(5, "Light scale", "calibrate", "Light", Outcome::failed, {dark}),
               step(6, "Proximity thresholds", "calibrate", "Prox", Outcome::skipped, {})};
  return out;
}

Run error() {
  Run out = header(Outcome::error);
  Attempt lost = attempt(1, Outcome::error, 1.2);
  lost.reasons = {"the sensor hub's service did not answer, so that the result does not count"};
  lost.hints = {"look at the phone's services, then repeat"};
  out.steps = {step(1, "Lay the phone flat", "fixture", "", Outcome::passed, {attempt(1, Outcome::passed, 0.02)}),
               step(2, "Accelerometer offset", "calibrate", "Acc", Outcome::error, {lost}),
               step(3, "Gyroscope offset", "calibrate", "Gyr", Outcome::skipped, {})};
  return out;
}

std::string hostile_text() {
  return std::string(
             "</script><script>alert('x')</script>\"&<!-- ]]> \xE2\x80\xA8 \xE2\x80\xAE \xC3\xA4\xF0\x9F\x93\xB1 "
             "\xC0\xAF \xED\xA0\x80 \xEF\xBF\xBF \xFF\x01\x1B[31m\x7F,\r\n=1+1\t../../etc/passwd ") +
         std::string(1, '\0') + "end";
}

Run with_text_everywhere(const std::string& text) {
  Run out = failed();
  out.remarks.push_back(text);
  out.phone.properties[text] = text;
  for (std::string* part : {&out.serial, &out.station, &out.operator_name, &out.lot, &out.retest_of, &out.plan.name,
                            &out.plan.version, &out.plan.file, &out.plan.sha256})
    *part = text;
  Step& one = out.steps[1];
  for (std::string* part : {&one.name, &one.kind, &one.group, &one.tag, &one.sensor}) *part = text;
  Attempt& last = one.attempts[1];
  last.reasons.push_back(text);
  last.hints.push_back(text);
  last.notes.push_back(text);
  last.spans.push_back({text, text, 0, 1});
  for (std::string* part : {&last.measurements[0].name, &last.measurements[0].axis, &last.measurements[0].unit,
                            &last.window->unit, &last.window->axes[0], &last.window->restarts[0].axis,
                            &last.before[0].name, &last.before[0].unit, &last.hub[0].time, &last.hub[0].tag,
                            &last.hub[0].command, &last.hub[0].note, &last.log[0].tag, &last.log[0].text})
    *part = text;
  return out;
}

}  // namespace records
