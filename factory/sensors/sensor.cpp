#include "sensors/sensor.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string_view>

#include "files/app_error.h"
#include "files/json_text.h"
#include "files/words.h"

namespace factory {
namespace {

using namespace sensor_type;  // NOLINT(google-build-using-namespace): the table below is nothing but these names

constexpr double kFlat[] = {0, 0, kGravity};
constexpr double kStill[] = {0, 0, 0};
constexpr double kLamp[] = {200};

// What sensors of one sort share.
constexpr Sensor kAccelerometer = {.unit = "m/s^2",
                                   .axes = {"x", "y", "z"},
                                   .values = 3,
                                   .period_ms = 20,
                                   .scatters = true,
                                   .limits = Published::accelerometer,
                                   .result = Result::offset,
                                   .events = 53,
                                   .residual_limit = 0.02,
                                   .found_low = -1,
                                   .found_high = 1,
                                   .offset_limit = 2,
                                   .noise = 0.05,
                                   .rest_noise = 0.2,
                                   .at_fixture = kFlat,
                                   .steps = Steps::accelerometer,
                                   .stores = Stored::inertial_offset};
constexpr Sensor kGyroscope = {.unit = "rad/s",
                               .axes = {"x", "y", "z"},
                               .values = 3,
                               .period_ms = 20,
                               .scatters = true,
                               .limits = Published::gyroscope | Published::calibrated_gyroscope,
                               .result = Result::offset,
                               .events = 53,
                               .residual_limit = 0.00035,
                               .found_low = -0.1,
                               .found_high = 0.1,
                               .offset_limit = 0.5,
                               .noise = 0.005,
                               .rest_noise = 0.02,
                               .at_fixture = kStill,
                               .steps = Steps::gyroscope,
                               .stores = Stored::inertial_offset};
constexpr Sensor kBarometer = {.unit = "hPa",
                               .axes = {"pressure"},
                               .period_ms = 50,
                               .scatters = true,
                               .limits = Published::barometer,
                               .result = Result::offset,
                               .events = 13,
                               .residual_limit = 0.12,
                               .found_low = -3,
                               .found_high = 3,
                               .offset_limit = 100,
                               .noise = 0.12,
                               .rest_noise = 0.2,
                               .steps = Steps::pressure,
                               .stores = Stored::pressure_offset};
constexpr Sensor kLight = {.unit = "lux",
                           .axes = {"light"},
                           .stimulus = "lux",
                           .result = Result::lux_scale,
                           .events = 10,
                           .residual_limit = 0.05,
                           .limit_is_relative = true,
                           .found_low = 0.5,
                           .found_high = 2,
                           .noise = 0.01,
                           .rest_noise = 0.01,
                           .at_fixture = kLamp,
                           .steps = Steps::lux_scale | Steps::light,
                           .stores = Stored::scale};
constexpr Sensor kColour = {.unit = "counts",
                            .axes = {"c1", "c2", "c3", "c4", "c5", "c6", "c7"},
                            .values = 5,
                            .stimulus = "lux",
                            .result = Result::channel_scale,
                            .events = 10,
                            .residual_limit = 0.05,
                            .limit_is_relative = true,
                            .found_low = 0.5,
                            .found_high = 2,
                            .noise = 0.01,
                            .rest_noise = 0.01,
                            .steps = Steps::channels | Steps::light,
                            .stores = Stored::channel_scales | Stored::golden};
constexpr Sensor kRotation = {.unit = "rad/s", .axes = {"x", "y", "z"}, .values = 3, .period_ms = 20, .scatters = true};
constexpr Sensor kMagnetometer = {
    .unit = "uT", .axes = {"x", "y", "z"}, .values = 3, .period_ms = 20, .scatters = true};
constexpr char kOwnLamp[] = "its chip measures by the light of its own lamp, which other chips see";
constexpr char kOwnField[] = "its chip measures by a field of its own, which the other SAR chip sees";
constexpr Sensor kProximity = {.unit = "counts",
                               .axes = {"reflection"},
                               .stimulus = "target",
                               .shows = "cm",
                               .alone = kOwnLamp,
                               .result = Result::proximity,
                               .verified_type = proximity_stream,
                               .events = 20,
                               .steps = Steps::proximity | Steps::tof | Steps::tof_crosstalk,
                               .stores = Stored::thresholds};
constexpr Sensor kReflection = {.unit = "counts", .axes = {"reflection"}, .alone = kOwnLamp};
constexpr Sensor kDistance = {.unit = "mm",
                              .axes = {"distance"},
                              .stimulus = "target",
                              .alone = kOwnLamp,
                              .residual_limit = 5,
                              .offset_limit = 1000,
                              .steps = Steps::tof,
                              .stores = Stored::tof_offset};
constexpr Sensor kSar = {.unit = "counts",
                         .axes = {"c1", "c2", "c3"},
                         .values = 3,
                         .stimulus = "target",
                         .alone = kOwnField,
                         .residual_limit = 20,
                         .offset_limit = 65535,
                         .steps = Steps::sar,
                         .stores = Stored::sar_offset | Stored::chip_register};

// What one of them has of its own replaces what they share, or adds to it.
constexpr Sensor row(Sensor sensor, const Sensor& own) {
  sensor.type = own.type;
  sensor.words = own.words;
  sensor.label = own.label;
  sensor.record = own.record;
  sensor.position = own.position;
  sensor.dark_position = own.dark_position;
  sensor.upside_down = own.upside_down;
  sensor.first_word = own.first_word;
  sensor.limits |= own.limits;
  sensor.steps |= own.steps;
  sensor.stores |= own.stores;
  sensor.has_channels = own.has_channels;
  if (own.verified_type != 0) sensor.verified_type = own.verified_type;
  if (sensor.verified_type == 0) sensor.verified_type = sensor.type;
  sensor.used_type = own.used_type != 0 ? own.used_type : sensor.type;
  return sensor;
}

constexpr unsigned kColours = Stored::channel_scales | Stored::golden;
constexpr unsigned kMainLight = Stored::dark | Stored::scale_file | Stored::panel_versions;

constexpr Sensor kSensors[] = {
    row(kAccelerometer, {.type = accelerometer, .words = "accelerometer", .record = 0, .position = 0}),
    row(kAccelerometer, {.type = accelerometer_second, .words = "accelerometer 2", .record = 4, .upside_down = true}),
    // Sampled ahead of the hub's run-time bias, which would hide an error.
    row(kGyroscope,
        {.type = gyroscope, .words = "gyroscope", .record = 1, .position = 1, .verified_type = gyroscope_uncalibrated}),
    row(kGyroscope, {.type = gyroscope_second, .words = "gyroscope 2", .record = 7, .upside_down = true}),
    row(kRotation, {.type = gyroscope_uncalibrated,
                    .words = "raw gyroscope",
                    .record = 3,
                    .limits = Published::gyroscope,
                    .used_type = gyroscope}),
    row(kMagnetometer, {.type = magnetic_field, .words = "magnetometer"}),
    row(kMagnetometer, {.type = 14, .words = "raw magnetometer", .used_type = magnetic_field}),
    row(kBarometer, {.type = pressure, .words = "barometer", .record = 17, .position = 8}),
    row(kLight, {.type = light,
                 .words = "light",
                 .record = 9,
                 .position = 2,
                 .dark_position = 4,
                 .steps = Steps::under_panel | Steps::panel_levels,
                 .stores = kMainLight,
                 .has_channels = true}),
    row(kLight, {.type = lux_f, .words = "light F", .record = 10}),
    row(kLight, {.type = lux_b, .words = "light B", .record = 11, .position = 5, .has_channels = true}),
    row(kLight,
        {.type = lux_b_stream, .words = "light B stream", .record = 11, .used_type = lux_b, .stores = kColours}),
    row(kLight, {.type = lux_sec, .words = "secondary light", .record = 14, .stores = Stored::panel_versions}),
    row(kLight, {.type = lux_sec_stream,
                 .words = "secondary light stream",
                 .record = 14,
                 .used_type = lux_sec,
                 .stores = kColours}),
    row(kLight, {.type = lux_pri2, .words = "primary light 2", .record = 15, .steps = Steps::panel_levels}),
    row(kLight, {.type = lux_pri2_stream,
                 .words = "primary light 2 stream",
                 .record = 15,
                 .used_type = lux_pri2,
                 .steps = Steps::panel_levels,
                 .stores = kColours}),
    row(kColour, {.type = cct_f_stream,
                  .words = "colour F stream",
                  .record = 12,
                  .position = 9,
                  .first_word = 2,
                  .used_type = cct_f}),
    row(kColour, {.type = cct_b_stream,
                  .words = "colour B stream",
                  .record = 13,
                  .position = 10,
                  .first_word = 2,
                  .used_type = cct_b}),
    row(kColour, {.type = light_stream,
                  .words = "light stream",
                  .record = 9,
                  .position = 11,
                  .first_word = 1,
                  .used_type = light,
                  .stores = Stored::scale}),
    row(kProximity, {.type = proximity, .words = "proximity", .position = 3}),
    row(kReflection, {.type = proximity_stream, .words = "proximity stream", .record = 8, .used_type = proximity}),
    row(kDistance, {.type = tof, .words = "time of flight"}),
    row(kSar, {.type = sar, .words = "SAR 1", .label = "SAR 1", .position = 6}),
    row(kSar, {.type = sar_second, .words = "SAR 2", .label = "SAR 2", .position = 7}),
};

constexpr Need kLyingFlat[] = {{"up", "flat"}};
constexpr Need kUnderLamp[] = {{"lux", "200 lux"}, {"dark-box", "off"}};
constexpr Need kUnderColourLamp[] = {{"lux", "200 lux"}, {"dark-box", "off"}, {"cct", "4000 K"}};
constexpr Need kUnderBrightLamp[] = {{"lux", "2000 lux"}, {"dark-box", "off"}};
constexpr Need kInDarkBox[] = {{"dark-box", "on"}};  // no light but the panel's own
constexpr Need kNoTarget[] = {{"target", "none"}};
constexpr Need kTargetAt3Cm[] = {{"target", "3 cm"}};
constexpr Need kTargetAt10Cm[] = {{"target", "10 cm"}};

constexpr char kRunTimeBias[] = "the hub's run-time bias, which it learns anew after an offset is written";
constexpr char kChipCrosstalk[] = "the crosstalk that the chip measures by itself, where it does";
constexpr char kSarInChip[] = "the SAR calibration in the chip";
constexpr char kTofInChip[] = "the time-of-flight calibration in the chip";
constexpr char kInHub[] = "what the hub itself measures and keeps";
constexpr char kPanelLevel[] = "the panel level in the hub";

// In the order of their numbers, which mean the same for every sensor that has the step.
constexpr StepRow kSteps[] = {
    {Steps::channels, -1, -1, "golden values", Stored::golden, nullptr, kUnderColourLamp},
    {Steps::sar, -1, -1, "soft calibration", 0, kSarInChip, kNoTarget},
    {Steps::accelerometer, 0, 0, "offset", Stored::inertial_offset, nullptr, kLyingFlat},
    {Steps::gyroscope, 0, 0, "offset", Stored::inertial_offset, kRunTimeBias},
    {Steps::pressure, 0, 0, "offset", Stored::pressure_offset},
    {Steps::lux_scale, 0, 0, "scale", Stored::scale, nullptr, kUnderLamp},
    {Steps::channels, 0, 0, "channel scales", Stored::channel_scales, nullptr, kUnderColourLamp},
    {Steps::sar, 0, 0, "calibration", 0, kSarInChip, kNoTarget},
    {Steps::proximity, 0, 0, "crosstalk", Stored::thresholds, kChipCrosstalk, kNoTarget},
    {Steps::proximity, 2, 2, "thresholds", Stored::thresholds, nullptr, kTargetAt3Cm},
    {Steps::any, 4, 4, "self-test"},
    {Steps::tof, 5, 5, "time-of-flight reference", 0, kTofInChip, kNoTarget, Chip::time_of_flight},
    {Steps::tof, 6, 6, "time-of-flight offset", 0, kTofInChip, kTargetAt10Cm, Chip::time_of_flight},
    {Steps::tof_crosstalk, 7, 7, "time-of-flight crosstalk", 0, kTofInChip, kNoTarget, Chip::time_of_flight},
    {Steps::under_panel, 8, 10, "light under OLED", 0, kInHub, kInDarkBox},
    {Steps::light, 11, 11, "light under OLED", 0, kInHub, kInDarkBox},
    {Steps::light, 12, 12, "high lux", 0, kInHub, kUnderBrightLamp},
    {Steps::panel_levels, 13, 13, "panel at full brightness", 0, kPanelLevel, kInDarkBox},
    {Steps::panel_levels, 14, 14, "panel at a reduced brightness", 0, kPanelLevel, kInDarkBox},
    {Steps::light, 15, 18, "high lux", 0, kInHub, kUnderBrightLamp},
    {Steps::proximity, 19, 19, "thresholds from the saved delta", Stored::thresholds, nullptr, kNoTarget,
     Chip::no_hardware_crosstalk},
};

bool has(const Sensor* sensor, const StepRow& step) {
  return step.of == Steps::any || (sensor != nullptr && (step.of & sensor->steps) != 0);
}

}  // namespace

std::span<const Sensor> sensors() { return kSensors; }

const Sensor* sensor_of(int type) {
  const auto* found =
      std::find_if(std::begin(kSensors), std::end(kSensors), [&](const Sensor& row) { return row.type == type; });
  return found == std::end(kSensors) ? nullptr : found;
}

const StepRow* step_of(int type, int param) {
  const Sensor* sensor = sensor_of(type);
  for (const StepRow& step : kSteps) {
    if (param >= step.first && param <= step.last && has(sensor, step)) return &step;
  }
  return nullptr;
}

std::string step_name(int type, int param) {
  const StepRow* step = step_of(type, param);
  const auto same = std::count_if(std::begin(kSteps), std::end(kSteps), [&](const StepRow& row) {
    return has(sensor_of(type), row) && std::string_view(row.words) == step->words;
  });
  return step->words + (same > 1 || step->last > step->first ? " " + std::to_string(param) : "");
}

std::string steps_text(int type) {
  std::string out;
  for (const StepRow& step : kSteps) {
    if (!has(sensor_of(type), step)) continue;
    out += (out.empty() ? "" : ", ") + std::to_string(step.first);
    if (step.last > step.first) out += " to " + std::to_string(step.last);
    out += std::string(" ") + step.words;
  }
  return out;
}

std::string type_problem(int type) {
  const std::string number = std::to_string(type);
  if (sensor_of(type) != nullptr || tag_of(type) != number) return "";
  return "there is no sensor type " + number + "; `sensorcal sensors` lists those of the phone";
}

namespace {

// "; step 5 is of Prx, Tof", where these are few.
std::string sensors_with(int param) {
  constexpr size_t kFew = 4;
  std::vector<std::string> names;
  for (const Sensor& sensor : kSensors) {
    if (step_of(sensor.type, param) != nullptr) names.push_back(name_of(sensor.type));
  }
  if (names.empty() || names.size() > kFew) return "";
  return "; step " + std::to_string(param) + " is of " + joined(names, ", ");
}

}  // namespace

std::string step_problem(int type, int param) {
  const std::string unknown = type_problem(type);
  if (!unknown.empty() || step_of(type, param) != nullptr) return unknown;
  const Sensor* sensor = sensor_of(type);
  return "the library has no step " + std::to_string(param) + " for " + tag_of(type) +
         (sensor == nullptr ? "" : std::string(" (") + sensor->words + ")") + "; it has " + steps_text(type) +
         sensors_with(param);
}

std::string golden_tags() {
  std::string out;
  for (const Sensor& sensor : kSensors) {
    if (step_of(sensor.type, -1) != nullptr && sensor.result == Result::channel_scale)
      out += (out.empty() ? "" : ", ") + name_of(sensor.type);
  }
  return out;
}

std::string channel_problem(int type, bool screen) {
  const Sensor* sensor = sensor_of(type);
  if (sensor != nullptr && (screen ? (sensor->steps & Steps::light) != 0 : sensor->has_channels)) return "";
  return tag_of(type) + " has no such channel: only Lux and Lux_B have channels, lights one of the screen";
}

const Sensor* find_kind(int type, int param) {
  const StepRow* step = step_of(type, param);
  return step != nullptr && step->changes != 0 ? sensor_of(type) : nullptr;
}

const _sensor_info& record_of(const SensorCalibration& cal, const Sensor& sensor) {
  constexpr int kMotion = 8;
  const int record = sensor_of(sensor.verified_type)->record;
  return record < kMotion ? cal.motion_info[record] : cal.env_info[record - kMotion];
}

std::string found_unit(const Sensor& sensor, bool golden) {
  return golden || sensor.result == Result::offset || sensor.result == Result::proximity ? sensor.unit : "factor";
}

std::span<const Probe> probes() {
  using Cal = SensorCalibration;
  static constexpr Probe kProbes[] = {
      {"rgb", "rgb_light", "light sensor is an RGB chip", &Cal::test_is_rgb_sensor},
      {"pshwcali", "proximity_hardware_crosstalk", "proximity chip calibrates its own crosstalk",
       &Cal::test_is_pshwcali_sensor},
      {"ps_tof", "proximity_time_of_flight", "proximity sensor is a time-of-flight part", &Cal::test_is_ps_tof_sensor},
      {"tof", "time_of_flight", "phone has a time-of-flight sensor", &Cal::test_is_tof_sensor},
  };
  return kProbes;
}

std::string probe_text(int answer) {
  if (answer == Probe::kNoSensor) return "no such sensor";
  if (answer == Probe::kNoService) return "no sensor service";
  return answer == 1 ? "yes" : answer == 0 ? "no" : "error " + std::to_string(answer);
}

bool chip_has(SensorCalibration& cal, int type, const StepRow& step) {
  switch (step.chip) {
    case Chip::any:
      return true;
    case Chip::time_of_flight:
      return (type == proximity ? cal.test_is_ps_tof_sensor() : cal.test_is_tof_sensor()) == 1;
    case Chip::no_hardware_crosstalk:
      return cal.test_is_pshwcali_sensor() == 0;
  }
  return false;
}

bool is_self_test(int param) { return param == 4; }

bool is_panel_run(int param) { return param == 13 || param == 14; }

Sensor events_of(int type) {
  const Sensor* known = sensor_of(type);
  if (known == nullptr) return {.type = type};
  if (known->shows == nullptr) return *known;
  return {.type = type, .unit = known->shows, .period_ms = known->period_ms};
}

const Sensor* subject_of(int type) {
  const Sensor* sensor = sensor_of(type);
  return sensor != nullptr && sensor->shows == nullptr ? sensor : nullptr;
}

int parse_tag(const std::string& text) {
  // A number must be one to its end, and fit.
  if (!text.empty() && text.find_first_not_of("0123456789") == std::string::npos) {
    int number = 0;
    if (std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc()) return number;
    throw AppError(kUsage, "a sensor's type number is at most " + std::to_string(INT32_MAX));
  }
  std::vector<std::string> tags;
  for (const TagRow& row : kTags) {
    if (text == row.tag) return row.type;
    tags.emplace_back(row.tag);
  }
  throw AppError(kUsage, "unknown sensor tag '" + text + "'" +
                             or_nearest(text, tags, "`sensorcal sensors` lists those of the phone"));
}

std::string tag_of(int type) { return getSensorName(type); }

Json::Value sensor_json(int type) {
  Json::Value out = json_object({{"type", type}, {"tag", tag_of(type)}});
  if (const Sensor* sensor = sensor_of(type)) out["sensor"] = sensor->words;
  return out;
}

std::string name_of(int type) {
  const Sensor* sensor = sensor_of(type);
  const std::string tag = tag_of(type);
  return sensor != nullptr && tag == std::to_string(type) ? sensor->words : tag;
}

std::string label_of(const Sensor& sensor) { return sensor.label != nullptr ? sensor.label : tag_of(sensor.type); }

}  // namespace factory
