#include "phone/verdict.h"

#include <cutils/properties.h>

#include <algorithm>
#include <cctype>
#include <cmath>

#include "files/json_text.h"
#include "phone/hub_watch.h"
#include "sensors/stored_values.h"

namespace factory {
namespace {

constexpr int kChannels = 5;

constexpr int kPositions = 12;
constexpr int kLast = 11;  // judged when the phone has the sensor under its display

struct Position {
  const Sensor* sensor = nullptr;
  bool dark = false;

  std::string name() const { return label_of(*sensor) + (dark ? " dark values" : ""); }
  // Name of the stored value that decides.
  const char* value() const {
    switch (sensor->result) {
      case Result::lux_scale:
        return dark ? "dark" : "scale";
      case Result::channel_scale:
        return "channel-scales";
      case Result::proximity:
        return "near";
      case Result::offset:
      case Result::none:
        return "offset";
    }
    return "";
  }
};

Position position_of(int number) {
  for (const Sensor& sensor : sensors()) {
    if (sensor.position == number) return {&sensor, false};
    if (sensor.dark_position == number) return {&sensor, true};
  }
  return {};
}

bool is_set(const char* property) {
  char value[PROPERTY_VALUE_MAX];
  return property_get(property, value, "") > 0;
}

// Which positions the report holds a character for.
std::vector<int> enabled_positions() {
  bool flags[16] = {true, true, true, true};
  char text[PROPERTY_VALUE_MAX];
  const int length = property_get("persist.vendor.sensor.cali_sensor", text, "");
  for (int i = 0; i < std::min(length, 16); ++i) {
    if (std::isdigit(static_cast<unsigned char>(text[i])) != 0) flags[i] = text[i] != '0';
  }
  flags[kLast] =
      flags[kLast] && (is_set("persist.vendor.goodix.cct_support") || is_set("persist.vendor.display.under.cct"));
  std::vector<int> out;
  for (int i = 0; i <= kLast; ++i) {
    if (flags[i]) out.push_back(i);
  }
  return out;
}

std::string numbers(const std::vector<double>& values) {
  std::string out;
  for (const double value : values) {
    out += (out.empty() ? "" : "  ") + number_text(json_number(static_cast<float>(value)));
  }
  return out;
}

std::string reason(const Position& position, bool calibrated, const std::vector<double>& values) {
  if (position.dark) {
    const auto missing = std::find(values.begin(), values.end(), 0.0);
    return calibrated ? "all six dark values are stored"
                      : "dark value " + std::to_string(missing - values.begin() + 1) + " is missing";
  }
  switch (position.sensor->result) {
    case Result::lux_scale:
    case Result::channel_scale:
      return calibrated ? "a scale is stored" : "the scale is one, as it was made";
    case Result::proximity:
      return calibrated ? "thresholds are stored" : "the thresholds are 300/400 or 0/0, as they were made";
    case Result::offset:
    case Result::none:
      return calibrated ? "an offset is stored" : "the offset is zero, as it was made";
  }
  return "";
}

Verdict look_at(Session& session, int number, bool calibrated) {
  const Position position = position_of(number);
  const int type = position.sensor->type;
  SensorCalibrationAPI& api = *session.cal().cal_api;
  const StoredValue* value = stored_value(type, position.value());
  const int count = value->count == 0 ? kChannels : value->count;
  const Reading reading = value->read(api, type, count);
  Verdict verdict;
  verdict.position = number;
  verdict.type = type;
  verdict.sensor = position.name();
  verdict.holds = value->name + std::string(" ") + numbers(reading.values) + " " + value->unit(type);
  if (position.sensor->result == Result::proximity) {
    const Reading far = stored_value(type, "far")->read(api, type, 1);
    verdict.holds = "near " + numbers(reading.values) + ", far " + numbers(far.values) + " counts";
  }
  verdict.calibrated = calibrated;
  verdict.why = reading.result != 0 ? "the hub answered " + std::to_string(reading.result) +
                                          ": the report then judges the value of the position before"
                                    : reason(position, calibrated, reading.values);
  return verdict;
}

}  // namespace

std::vector<std::string> report_sensors() {
  std::vector<std::string> out;
  for (int number = 0; number < kPositions; ++number) out.push_back(position_of(number).name());
  return out;
}

Report make_report(Session& session) {
  Report report;
  HubWatch hub(session);
  report.text = session.cal().GetCalibrated();
  const std::vector<int> positions = enabled_positions();
  for (size_t i = 0; i < positions.size() && i < report.text.size(); ++i) {
    report.verdicts.push_back(look_at(session, positions[i], report.text[i] == '1'));
  }
  report.warning = hub.problem();
  return report;
}

}  // namespace factory
