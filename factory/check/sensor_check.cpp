#include "check/sensor_check.h"

#include <SensorType.h>

#include <algorithm>
#include <chrono>
#include <cmath>

#include "sensors/sensor.h"

namespace factory {
namespace {

using ::android::hardware::sensors::V1_0::SensorFlagBits;
using ::android::hardware::sensors::V1_0::SensorInfo;
using Steady = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;
using Progress = std::function<void(double)>;

constexpr double kUsPerMs = 1000;
constexpr double kMsPerS = 1000;
constexpr double kNsPerMs = 1e6;
constexpr double kNoFastestMs = 20;
// A sensor that is quiet for so long, and two periods, will not come any more.
constexpr double kPatienceS = 2;
constexpr auto kLook = std::chrono::milliseconds(20);

constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

// How often real time fits into phone time, where sensors are slowed down.
double slowness(const Options& options) {
  const double speed = options.speed == "max" ? 1 : std::strtod(options.speed.c_str(), nullptr);
  return speed > 0 && speed < 1 ? 1 / speed : 1;
}

bool in_real_time(const Options& options) {
  return options.speed != "max" && std::fabs(std::strtod(options.speed.c_str(), nullptr) - 1) < 1e-9;
}

// What came of one enabling.
struct Enabling {
  std::vector<Sample> samples;
  double first_ms = kNotANumber;  // in real time
  int64_t last_ns = 0;            // time stamp of the last event of all
  int strangers = 0;
  std::string problem;
};

// Until samples span `seconds`, none come any more, or somebody interrupts.
Enabling enable(Session& session, const SensorInfo& sensor, double period_ms, double seconds,
                const Progress& progress) {
  Enabling out;
  const double slow = slowness(session.options());
  const double patience_s = (kPatienceS + 2 * period_ms / kMsPerS) * slow;
  const auto is_last = [first_ns = int64_t{0}, seconds](const Sample& sample) mutable {
    if (first_ns == 0) first_ns = sample.timestamp_ns;
    return sample.timestamp_ns - first_ns >= static_cast<int64_t>(seconds * 1e9);
  };
  EventFeed feed(session.cal().sensor_manager, sensor.sensorHandle, static_cast<int>(sensor.type),
                 static_cast<int>(period_ms * kUsPerMs), is_last);
  if (feed.problem()) out.problem = feed.problem()->text;
  const auto begin = Steady::now();
  auto last = begin;
  std::vector<Sample>& samples = out.samples;
  while (out.problem.empty() && !session.interrupted() && (samples.empty() || seconds_of(samples) < seconds)) {
    const std::vector<Sample> came = feed.take(kLook);
    const auto now = Steady::now();
    if (!came.empty()) last = now;
    samples.insert(samples.end(), came.begin(), came.end());
    if (Seconds(now - last).count() > patience_s) break;
    // Time stamps that stand still never fill the time.
    if (Seconds(now - begin).count() > seconds * slow + patience_s) break;
    progress(seconds_of(samples));
  }
  feed.stop();
  const std::vector<Sample> late = feed.take(std::chrono::milliseconds(0));
  if (!samples.empty()) {
    out.first_ms = std::chrono::duration<double, std::milli>(samples[0].arrival - feed.enabled_at()).count();
    out.last_ns = late.empty() ? samples.back().timestamp_ns : late.back().timestamp_ns;
  }
  out.strangers = feed.strangers();
  // At full speed many more came than were asked for.
  const std::span<const Sample> all = samples;
  size_t count = all.size();
  while (count > 2 && seconds_of(all.first(count - 1)) >= seconds) --count;
  samples.resize(count);
  return out;
}

// The recording that stands in for the sensor, as it was asked for; empty: none.
std::string recording_of(const Options& options, int type) {
  for (const std::string& text : options.replay) {
    if (parse_tag(text.substr(0, text.find('='))) == type) return text;
  }
  return "";
}

// Whether the sensor is a recording with a timing of its own.
bool keeps_own_rate(const Options& options, int type) {
  const std::string recording = recording_of(options, type);
  return !recording.empty() && recording.find(",period=requested") == std::string::npos;
}

// What the fixture says; of a phone that was recorded nobody knows how it lay.
std::vector<double> known_truth(Session& session, int type) {
  if (!recording_of(session.options(), type).empty()) return {};
  return told_by(session.fixture().world(), type);
}

// Sets the pressure of a fixture that can, and puts the old one back.
void look_at_other_pressure(Session& session, const SensorInfo& sensor, const Progress& progress, SensorCheck* check) {
  constexpr double kStepHpa = 20;  // over which relative accuracy is published
  constexpr double kSeconds = 1;
  // Errors are compared: without a truth of both there are none. A reference instrument gives one only.
  if (known_truth(session, sensor_type::pressure).empty()) return;
  Fixture& fixture = session.fixture();
  const std::string before = fixture.world()["pressure"];
  const double hpa = std::strtod(before.c_str(), nullptr);
  if (!(hpa > kStepHpa) || !fixture.set_world("pressure", std::to_string(hpa - kStepHpa)).empty()) return;
  check->seen.elsewhere.samples = enable(session, sensor, check->requested_ms, kSeconds, progress).samples;
  check->seen.elsewhere.truth = known_truth(session, sensor_type::pressure);
  fixture.set_world("pressure", before);
}

// Batches that keep within the published delay are allowed, but nobody asked for them.
void note_bursts(SensorCheck* check) {
  const std::vector<Sample>& samples = check->seen.main.samples;
  if (!check->seen.real_time || samples.size() < 2) return;
  size_t bursts = 1;
  for (size_t i = 1; i < samples.size(); ++i) {
    const std::chrono::duration<double, std::milli> pause = samples[i].arrival - samples[i - 1].arrival;
    bursts += pause.count() > check->seen.period_ms / 5 ? 1 : 0;
  }
  if (bursts * 2 > samples.size()) return;
  check->notes.push_back("events come about " + std::to_string((samples.size() + bursts / 2) / bursts) +
                         " at a time, though no batching was asked for");
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

void take_main_samples(Session& session, const SensorInfo& sensor, const CheckRequest& request,
                       const Progress& progress, SensorCheck* check) {
  Observation& seen = check->seen;
  // Where phone time does not run as real time does, the last event before the enabling tells the phone's time.
  Enabling clock;
  if (!seen.real_time) clock = enable(session, sensor, check->requested_ms, 0, progress);
  if (!seen.real_time && clock.samples.empty()) {
    check->problem = clock.problem;
    if (clock.strangers == 0) return;
  }
  const double seconds = seen.continuous ? request.seconds : 0;
  const Enabling got = enable(session, sensor, check->requested_ms, seconds, progress);
  check->problem = got.problem;
  seen.main.samples = got.samples;
  if (got.strangers > 0) {
    check->notes.push_back(std::to_string(got.strangers) + " events named another sensor or type and were left out");
  }
  if (got.samples.empty()) return;
  seen.first_sample_ms =
      seen.real_time ? got.first_ms : static_cast<double>(got.samples[0].timestamp_ns - clock.last_ns) / kNsPerMs;
  note_bursts(check);
  if (!seen.period_asked && got.samples.size() > 1) seen.period_ms = median(intervals_ms(got.samples));
}

}  // namespace

bool SensorCheck::passed() const {
  return problem.empty() && !interrupted && std::none_of(findings.begin(), findings.end(), [](const Finding& finding) {
           return finding.status == Status::failed;
         });
}

SensorCheck check_sensor(Session& session, const CheckRequest& request, const Progress& progress) {
  SensorCheck out;
  Observation& seen = out.seen;
  seen.quantity = quantity_of(request.type);
  const SensorInfo* sensor = session.sensor(request.type);
  if (sensor == nullptr) {
    out.problem = "the phone lists no such sensor; look at `sensorcal sensors`";
    return out;
  }
  out.name = sensor->name.c_str();
  const double fastest_ms = sensor->minDelay > 0 ? sensor->minDelay / kUsPerMs : kNoFastestMs;
  out.requested_ms = request.period_ms.value_or(fastest_ms);
  constexpr uint32_t kReportingMode = 0xE;
  seen.continuous = (sensor->flags & kReportingMode) == static_cast<uint32_t>(SensorFlagBits::CONTINUOUS_MODE);
  seen.max_range = static_cast<double>(sensor->maxRange);
  seen.period_ms = out.requested_ms;
  seen.period_asked = request.period_ms || !keeps_own_rate(session.options(), request.type);
  seen.real_time = in_real_time(session.options());
  take_main_samples(session, *sensor, request, progress, &out);
  seen.main.truth = known_truth(session, request.type);
  if (request.type == sensor_type::pressure) {
    if (request.reference_hpa) {
      seen.main.truth = {*request.reference_hpa};
    } else if (out.problem.empty() && !seen.main.samples.empty()) {
      look_at_other_pressure(session, *sensor, progress, &out);
    }
  }
  out.interrupted = session.interrupted();
  if (out.problem.empty() && !out.interrupted) out.findings = judge_sensor(seen);
  return out;
}

std::vector<int> checked_types(Session& session) {
  std::vector<int> out;
  for (const SensorInfo& info : session.cal().sensor_list) {
    const int type = static_cast<int>(info.type);
    const Sensor* sensor = sensor_of(type);
    if (sensor != nullptr && sensor->scatters && std::find(out.begin(), out.end(), type) == out.end())
      out.push_back(type);
  }
  return out;
}

}  // namespace factory
