#include "run/calibration.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "run/panel.h"

namespace factory {
namespace {

using ::android::hardware::sensors::V1_0::SensorInfo;

constexpr int kFinished = 2;
constexpr int kGoldenParam = -1;
constexpr int kGoldenChannels = 7;

bool hub_runs_colour(int type) {
  return type == sensor_type::cct_f_stream && !property("persist.vendor.goodix.cct_support").empty();
}

// Rounding may leave a variance just below zero; what is not a number stays so.
double deviation_of(float variance) { return variance < 0 ? 0 : std::sqrt(static_cast<double>(variance)); }

void read_record(Session& session, Calibration* c) {
  const _sensor_info& record = record_of(session.cal(), *c->kind);
  c->samples = record.sample_count;
  const int values = c->golden ? kGoldenChannels : c->kind->values;
  for (int i = 0; i < values; ++i) {
    Axis axis;
    axis.name = c->kind->axes[i];
    axis.found = static_cast<double>(record.mean[i]);
    axis.standard_deviation = deviation_of(record.variance[i]);
    c->axes.push_back(axis);
  }
  if (c->kind->result == Result::lux_scale) c->axes[0].scale = static_cast<double>(record.coefficient);
}

// The scales that the hub now holds.
void read_channel_scales(Session& session, Calibration* c) {
  if (c->axes.empty()) {
    for (int i = 0; i < c->kind->values; ++i) c->axes.emplace_back().name = c->kind->axes[i];
  }
  float scales[kGoldenChannels] = {};
  if (session.cal().cal_api->getLuxChannelScale_api(c->request.type, scales, c->kind->values) < 0) return;
  for (int i = 0; i < c->kind->values; ++i) c->axes[static_cast<size_t>(i)].scale = static_cast<double>(scales[i]);
}

// A lamp run sees the panel's light too.
void darken_for_lamp(Session& session, const Calibration& c) {
  const bool lamp =
      c.kind != nullptr && (c.kind->result == Result::lux_scale || c.kind->result == Result::channel_scale);
  if (lamp) darken_panel(session);
}

// Nothing counts where the hub did not answer since `hub` was made.
void believe(HubWatch& hub, Calibration* c) {
  const std::string problem = hub.problem();
  if (problem.empty()) return;
  c->unheard = true;
  c->reasons.push_back({record::Why::hub_silent, problem + ", so that the result does not count", kLookAtServices});
}

double ask_library(Session& session, const CalibrationRequest& request) {
  SensorCalibration& cal = session.cal();
  if (!request.reference_hpa) return cal.sensor_calibrate(request.type, request.param);
  return cal.sensor_setconfig(request.type, request.param, static_cast<float>(*request.reference_hpa));
}

}  // namespace

void switch_off(Session& session) {
  if (session.cal().event_queue == nullptr) return;
  for (const SensorInfo& info : session.cal().sensor_list) {
    (void)session.cal().event_queue->disableSensor(info.sensorHandle).isOk();
  }
}

Calibration prepare(const CalibrationRequest& request) {
  Calibration c;
  c.request = request;
  c.kind = find_kind(request.type, request.param);
  c.in_hub = c.kind != nullptr && hub_runs_colour(request.type);
  c.golden = c.kind != nullptr && c.kind->result == Result::channel_scale && request.param == kGoldenParam;
  return c;
}

void run_library(Session& session, Calibration* c) {
  darken_for_lamp(session, *c);
  HubWatch hub(session);
  session.log().start_run();
  if (!hub.answered()) {
    c->result = -1;
    return believe(hub, c);
  }
  const auto start = session.since_start();
  c->result = is_panel_run(c->request.param) ? run_at_panel(session, c) : ask_library(session, c->request);
  c->seconds = (session.since_start() - start).count();
  if (!c->panel) c->run = session.log().run();
  c->interrupted = session.interrupted();
  if (c->interrupted || c->result != 0) return;
  believe(hub, c);
  if (c->kind == nullptr) return;
  if (!c->in_hub && record_of(session.cal(), *c->kind).status == kFinished) read_record(session, c);
  if (c->kind->result == Result::channel_scale && !c->golden) read_channel_scales(session, c);
}

void run_channel(Session& session, int channel, double target, bool screen, Calibration* c) {
  HubWatch hub(session);
  session.log().start_run();
  if (!hub.answered()) {
    c->result = -1;
    return believe(hub, c);
  }
  const auto start = session.since_start();
  const auto counts = static_cast<float>(target);
  c->result = screen ? session.cal().cal_api->postScreenChannelData_api(c->request.type, channel, counts)
                     : session.cal().sensor_calibrate(c->request.type, channel, counts);
  c->seconds = (session.since_start() - start).count();
  c->run = session.log().run();
  c->interrupted = session.interrupted();
  if (c->result == 0 && !c->interrupted) believe(hub, c);
}

}  // namespace factory
