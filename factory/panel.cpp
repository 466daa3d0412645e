#include "panel.h"

#include <cutils/properties.h>

#include <cmath>

#include "calibration.h"
#include "sampler.h"

namespace factory {
namespace {

using ::android::hardware::sensors::V1_0::SensorInfo;

constexpr int kLow = 14;
constexpr int kFinished = 2;
constexpr double kPlainLimitLux = 1;

int read_node(Session& session, const char* path) {
  int value = -1;
  return session.cal().lcdbacklight_calibrate_read_backlight(path, &value) == 0 ? value : -1;
}

bool is_colour_run() {
  char value[PROPERTY_VALUE_MAX];
  return property_get("persist.vendor.sensor.cct_need_lcdbacklight_cali", value, "") > 0;
}

// Mean of the plain light sensor at one brightness.
std::optional<double> plain_light(Session& session, const SensorInfo& sensor, int brightness) {
  if (!set_panel_brightness(session, brightness)) return std::nullopt;
  SampleRequest request;
  request.handle = sensor.sensorHandle;
  request.type = static_cast<int>(sensor.type);
  request.period_ms = 100;
  request.count = 5;
  const FreshSamples fresh = take_samples(session.cal().sensor_manager, request, session.interrupted());
  if (!fresh.problem.empty()) return std::nullopt;
  return fresh.values[0].mean();
}

// Once both levels are stored the plain light value no longer depends on the panel.
void look_at_plain_light(Session& session, int type, Panel* panel) {
  const int plain_type = type == sensor_type::light ? sensor_type::light : sensor_type::lux_pri2;
  const SensorInfo* sensor = session.sensor(plain_type);
  const int maximum = panel_maximum(session);
  if (sensor == nullptr || maximum < 0) return;
  panel->plain_bright = plain_light(session, *sensor, maximum);
  panel->plain_dim = plain_light(session, *sensor, maximum / 4);
}

void judge_panel(Calibration* c) {
  const Panel& panel = *c->panel;
  for (const std::string& line : c->run.errors) {
    if (line.find("brightness matching check failed") == std::string::npos) continue;
    c->reasons.emplace_back("the panel did not take the brightness that was set: nothing was sent to the hub");
    c->hints.emplace_back("something else sets the panel's brightness, or limits it");
  }
  if (!panel.plain_bright || !panel.plain_dim) return;
  const double difference = *panel.plain_bright - *panel.plain_dim;
  if (std::fabs(difference) <= kPlainLimitLux) return;
  c->reasons.push_back("plain light still follows the panel: " + plain(difference) +
                       " lux between full and quarter brightness, limit " + plain(kPlainLimitLux) + " lux");
  c->hints.emplace_back("run 13 and then 14 of this sensor in the dark box, with no other sensor's 13 in between");
}

}  // namespace

int panel_brightness(Session& session) { return read_node(session, "/sys/class/leds/lcd-backlight/brightness"); }

int panel_maximum(Session& session) { return read_node(session, "/sys/class/leds/lcd-backlight/max_brightness"); }

bool set_panel_brightness(Session& session, int brightness) {
  return session.cal().SetBrightness(brightness) == 0 && panel_brightness(session) == brightness;
}

bool darken_panel(Session& session) {
  const int before = panel_brightness(session);
  if (before <= 0 || !set_panel_brightness(session, 0)) return false;
  session.restore_brightness_at_end(before);
  return true;
}

double run_at_panel(Session& session, Calibration* c) {
  SensorCalibration& cal = session.cal();
  const int before = panel_brightness(session);
  session.log().start_run();
  const int result = cal.sensor_calibrate(c->request.type, c->request.param);
  c->run = session.log().run();

  Panel panel;
  panel.level = c->request.param;
  panel.brightness = panel_brightness(session);
  panel.colour = is_colour_run();
  const _sensor_info& record = c->request.type == sensor_type::light ? cal.env_info[1] : cal.env_info[7];
  if (record.status == kFinished) {
    const int values = panel.colour ? 5 : 1;
    panel.found.assign(record.mean, record.mean + values);
  }
  if (result == 0 && panel.level == kLow && !session.interrupted()) {
    look_at_plain_light(session, c->request.type, &panel);
  }
  if (before >= 0 && set_panel_brightness(session, before)) panel.restored = before;
  c->panel = panel;
  judge_panel(c);
  return result;
}

}  // namespace factory
