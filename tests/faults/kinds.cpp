#include "kinds.h"

#include <SensorType.h>

#include <algorithm>

namespace fault_matrix {
namespace {

using namespace sensor_type;  // NOLINT(google-build-using-namespace): the tables below are nothing but these names

constexpr char kLightFile[] = "/mnt/vendor/nvcfg/sensor/lightSensorCali.json";
constexpr char kChipFiles[] = "/mnt/vendor/persist/sensors/PSensor_ct1.txt|/mnt/vendor/persist/sensors/PSensor_ct2.txt";
constexpr char kDeltaFile[] = "/mnt/vendor/persist/sensors/PSensor3cm_ct.txt";
constexpr char kNormal[] = "normal-proximity";
constexpr char kColour[] = "colour-backlight";

constexpr GroupInfo kGroups[] = {
    {kOffsets, "offsets of accelerometers and gyroscopes"},
    {kPressure, "pressure"},
    {kLight, "light, one channel"},
    {kChannels, "channel scales"},
    {kGolden, "golden channels"},
    {kHubChannels, "channel scales, by the hub itself"},
    {kHubGolden, "golden channels, by the hub itself"},
    {kChipCrosstalk, "proximity, crosstalk by the chip"},
    {kChipThresholds, "proximity, thresholds over the chip's crosstalk"},
    {kCrosstalk, "proximity, crosstalk"},
    {kCrosstalkWithDelta, "proximity, crosstalk with a saved delta"},
    {kThresholds, "proximity, thresholds and delta"},
    {kRestore, "proximity, restored from the delta"},
    {kCommand, "commands to the hub"},
    {kSoftSar, "soft SAR command"},
    {kRegister, "SAR registers"},
    {kDark, "dark values"},
    {kUnderOled, "light under OLED"},
    {kPanelHigh, "panel light, high"},
    {kPanelLow, "panel light, low"},
    {kPanelStepped, "panel light, low, of a bright panel"},
    {kPanelColourHigh, "panel colour, high"},
    {kPanelColourLow, "panel colour, low"},
    {kReport, "report"},
};

constexpr Kind offset_kind(const char* name, int type, const char* sensor, int set_code, const char* owns) {
  return {.name = name,
          .group = kOffsets,
          .type = type,
          .sensor = sensor,
          .other = "Bar",
          .timeout_s = 5,
          .get_code = set_code + 1,
          .set_code = set_code,
          .owns = owns};
}

// A stream that is listed beside its plain sensor is bound in its place.
constexpr Kind light_kind(const char* name, int type, const char* sensor, const char* owns) {
  return {.name = name,
          .group = kLight,
          .type = type,
          .sensor = sensor,
          .other = "Acc",
          .timeout_s = 8,
          .get_code = 10,
          .set_code = 9,
          .owns = owns};
}

constexpr Kind golden_kind(const char* name, int type, const char* sensor, const char* owns) {
  return {.name = name,
          .group = kGolden,
          .type = type,
          .param = -1,
          .sensor = sensor,
          .other = "Lux_F",
          .timeout_s = 5,
          .set_code = 28,
          .owns = owns};
}

constexpr Kind channels_kind(const char* name, int type, const char* sensor, const char* owns, const char* before,
                             const char* files = "") {
  return {.name = name,
          .group = kChannels,
          .type = type,
          .sensor = sensor,
          .other = "Lux_F",
          .timeout_s = 5,
          .get_code = 31,
          .set_code = 30,
          .get_answers_result = true,
          .owns = owns,
          .files = files,
          .before = before};
}

constexpr Kind hub_channels_kind(const char* name, Group group, int param, const char* before) {
  return {.name = name,
          .group = group,
          .profile = "hub-colour",
          .type = cct_f_stream,
          .param = param,
          .get_code = 40,
          .set_code = 39,
          .get_answers_result = true,
          .owns = "CCT_F/",
          .before = before};
}

constexpr Kind proximity_kind(const char* name, Group group, const char* profile, int param, const char* world,
                              const char* owns, const char* files, const char* before) {
  return {.name = name,
          .group = group,
          .profile = profile,
          .type = proximity,
          .param = param,
          .sensor = "33171005",
          .other = "Lux",
          .timeout_s = 5,
          .get_code = group == kThresholds ? 6 : -1,
          .set_code = group == kChipCrosstalk ? 7 : 5,
          .world = world,
          .owns = owns,
          .files = files,
          .before = before};
}

constexpr Kind command_kind(const char* name, int type, int param, int code, int word, const char* owns,
                            const char* world = "", const char* before = "", const char* profile = "reference") {
  return {.name = name,
          .group = kCommand,
          .profile = profile,
          .type = type,
          .param = param,
          .set_code = code,
          .result_word = word,
          .world = world,
          .owns = owns,
          .before = before};
}

constexpr Kind under_oled_kind(const char* name, int param) {
  return {.name = name,
          .group = kUnderOled,
          .type = light,
          .param = param,
          .set_code = 0,
          .float_result = true,
          .owns = "Lux/panel_samples"};
}

constexpr Kind panel_kind(const char* name, Group group, int type, int param, const char* sensor, const char* before,
                          const char* profile = "reference") {
  const bool colour = group == kPanelColourHigh || group == kPanelColourLow;
  return {.name = name,
          .group = group,
          .profile = profile,
          .type = type,
          .param = param,
          .sensor = sensor,
          .other = "Lux_F",
          .timeout_s = 10,
          .get_code = colour ? 31 : -1,
          .set_code = colour ? 27 : 26,
          .result_word = colour ? 0 : 1,
          .get_answers_result = true,
          .world = "dark-box=on",
          .owns = "Lux/backlight|Lux_pri2/backlight|Lux/colour_backlight|Lux_pri2/colour_backlight",
          .before = before};
}

constexpr char kColourBefore[] =
    "truth of CCT_F_strm|CCT_F_strm|truth of 33171007|33171007|Lux|Lux_pri2 on a colour panel";

constexpr Kind kKinds[] = {
    offset_kind("Acc", accelerometer, "Acc", 0, "Acc/"),
    offset_kind("Acc2", accelerometer_second, "Acc2", 0, "Acc2/"),
    offset_kind("Gyr", gyroscope, "16", 2, "Gyr/"),
    offset_kind("Gyr2", gyroscope_second, "Gyr2", 2, "Gyr2/"),
    {.name = "Bar",
     .group = kPressure,
     .call = Call::pressure,
     .type = pressure,
     .sensor = "Bar",
     .other = "Acc",
     .timeout_s = 5,
     .get_code = 22,
     .set_code = 21,
     .owns = "Bar/"},
    light_kind("Lux", light, "33171007", "Lux/scale"),
    light_kind("Lux_F", lux_f, "Lux_F", "Lux_F/scale"),
    light_kind("Lux_B", lux_b, "Lux_B_strm", "Lux_B/scale"),
    light_kind("Lux_B_strm", lux_b_stream, "Lux_B_strm", "Lux_B/scale"),
    light_kind("Lux_sec", lux_sec, "Lux_sec_strm", "Lux_sec/scale"),
    light_kind("Lux_sec_strm", lux_sec_stream, "Lux_sec_strm", "Lux_sec/scale"),
    light_kind("Lux_pri2", lux_pri2, "Lux_pri2_strm", "Lux_pri2/scale"),
    light_kind("Lux_pri2_strm", lux_pri2_stream, "Lux_pri2_strm", "Lux_pri2/scale"),
    channels_kind("CCT_F_strm", cct_f_stream, "CCT_F_strm", "CCT_F/channel_scales", "truth of CCT_F_strm", kLightFile),
    channels_kind("CCT_B_strm", cct_b_stream, "CCT_B_strm", "CCT_B/channel_scales", "truth of CCT_B_strm"),
    channels_kind("33171007", light_stream, "33171007", "Lux/channel_scales", "truth of 33171007"),
    golden_kind("CCT_F_strm golden", cct_f_stream, "CCT_F_strm", "CCT_F/golden_channels"),
    golden_kind("CCT_B_strm golden", cct_b_stream, "CCT_B_strm", "CCT_B/golden_channels"),
    golden_kind("33171007 golden", light_stream, "33171007", "Lux/golden_channels"),
    hub_channels_kind("CCT_F_strm by the hub", kHubChannels, 0, "CCT_F_strm golden by the hub"),
    hub_channels_kind("CCT_F_strm golden by the hub", kHubGolden, -1, ""),
    proximity_kind("Prx 0, by the chip", kChipCrosstalk, "reference", 0, "target=none", "Prx/", kChipFiles, ""),
    proximity_kind("Prx 2, by the chip", kChipThresholds, "reference", 2, "target=3", "Prx/", "", "Prx 0, by the chip"),
    proximity_kind("Prx 0", kCrosstalk, kNormal, 0, "target=none", "Prx/", "", ""),
    proximity_kind("Prx 0 with a delta", kCrosstalkWithDelta, kNormal, 0, "target=none", "Prx/", "", "Prx 0|Prx 2"),
    proximity_kind("Prx 2", kThresholds, kNormal, 2, "target=3", "Prx/", kDeltaFile, "Prx 0"),
    proximity_kind("Prx 19", kRestore, kNormal, 19, "target=none", "Prx/", "", "Prx 0|Prx 2"),
    command_kind("self-test of Acc", accelerometer, 4, 8, 0, ""),
    command_kind("33171015 (SAR)", sar, 0, 11, 0, "33171015/"),
    command_kind("33171016 (SAR)", sar_second, 0, 11, 0, "33171016/"),
    command_kind("Tof 5", tof, 5, 12, 0, "Tof/", "target=10"),
    command_kind("Tof 6", tof, 6, 13, 0, "Tof/", "target=10", "Tof 5"),
    command_kind("Prx 5, time of flight", proximity, 5, 12, 0, "Tof/", "target=10", "", "tof"),
    command_kind("Prx 6, time of flight", proximity, 6, 13, 0, "Tof/", "target=10", "Prx 5, time of flight", "tof"),
    command_kind("Prx 7, time of flight", proximity, 7, 14, 0, "Tof/", "target=none",
                 "Prx 5, time of flight|Prx 6, time of flight", "tof"),
    command_kind("Lux 12, high lux", light, 12, 15, 1, "Lux/high_lux"),
    command_kind("Lux 15, high lux", light, 15, 15, 1, "Lux/high_lux"),
    command_kind("Lux 16, high lux", light, 16, 15, 1, "Lux/high_lux"),
    command_kind("Lux 17, high lux", light, 17, 15, 1, "Lux/high_lux"),
    command_kind("Lux 18, high lux", light, 18, 15, 1, "Lux/high_lux"),
    {.name = "channel 0 of Lux",
     .group = kCommand,
     .call = Call::channel,
     .type = light,
     .set_code = 23,
     .result_word = 2,
     .float_result = true,
     .owns = "Lux/channel_scales"},
    {.name = "channel 0 of Lux_B",
     .group = kCommand,
     .call = Call::channel,
     .type = lux_b,
     .set_code = 23,
     .result_word = 2,
     .float_result = true,
     .owns = "Lux_B/channel_scales"},
    {.name = "33171015 soft", .group = kSoftSar, .type = sar, .param = -1, .set_code = 11, .owns = "33171015/"},
    {.name = "33171015 register",
     .group = kRegister,
     .call = Call::sar_register,
     .type = sar,
     .set_code = 43,
     .result_word = 1,
     .owns = "33171015/registers"},
    {.name = "33171016 register",
     .group = kRegister,
     .call = Call::sar_register,
     .type = sar_second,
     .set_code = 44,
     .result_word = 1,
     .owns = "33171016/registers"},
    {.name = "dark values 1 to 6",
     .group = kDark,
     .call = Call::dark,
     .type = light,
     .set_code = 38,
     .float_result = true,
     .world = "dark-box=on",
     .owns = "Lux/dark"},
    under_oled_kind("Lux 8, under OLED", 8),
    under_oled_kind("Lux 9, under OLED", 9),
    under_oled_kind("Lux 10, under OLED", 10),
    under_oled_kind("Lux 11, under OLED", 11),
    panel_kind("Lux 13", kPanelHigh, light, 13, "33171007", "Lux"),
    panel_kind("Lux_pri2 13", kPanelHigh, lux_pri2, 13, "Lux_pri2_strm", "Lux_pri2"),
    panel_kind("Lux_pri2_strm 13", kPanelHigh, lux_pri2_stream, 13, "Lux_pri2_strm", "Lux_pri2"),
    panel_kind("Lux 14", kPanelLow, light, 14, "33171007", "Lux|Lux 13"),
    panel_kind("Lux_pri2 14", kPanelLow, lux_pri2, 14, "Lux_pri2_strm", "Lux_pri2|Lux_pri2 13"),
    panel_kind("Lux_pri2_strm 14", kPanelLow, lux_pri2_stream, 14, "Lux_pri2_strm", "Lux_pri2|Lux_pri2_strm 13"),
    panel_kind("Lux 14, bright panel", kPanelStepped, light, 14, "33171007", "Lux|Lux 13", kNormal),
    panel_kind("Lux_pri2 14, bright panel", kPanelStepped, lux_pri2, 14, "Lux_pri2_strm", "Lux_pri2|Lux_pri2 13",
               kNormal),
    panel_kind("Lux 13, colour", kPanelColourHigh, light, 13, "33171007", kColourBefore, kColour),
    panel_kind("Lux_pri2 13, colour", kPanelColourHigh, lux_pri2, 13, "Lux_pri2_strm", kColourBefore, kColour),
    panel_kind("Lux 14, colour", kPanelColourLow, light, 14, "33171007",
               "truth of CCT_F_strm|CCT_F_strm|truth of 33171007|33171007|Lux|Lux 13, colour", kColour),
    panel_kind("Lux_pri2 14, colour", kPanelColourLow, lux_pri2, 14, "Lux_pri2_strm",
               "truth of CCT_F_strm|CCT_F_strm|Lux_pri2 on a colour panel|Lux_pri2 13, colour", kColour),
    {.name = "report",
     .group = kReport,
     .call = Call::report,
     .before = "Acc|Gyr|Bar|Lux|Lux_B|truth of CCT_F_strm|CCT_F_strm|truth of CCT_B_strm|CCT_B_strm|"
               "dark values 1 to 6|33171015 (SAR)|33171016 (SAR)|Prx 0, by the chip|Prx 2, by the chip"},
};

constexpr Kind truth_kind(const char* name, int type) {
  return {.name = name, .group = kGolden, .call = Call::golden_truth, .type = type};
}

constexpr Kind kPreparations[] = {
    truth_kind("truth of CCT_F_strm", cct_f_stream),
    truth_kind("truth of CCT_B_strm", cct_b_stream),
    truth_kind("truth of 33171007", light_stream),
    light_kind("Lux_pri2 on a colour panel", lux_pri2, "Lux_pri2_strm", "Lux_pri2/scale"),
};

}  // namespace

std::span<const GroupInfo> group_list() { return kGroups; }

std::span<const Kind> kind_list() { return kKinds; }

const Kind* find_kind(const std::string& name) {
  for (const std::span<const Kind> kinds : {std::span<const Kind>(kKinds), std::span<const Kind>(kPreparations)}) {
    for (const Kind& kind : kinds) {
      if (name == kind.name) return &kind;
    }
  }
  return nullptr;
}

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  for (size_t start = 0; start < text.size();) {
    const size_t end = std::min(text.find(separator, start), text.size());
    parts.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return parts;
}

}  // namespace fault_matrix
