#include "phone/verdict.h"

#include <algorithm>
#include <cctype>

#include "files/json_text.h"
#include "files/numbers.h"
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

constexpr char kFlags[] = "persist.vendor.sensor.cali_sensor";

// Whether the report can hold a character for the last position.
bool has_last() {
  return !property("persist.vendor.goodix.cct_support").empty() ||
         !property("persist.vendor.display.under.cct").empty();
}

// Whether the report holds a character for a position.
bool is_enabled(int number) {
  constexpr int kUsual = 4;  // where the property says nothing
  const std::string text = property(kFlags);
  const char flag = static_cast<size_t>(number) < text.size() ? text[static_cast<size_t>(number)] : '\0';
  const bool on = std::isdigit(static_cast<unsigned char>(flag)) != 0 ? flag != '0' : number < kUsual;
  return on && (number != kLast || has_last());
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
  const auto [low, high] = value->range(type);
  const auto possible = [low = low, high = high](double held) { return held >= low && held <= high; };
  verdict.calibrated = false;
  if (reading.result != 0) {
    verdict.why = "the hub answered " + std::to_string(reading.result) +
                  ": the report then judges the value of the position before";
  } else if (!std::all_of(reading.values.begin(), reading.values.end(), possible)) {
    verdict.why = std::string("no ") + value->name + " can be so, whatever the report says: it goes from " +
                  plain(low) + " to " + plain(high);
  } else {
    verdict.calibrated = calibrated;
    verdict.why = reason(position, calibrated, reading.values);
  }
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
  size_t told = 0;
  for (int number = 0; number < kPositions; ++number) {
    const bool enabled = is_enabled(number) && told < report.text.size();
    // What the phone has and its report leaves out is not known to be calibrated.
    const bool listed = session.sensor(position_of(number).sensor->type) != nullptr;
    if (!enabled && (!listed || (number == kLast && !has_last()))) continue;
    report.verdicts.push_back(look_at(session, number, enabled && report.text[told++] == '1'));
    Verdict& verdict = report.verdicts.back();
    verdict.listed = session.can_sample(verdict.type);
    if (!verdict.listed) {
      verdict.calibrated = false;
      verdict.why = "the phone lists no such sensor";
    }
    if (enabled) continue;
    const std::string flags = property(kFlags);
    verdict.calibrated = verdict.told = false;
    verdict.why = std::string("the phone's report leaves it out: ") + kFlags + " is " +
                  (flags.empty() ? "not set" : "'" + flags + "'");
  }
  report.warning = hub.problem();
  return report;
}

}  // namespace factory
