#include "phone/verdict.h"

#include <algorithm>
#include <cctype>

#include "files/json_text.h"
#include "sensors/stored_values.h"

namespace factory {
namespace {

constexpr int kChannels = 5;
constexpr int kPositions = 12;
constexpr int kLast = kPositions - 1;  // judged when the phone has the sensor under its display

// Which stored value decides whether a sensor is calibrated, and why it is or is not; in the order of Result.
constexpr struct {
  const char* value;
  const char* calibrated;
  const char* not_calibrated;
} kDeciding[] = {
    {"offset", "an offset is stored", "the offset is zero, as it was made"},
    {"offset", "an offset is stored", "the offset is zero, as it was made"},
    {"scale", "a scale is stored", "the scale is one, as it was made"},
    {"channel-scales", "a scale is stored", "the scale is one, as it was made"},
    {"near", "thresholds are stored", "the thresholds are 300/400 or 0/0, as they were made"},
};

struct Position {
  const Sensor* sensor = nullptr;
  bool dark = false;

  std::string name() const { return label_of(*sensor) + (dark ? " dark values" : ""); }
};

Position position_of(int number) {
  for (const Sensor& sensor : sensors()) {
    if (sensor.position == number) return {&sensor, false};
    if (sensor.dark_position == number) return {&sensor, true};
  }
  return {};
}

// Which positions the report holds a character for.
std::vector<int> enabled_positions() {
  bool flags[16] = {true, true, true, true};
  const std::string text = property("persist.vendor.sensor.cali_sensor");
  for (size_t i = 0; i < std::min(text.size(), std::size(flags)); ++i) {
    if (std::isdigit(static_cast<unsigned char>(text[i])) != 0) flags[i] = text[i] != '0';
  }
  if (property("persist.vendor.goodix.cct_support").empty() && property("persist.vendor.display.under.cct").empty())
    flags[kLast] = false;
  std::vector<int> out;
  for (int i = 0; i < kPositions; ++i) {
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
  const auto& row = kDeciding[static_cast<size_t>(position.sensor->result)];
  if (!position.dark) return calibrated ? row.calibrated : row.not_calibrated;
  const auto missing = std::find(values.begin(), values.end(), 0.0);
  return calibrated ? "all six dark values are stored"
                    : "dark value " + std::to_string(missing - values.begin() + 1) + " is missing";
}

Verdict look_at(Session& session, int number, bool calibrated) {
  const Position position = position_of(number);
  const int type = position.sensor->type;
  SensorCalibrationAPI& api = *session.cal().cal_api;
  const char* deciding = position.dark ? "dark" : kDeciding[static_cast<size_t>(position.sensor->result)].value;
  const StoredValue* value = stored_value(type, deciding);
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
