#include "run/calibration.h"

#include <cutils/properties.h>

#include <algorithm>
#include <chrono>
#include <cmath>

#include "phone/fixture_needs.h"
#include "phone/held_values.h"
#include "phone/hub_watch.h"
#include "run/panel.h"

namespace factory {
namespace {

using ::android::hardware::sensors::V1_0::SensorInfo;

constexpr int kFinished = 2;
constexpr int kGoldenParam = -1;
constexpr int kGoldenChannels = 7;

bool hub_runs_colour(int type) {
  char value[PROPERTY_VALUE_MAX];
  return type == sensor_type::cct_f_stream && property_get("persist.vendor.goodix.cct_support", value, "") > 0;
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

// What did not pass does not stay: the hub's old values are written back and read again.
void put_back(Session& session, const HeldValues& held, Calibration* c) {
  const HeldValues::PutBack back = held.put_back(session);
  c->put_back = back.needed && back.done;
  for (const std::string& problem : back.problems) c->notes.push_back("not put back: " + problem);
  // A level of the panel cannot be read: what the hub took of it has changed.
  const bool level_sent = c->panel && c->result == 0 && !c->panel->refused;
  if (!back.needed && !level_sent) return;
  for (const std::string& what : held.irreversible()) c->notes.push_back("cannot be put back: " + what);
}

// A lamp run sees the panel's light too.
void darken_for_lamp(Session& session, Calibration* c) {
  const bool lamp =
      c->kind != nullptr && (c->kind->result == Result::lux_scale || c->kind->result == Result::channel_scale);
  if (lamp && darken_panel(session)) c->fixture.emplace_back("panel dark");
}

double ask_library(Session& session, const CalibrationRequest& request) {
  SensorCalibration& cal = session.cal();
  if (!request.reference_hpa) return cal.sensor_calibrate(request.type, request.param);
  return cal.sensor_setconfig(request.type, request.param, static_cast<float>(*request.reference_hpa));
}

// A barometer is calibrated against a reference: the one given, else the one that the fixture knows.
void choose_reference(Session& session, Calibration* c) {
  if (c->request.type != sensor_type::pressure || c->kind == nullptr || c->request.reference_hpa) return;
  const std::string known = session.fixture().world()["pressure"];
  if (known.empty()) throw AppError(kUsage, "Bar: give the pressure of the reference barometer with --reference HPA");
  c->request.reference_hpa = std::strtod(known.c_str(), nullptr);
  c->fixture.push_back("reference=" + known + " hPa");
}

}  // namespace

std::optional<double> Axis::residual() const {
  if (!fresh || !truth) return std::nullopt;
  return *fresh - *truth;
}

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

void believe(HubWatch& hub, Calibration* c) {
  const std::string problem = hub.problem();
  if (problem.empty()) return;
  c->reasons.push_back(problem + ", so that the result does not count");
  c->hints.emplace_back(kLookAtServices);
}

void run_library(Session& session, Calibration* c) {
  darken_for_lamp(session, c);
  HubWatch hub(session);
  session.log().start_run();
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

Calibration calibrate(Session& session, const CalibrationRequest& request) {
  Calibration c = prepare(request);
  const FixtureSetUp fixture = set_up_fixture(session, request.type, request.param);
  c.fixture = fixture.set;
  c.reasons = fixture.problems;
  c.interrupted = session.interrupted();
  if (c.interrupted || !c.reasons.empty()) return c;
  choose_reference(session, &c);
  HeldValues held(request.type, request.param, c.golden);
  const std::string problem = held.note(session);
  if (!problem.empty()) {
    c.unreachable = true;
    c.reasons.push_back(problem + "; nothing was changed");
    c.hints.emplace_back(kLookAtServices);
    return c;
  }
  run_library(session, &c);
  if (c.interrupted) {
    switch_off(session);
  } else if (c.result == 0 && c.kind != nullptr) {
    verify(session, &c);
    c.interrupted = session.interrupted();  // the new values are in the hub by now, but not known to be good
  }
  judge(session, &c);
  if (!c.passed) put_back(session, held, &c);
  c.unreachable = !c.passed && !c.interrupted && !session.sensor_service_answers();
  return c;
}

}  // namespace factory
