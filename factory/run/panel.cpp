// The panel: its brightness, and the runs that measure its own light.

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "phone/sampler.h"
#include "run/calibration.h"

namespace factory::plan {
namespace {

using ::android::hardware::sensors::V1_0::SensorInfo;
using record::Why;

constexpr int kLow = 14;
constexpr char kPanelHint[] = "something else sets the panel's brightness, or limits it";
constexpr double kPlainLimitLux = 1;
constexpr double kSteadyShare = 0.05;  // of the panel's light, on top of it: the noise that a level may have

int read_node(Session& session, const char* path) {
  int value = -1;
  return session.cal().lcdbacklight_calibrate_read_backlight(path, &value) == 0 ? value : -1;
}

bool is_colour_run() { return !property("persist.vendor.sensor.cct_need_lcdbacklight_cali").empty(); }

// A panel of one lux at full has no lower level: the library makes it 0, and that is right.
bool is_faint() {
  const double full = std::strtod(property("sys.backlight.lux").c_str(), nullptr);
  return full > 0 && full < 2;
}

// Mean of the plain light sensor at one brightness; nothing, and a reason, where it cannot be taken.
std::optional<double> plain_light(Session& session, const SensorInfo& sensor, int brightness, const std::string& where,
                                  Calibration* c) {
  if (!set_panel_brightness(session, brightness)) {
    c->attempt.fail({Why::panel_refused, "not verified: " + where + ": the panel did not take it", kPanelHint});
    return std::nullopt;
  }
  const FreshSamples fresh =
      take_samples(session.cal().sensor_manager, {.sensor = sensor, .count = 5}, session.interrupted());
  if (session.interrupted()) return std::nullopt;
  if (fresh.problem) {
    record::Reason reason = *fresh.problem;
    reason.text.insert(0, "not verified: " + where + ": ");
    c->attempt.fail(reason);
    return std::nullopt;
  }
  const double mean = fresh.values[0].mean();
  if (std::isfinite(mean)) {
    c->attempt.measure({where, "light", mean, "lux"}, 0, "");
    return mean;
  }
  c->attempt.fail({Why::sensor_no_number, "not verified: " + where + " is not a number", kNoNumbersHint});
  return std::nullopt;
}

// Once both levels are stored the plain light value no longer depends on the panel.
void look_at_plain_light(Session& session, Calibration* c) {
  const bool main_light = c->step.type == sensor_type::light;
  const SensorInfo* sensor = session.sensor(main_light ? sensor_type::light : sensor_type::lux_pri2);
  const int maximum = panel_maximum(session);
  if (sensor == nullptr)
    return c->attempt.fail(
        {Why::sensor_absent, "not verified: the phone lists no plain light sensor", "look at `sensorcal sensors`"});
  if (maximum < 0) {
    return c->attempt.fail({Why::panel_refused, "not verified: the panel's greatest brightness cannot be read",
                            "look at /sys/class/leds/lcd-backlight"});
  }
  const auto bright = plain_light(session, *sensor, maximum, "plain light at full brightness", c);
  if (!bright) return;  // the other one would fail alike
  const auto dim = plain_light(session, *sensor, maximum / 4, "plain light at a quarter of it", c);
  if (!dim) return;
  const double difference = *bright - *dim;
  if (std::fabs(difference) <= kPlainLimitLux) return;
  c->attempt.fail({Why::panel_followed,
                   "plain light still follows the panel: " + plain(difference) +
                       " lux between full and quarter brightness, limit " + plain(kPlainLimitLux) + " lux",
                   "run 13 and then 14 of this sensor in the dark box, with no other sensor's 13 in between"});
}

// A run that came to its end: numbers, and light of the panel.
void judge_level(Calibration* c) {
  const Panel& panel = *c->panel;
  const auto finite = [](double value) { return std::isfinite(value); };
  if (c->run.events_of_no_number > 0) {
    return c->attempt.fail({Why::sensor_no_number,
                            std::to_string(c->run.events_of_no_number) + " of " + std::to_string(c->run.events) +
                                " events are not numbers",
                            kNoNumbersHint});
  }
  if (!std::all_of(panel.found.begin(), panel.found.end(), finite))
    return c->attempt.fail({Why::sensor_no_number, "the level found is not a number", kNoNumbersHint});
  if (!panel.colour && panel.deviation > kPlainLimitLux + kSteadyShare * panel.found[0]) {
    return c->attempt.fail({Why::value_outside,
                            "the panel's light of " + plain(panel.found[0]) + " lux is unsteady: noise " +
                                plain(panel.deviation) + " lux, limit " +
                                plain(kPlainLimitLux + kSteadyShare * panel.found[0]) + " lux",
                            "the sensor is noisy, or other light comes in: close the dark box and repeat"});
  }
  const bool lit = std::any_of(panel.found.begin(), panel.found.end(), [](double value) { return value > 0; });
  if (lit || (c->step.param == kLow && !panel.colour && is_faint())) return;
  c->attempt.fail({Why::panel_dark,
                   "the sensor sees no light of the panel at brightness " + std::to_string(panel.brightness),
                   "the sensor is stuck or covered, the panel is dark, or 14 was run without 13 before it"});
}

// Levels are stored for a brightness. Another one than the panel's full brightness would be taken for it.
std::string maximum_problem(Session& session, const Step& step) {
  const int maximum = panel_maximum(session);
  if (maximum < 1) return "the panel's greatest brightness cannot be read";
  const std::string named = "the panel names " + std::to_string(maximum) + " as its greatest brightness, and ";
  if (step.brightness && *step.brightness != maximum) return named + "the plan " + std::to_string(*step.brightness);
  return set_panel_brightness(session, maximum + 1) ? named + "takes more" : "";
}

// The library's levels: full brightness; or three quarters of it, or three to five eighths.
bool is_level(int param, int brightness, int maximum) {
  if (param != kLow) return brightness == maximum;
  const int levels[] = {maximum - maximum / 4, maximum * 3 / 8, maximum * 4 / 8, maximum * 5 / 8};
  return std::count(std::begin(levels), std::end(levels), brightness) != 0;
}

}  // namespace

const _sensor_info& panel_record(Session& session, int type) {
  return session.cal().env_info[type == sensor_type::light ? 1 : 7];
}

int panel_brightness(Session& session) { return read_node(session, "/sys/class/leds/lcd-backlight/brightness"); }

int panel_maximum(Session& session) { return read_node(session, "/sys/class/leds/lcd-backlight/max_brightness"); }

bool set_panel_brightness(Session& session, int brightness) {
  return session.cal().SetBrightness(brightness) == 0 && panel_brightness(session) == brightness;
}

void darken_panel(Session& session) {
  const int before = panel_brightness(session);
  if (before > 0 && set_panel_brightness(session, 0)) session.restore_brightness_at_end(before);
}

double run_at_panel(Session& session, Calibration* c) {
  const int before = panel_brightness(session);
  Panel panel;
  const std::string wrong = maximum_problem(session, c->step);
  session.log().start_run();
  const int result = wrong.empty() ? session.cal().sensor_calibrate(c->step.type, c->step.param) : 0;
  c->run = session.log().run();

  panel.brightness = panel_brightness(session);
  panel.colour = is_colour_run();
  panel.refused = !wrong.empty() ||
                  (result == 0 && std::any_of(c->run.errors.begin(), c->run.errors.end(), [](const std::string& line) {
                     return line.find("brightness matching check failed") != std::string::npos;
                   }));
  const _sensor_info& record = panel_record(session, c->step.type);
  panel.finished = !panel.refused && record.status == kRunFinished;
  if (panel.finished) {
    const int values = panel.colour ? 5 : 1;
    panel.found.assign(record.mean, record.mean + values);
    panel.deviation = std::sqrt(std::max(0.0, static_cast<double>(record.variance[0])));
  }
  c->panel = panel;
  const bool judged = result == 0 && panel.finished && !session.interrupted();
  if (!wrong.empty()) {
    c->attempt.fail({Why::panel_refused, wrong + ": nothing was sent to the hub",
                     "look at /sys/class/leds/lcd-backlight/max_brightness, and whether the plan is for this panel"});
  } else if (panel.refused) {
    c->attempt.fail({Why::panel_refused,
                     "the panel did not take the brightness that was set: nothing was sent to the hub", kPanelHint});
  } else if (result == 0 && !is_level(c->step.param, panel.brightness, panel_maximum(session))) {
    c->attempt.fail(
        {Why::panel_refused,
         "the panel was left at brightness " + std::to_string(panel.brightness) + ", which is no level of this step",
         kPanelHint});
  } else if (judged) {
    judge_level(c);
  }
  for (size_t i = 0; c->run.events_of_no_number == 0 && i < panel.found.size(); ++i) {
    const std::string axis = panel.colour ? "c" + std::to_string(i + 1) : "light";
    c->attempt.measure({"panel light", axis, panel.found[i], panel.colour ? "counts" : "lux"}, 0, "");
  }
  if (judged && c->step.param == kLow && c->attempt.reasons.empty()) look_at_plain_light(session, c);
  if (before >= 0 && set_panel_brightness(session, before)) c->panel->restored = before;
  return result;
}

}  // namespace factory::plan
