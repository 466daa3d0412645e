#include "check/sensor_check.h"

#include <SensorType.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>

#include "check/limits.h"
#include "files/numbers.h"
#include "sensors/sensor.h"

namespace factory {
namespace {

using ::android::hardware::sensors::V1_0::SensorFlagBits;
using ::android::hardware::sensors::V1_0::SensorInfo;
using record::Attempt;
using record::Reason;
using record::Why;
using Steady = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;
using Progress = std::function<void(double)>;

constexpr double kUsPerMs = 1000;
constexpr double kMsPerS = 1000;
constexpr double kNsPerMs = 1e6;
constexpr double kNoFastestMs = 20;
// A sensor that is quiet for so long, and two periods, will not come any more.
constexpr double kPatienceS = 2;

// What came of one enabling.
struct Enabling {
  std::vector<Sample> samples;
  double first_ms = 0;  // in real time
  int strangers = 0;
  std::optional<Reason> problem;
};

// Until samples span `seconds`, none come any more, or somebody interrupts.
Enabling enable(Session& session, const SensorInfo& sensor, double period_ms, double seconds,
                const Progress& progress) {
  // How often real time fits into phone time, where sensors are slowed down.
  const double slow = std::max(1.0, 1 / pace_of(session.options()));
  const double patience_s = (kPatienceS + 2 * period_ms / kMsPerS) * slow;
  const auto is_last = [first_ns = int64_t{0}, seconds](const Sample& sample) mutable {
    if (first_ns == 0) first_ns = sample.timestamp_ns;
    return sample.timestamp_ns - first_ns >= static_cast<int64_t>(seconds * 1e9);
  };
  EventFeed feed(session.cal().sensor_manager, sensor, period_ms, is_last);
  Enabling out;
  std::vector<Sample>& samples = out.samples;
  feed.follow(session.interrupted(), [&](const std::vector<Sample>& came, Seconds quiet) {
    samples.insert(samples.end(), came.begin(), came.end());
    progress(seconds_of(samples));
    // Time stamps that stand still never fill the time.
    const Seconds enabled = Steady::now() - feed.enabled_at();
    const bool over = quiet.count() > patience_s || enabled.count() > seconds * slow + patience_s;
    return !over && (samples.empty() || seconds_of(samples) < seconds);
  });
  feed.stop();
  if (!samples.empty())
    out.first_ms = std::chrono::duration<double, std::milli>(samples[0].arrival - feed.enabled_at()).count();
  out.strangers = feed.strangers();
  out.problem = feed.problem();
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
Take look_at_other_pressure(Session& session, const SensorInfo& sensor, double period_ms, const Progress& progress) {
  constexpr double kStepHpa = 20;  // over which relative accuracy is published
  constexpr double kSeconds = 1;
  Take out;
  // Errors are compared: without a truth of both there are none. A reference instrument gives one only.
  if (known_truth(session, sensor_type::pressure).empty()) return out;
  Fixture& fixture = session.fixture();
  const std::string before = fixture.world()["pressure"];
  const double hpa = std::strtod(before.c_str(), nullptr);
  if (!(hpa > kStepHpa) || !fixture.set_world("pressure", std::to_string(hpa - kStepHpa)).empty()) return out;
  out.samples = enable(session, sensor, period_ms, kSeconds, progress).samples;
  out.truth = known_truth(session, sensor_type::pressure);
  fixture.set_world("pressure", before);
  return out;
}

// Batches that keep within the published delay are allowed, but nobody asked for them.
std::string note_of_bursts(const Observation& seen) {
  const std::vector<Sample>& samples = seen.main.samples;
  if (!seen.real_time || samples.size() < 2) return "";
  size_t bursts = 1;
  for (size_t i = 1; i < samples.size(); ++i) {
    const std::chrono::duration<double, std::milli> pause = samples[i].arrival - samples[i - 1].arrival;
    bursts += pause.count() > seen.period_ms / 5 ? 1 : 0;
  }
  if (bursts * 2 > samples.size()) return "";
  return "events come about " + std::to_string((samples.size() + bursts / 2) / bursts) +
         " at a time, though no batching was asked for";
}

Observation observe(Session& session, const SensorInfo& sensor, const CheckRequest& request, const Progress& progress,
                    Attempt* attempt) {
  Observation seen;
  seen.sensor = events_of(request.type);
  constexpr uint32_t kReportingMode = 0xE;
  seen.continuous = (sensor.flags & kReportingMode) == static_cast<uint32_t>(SensorFlagBits::CONTINUOUS_MODE);
  seen.max_range = static_cast<double>(sensor.maxRange);
  seen.real_time = std::fabs(pace_of(session.options()) - 1) < 1e-9;
  const double asked_ms = request.period_ms.value_or(sensor.minDelay > 0 ? sensor.minDelay / kUsPerMs : kNoFastestMs);
  seen.period_ms = asked_ms;
  seen.period_asked = request.period_ms || !keeps_own_rate(session.options(), request.type);
  // Where phone time does not run as real time does, the last event before the enabling tells the phone's time.
  const Enabling clock = seen.real_time ? Enabling() : enable(session, sensor, asked_ms, 0, progress);
  const bool silent = !seen.real_time && clock.samples.empty();
  const double seconds = seen.continuous ? request.seconds : 0;
  const Enabling got = silent ? clock : enable(session, sensor, asked_ms, seconds, progress);
  if (got.problem) attempt->fail(*got.problem);
  if (got.strangers > 0) {
    attempt->notes.push_back(std::to_string(got.strangers) + " events named another sensor or type and were left out");
    if (got.samples.empty()) attempt->fail({Why::sensor_silent, "no event came but of other sensors", kMixedUpHint});
  }
  seen.main = {got.samples, known_truth(session, request.type)};
  if (got.samples.empty()) return seen;
  seen.first_sample_ms =
      seen.real_time ? got.first_ms
                     : static_cast<double>(got.samples[0].timestamp_ns - clock.samples.back().timestamp_ns) / kNsPerMs;
  if (const std::string note = note_of_bursts(seen); !note.empty()) attempt->notes.push_back(note);
  if (!seen.period_asked && got.samples.size() > 1) seen.period_ms = median(intervals_ms(got.samples));
  if (request.type == sensor_type::pressure && request.reference_hpa) {
    seen.main.truth = {*request.reference_hpa};
  } else if (request.type == sensor_type::pressure) {
    seen.elsewhere = look_at_other_pressure(session, sensor, asked_ms, progress);
  }
  return seen;
}

}  // namespace

Attempt check_sensor(Session& session, const CheckRequest& request, const Progress& progress) {
  Attempt out;
  out.started = session.now();
  const SensorInfo* sensor = session.sensor(request.type);
  if (sensor == nullptr) {
    out.fail(kNotListed);
    return out;
  }
  out.notes.push_back("the phone lists it as " + std::string(sensor->name.c_str()));
  const Observation seen = observe(session, *sensor, request, progress, &out);
  if (session.interrupted()) {
    out.fail({Why::interrupted, "interrupted"});
  } else if (!seen.main.samples.empty()) {
    out.measure({"events", "", static_cast<double>(seen.main.samples.size()), ""}, 0, "");
    out.measure({"period", "", seen.period_ms, "ms"}, 0, "");
    judge_sensor(seen, &out);
  } else if (out.reasons.empty()) {
    out.fail({Why::sensor_silent, "no event came", kSilentHint});
  }
  if (out.outcome == record::Outcome::failed && !session.sensor_service_there())
    out.fail({Why::service_gone, "the sensor service is gone", kLookAtServices});
  out.seconds = std::chrono::duration<double>(session.now() - out.started).count();
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
