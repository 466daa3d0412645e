#include "calibration.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace factory {
namespace {

using ::android::hardware::sensors::V1_0::SensorInfo;

constexpr int kFinished = 2;
constexpr int kFreshSamples = 50;
constexpr int kFreshSkip = 3;

// A run whose samples scatter more than this was not at rest, though the library's own limits let it pass.
struct RestLimit {
  const char* unit;
  double deviation;
};
constexpr RestLimit kRestLimits[] = {{"m/s^2", 0.2}, {"rad/s", 0.02}, {"hPa", 0.2}};

std::string axis_name(const Kind& kind, int axis) {
  return axis >= 0 && axis < kind.values ? kind.axes[axis] : "axis " + std::to_string(axis);
}

std::string plain(double value) {
  char text[40];
  snprintf(text, sizeof text, "%.4g", value);
  return text;
}

std::string times(size_t count) { return count == 1 ? "once" : std::to_string(count) + " times"; }

// The restart in words: "y: mean 6.57 m/s^2 is above the limit of 2 m/s^2".
std::string describe(const Restart& restart, const Kind& kind) {
  const std::string axis = axis_name(kind, restart.axis);
  const std::string unit = kind.unit;
  switch (restart.cause) {
    case Restart::Cause::variance:
      return axis + ": variance " + plain(restart.value) + " (" + unit + ")^2 is above the limit of " +
             plain(restart.limit) + " (" + unit + ")^2";
    case Restart::Cause::zero_variance:
      return axis + ": all samples were exactly equal (variance 0)";
    case Restart::Cause::bias:
      return axis + ": mean " + plain(restart.value) + " " + unit + " is above the limit of " + plain(restart.limit) +
             " " + unit;
  }
  return axis;
}

const char* hint_for(Restart::Cause cause) {
  switch (cause) {
    case Restart::Cause::variance:
      return "the phone moves or the source flickers: set it down still and try again";
    case Restart::Cause::zero_variance:
      return "the sensor repeats one value: it is stuck, or its driver does not update it";
    case Restart::Cause::bias:
      return "the phone does not lie as it should (flat for an accelerometer, still for a gyroscope, right lamp or "
             "target), or the sensor is out of range";
  }
  return "";
}

// Why the library returned a failure, from what it logged.
void explain(Session& session, Calibration* c) {
  const RunLog& run = c->run;
  if (c->interrupted) {
    c->reasons.emplace_back("interrupted");
    return;
  }
  if (c->kind != nullptr && session.sensor(c->kind->sampled_type) == nullptr) {
    c->reasons.push_back("the phone lists no sensor of type " + std::to_string(c->kind->sampled_type) + " (" +
                         tag_of(c->kind->sampled_type) + ")");
    c->hints.emplace_back("look at `sensorcal sensors`");
  } else if (run.no_queue) {
    c->reasons.emplace_back("the sensor service gave no event queue");
  } else if (run.enable_failed) {
    c->reasons.emplace_back("the sensor could not be enabled");
  } else if (run.timed_out && run.events == 0) {
    c->reasons.emplace_back("no event came from the sensor until the time was over");
    c->hints.emplace_back("the sensor is silent: look at its connection and its driver");
  } else if (run.timed_out && !run.restarts.empty()) {
    const Restart& last = run.restarts.back();
    c->reasons.push_back("no window of samples passed until the time was over; the run restarted " +
                         times(run.restarts.size()) + ", last " + describe(last, *c->kind));
    c->hints.emplace_back(hint_for(last.cause));
  } else if (run.timed_out) {
    c->reasons.push_back("only " + std::to_string(run.events) + " events came until the time was over");
    c->hints.emplace_back("the sensor is slow, or fell silent in the middle");
  } else if (!run.errors.empty()) {
    std::string line = run.errors.back();
    // The dispatch repeats the failure without saying more.
    if (line.find("continue_reporting_sensor_calibrate fail") == 0 && run.errors.size() > 1) {
      line = run.errors[run.errors.size() - 2];
    }
    c->reasons.push_back("the library says: " + line.substr(0, line.find('\n')));
  } else {
    c->reasons.push_back("the library returned " + std::to_string(c->result));
  }
}

void read_record(Session& session, Calibration* c) {
  const _sensor_info& record = record_of(session.cal(), *c->kind);
  c->samples = record.status == kFinished ? record.sample_count : 0;
  for (int i = 0; i < c->kind->values; ++i) {
    Axis axis;
    axis.name = c->kind->axes[i];
    axis.found = static_cast<double>(record.mean[i]);
    axis.standard_deviation = std::sqrt(std::max(0.0, static_cast<double>(record.variance[i])));
    c->axes.push_back(axis);
  }
}

// Fresh samples after a calibration, against the truth where it is known.
void compare_with_truth(Session& session, Calibration* c) {
  const Kind& kind = *c->kind;
  const SensorInfo* sensor = session.sensor(kind.sampled_type);
  if (sensor == nullptr || kind.result != Result::offset) return;
  SampleRequest request;
  request.handle = sensor->sensorHandle;
  request.type = kind.sampled_type;
  request.values = kind.values;
  request.first_word = kind.first_word;
  request.period_ms = kind.period_ms;
  request.skip = kFreshSkip;
  request.count = kFreshSamples;
  const FreshSamples fresh = take_samples(session.cal().sensor_manager, request, session.interrupted());
  c->fresh_problem = fresh.problem;
  if (!fresh.problem.empty()) return;
  const std::vector<float> truth = session.fixture().truth(kind.sampled_type);
  for (size_t i = 0; i < c->axes.size(); ++i) {
    c->axes[i].fresh = fresh.values[i].mean();
    c->axes[i].fresh_deviation = fresh.values[i].standard_deviation();
    if (i < truth.size()) c->axes[i].truth = static_cast<double>(truth[i]) + 0.0;  // no -0
  }
}

void judge_axis(const Kind& kind, const Axis& axis, Calibration* c) {
  if (!std::isfinite(axis.found)) {
    c->reasons.push_back(axis.name + ": the mean is not a number");
    c->hints.emplace_back("the sensor delivers values that are no numbers");
  }
  const std::optional<double> residual = axis.residual();
  // Written so that not-a-number never passes.
  if (residual && kind.residual_limit > 0 && !(std::fabs(*residual) <= kind.residual_limit)) {
    const double error = axis.fresh_deviation / std::sqrt(kFreshSamples);
    c->reasons.push_back(axis.name + ": fresh samples are off by " + plain(*residual) + " +/- " + plain(error) + " " +
                         kind.unit + ", limit " + plain(kind.residual_limit) + " " + kind.unit);
    c->hints.emplace_back("the phone moved during the run: set it down still and try again");
  }
  for (const RestLimit& limit : kRestLimits) {
    if (std::string(kind.unit) == limit.unit && axis.standard_deviation > limit.deviation) {
      c->notes.push_back(axis.name + ": the samples scatter by " + plain(axis.standard_deviation) + " " + kind.unit +
                         ", far more than a sensor at rest (" + plain(limit.deviation) +
                         "): the phone was moving, do not trust this offset");
    }
  }
}

void judge(Session& session, Calibration* c) {
  if (c->result != 0 || c->interrupted) {
    explain(session, c);
  } else if (c->kind != nullptr) {
    for (const Axis& axis : c->axes) judge_axis(*c->kind, axis, c);
    if (!c->fresh_problem.empty()) c->notes.push_back("no residual: " + c->fresh_problem);
    if (c->fresh_problem.empty() && !c->axes.empty() && c->axes[0].fresh && !c->axes[0].truth) {
      c->notes.emplace_back("the truth is not known under a recording: no residual");
    }
  }
  std::sort(c->hints.begin(), c->hints.end());
  c->hints.erase(std::unique(c->hints.begin(), c->hints.end()), c->hints.end());
  c->passed = c->reasons.empty();
}

// An interrupted run leaves the hub's old offset in place: where the new one got in before the interruption, the old
// one is written back.
void put_back_offset(Session& session, float* before, Calibration* c) {
  float now[3] = {};
  session.cal().cal_api->getAMGOffset_api(c->type, now);
  if (std::equal(now, now + 3, before)) return;
  session.cal().cal_api->setAMGOffset_api(c->type, before);
  c->put_back = true;
}

void switch_off(Session& session) {
  if (session.cal().event_queue == nullptr) return;
  for (const SensorInfo& info : session.cal().sensor_list) {
    (void)session.cal().event_queue->disableSensor(info.sensorHandle).isOk();
  }
}

}  // namespace

std::optional<double> Axis::residual() const {
  if (!fresh || !truth) return std::nullopt;
  return *fresh - *truth;
}

Calibration calibrate(Session& session, int type, int param) {
  Calibration c;
  c.type = type;
  c.param = param;
  c.kind = find_kind(type);
  SensorCalibration& cal = session.cal();
  const bool inertial = c.kind != nullptr && c.kind->result == Result::offset && c.kind->values == 3;
  float before[3] = {};
  if (inertial) cal.cal_api->getAMGOffset_api(type, before);

  session.log().start_run();
  const auto start = std::chrono::steady_clock::now();
  c.result = cal.sensor_calibrate(type, param);
  c.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  c.run = session.log().run();
  c.interrupted = session.interrupted();

  if (c.interrupted) {
    switch_off(session);
    if (inertial) put_back_offset(session, before, &c);
  } else if (c.result == 0 && c.kind != nullptr) {
    read_record(session, &c);
    compare_with_truth(session, &c);
  }
  judge(session, &c);
  return c;
}

}  // namespace factory
