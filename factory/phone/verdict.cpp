#include "phone/verdict.h"

#include <cutils/properties.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <iterator>

#include "files/json_text.h"
#include "phone/hub_watch.h"
#include "sensors/stored_values.h"

namespace factory {
namespace {

constexpr int kChannels = 5;

// What the library looks at in each position of its report.
enum class Rule { zero_offset, unit_scale, proximity, dark };

struct Position {
  const char* sensor;
  int type;
  const char* value;  // name of the stored value
  Rule rule;
  int looked_at;  // how many values decide
};

constexpr Position kPositions[] = {
    {"Acc", sensor_type::accelerometer, "offset", Rule::zero_offset, 3},
    {"Gyr", sensor_type::gyroscope, "offset", Rule::zero_offset, 3},
    {"Lux", sensor_type::light, "scale", Rule::unit_scale, 1},
    {"Prx", sensor_type::proximity, "near", Rule::proximity, 2},
    {"Lux dark values", sensor_type::light, "dark", Rule::dark, 6},
    {"Lux_B", sensor_type::lux_b, "scale", Rule::unit_scale, 1},
    {"SAR 1", sensor_type::sar, "offset", Rule::zero_offset, 2},
    {"SAR 2", sensor_type::sar_second, "offset", Rule::zero_offset, 2},
    {"Bar", sensor_type::pressure, "offset", Rule::zero_offset, 1},
    {"CCT_F_strm", sensor_type::cct_f_stream, "channel-scales", Rule::unit_scale, 3},
    {"CCT_B_strm", sensor_type::cct_b_stream, "channel-scales", Rule::unit_scale, 3},
    {"33171007", sensor_type::light_stream, "channel-scales", Rule::unit_scale, 3},
};
constexpr int kLast = 11;  // judged when the phone has the sensor under its display
static_assert(std::size(kPositions) == kLast + 1, "the report has these positions, with the same numbers");

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
  switch (position.rule) {
    case Rule::zero_offset:
      return calibrated ? "an offset is stored" : "the offset is zero, as it was made";
    case Rule::unit_scale:
      return calibrated ? "a scale is stored" : "the scale is one, as it was made";
    case Rule::proximity:
      return calibrated ? "thresholds are stored" : "the thresholds are 300/400 or 0/0, as they were made";
    case Rule::dark: {
      const auto missing = std::find(values.begin(), values.end(), 0.0);
      return calibrated ? "all six dark values are stored"
                        : "dark value " + std::to_string(missing - values.begin() + 1) + " is missing";
    }
  }
  return "";
}

Verdict look_at(Session& session, int number, bool calibrated) {
  const Position& position = kPositions[number];
  SensorCalibrationAPI& api = *session.cal().cal_api;
  const StoredValue* value = stored_value(position.type, position.value);
  const int count = value->count == 0 ? kChannels : value->count;
  const Reading reading = value->read(api, position.type, count);
  Verdict verdict;
  verdict.position = number;
  verdict.sensor = position.sensor;
  verdict.holds = position.value + std::string(" ") + numbers(reading.values) + " " + value->unit(position.type);
  if (position.rule == Rule::proximity) {
    const Reading far = stored_value(position.type, "far")->read(api, position.type, 1);
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
  for (const Position& position : kPositions) out.emplace_back(position.sensor);
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
