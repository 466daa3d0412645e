#include "phone/hub/commands.h"

#include <cstdio>

#include "phone/hub/command_handlers.h"

namespace phone {
namespace {

using namespace sensor_type;  // NOLINT(google-build-using-namespace): the table is unreadable without

bool any(int) { return true; }
bool known(int type) { return is_known_type(type); }
bool accelerometers(int type) { return is_one_of(kAccelerometers, type); }
bool gyroscopes(int type) { return is_one_of(kGyroscopes, gyroscope_chip(type)); }
bool sar_chips(int type) { return is_one_of(kSarChips, type); }
bool prox(int type) { return type == proximity; }
bool prox_or_tof(int type) { return type == proximity || type == tof; }
bool barometer(int type) { return type == pressure; }
bool primary_light(int type) { return type == light; }
bool primary_or_secondary(int type) { return type == light || type == lux_sec; }
bool luxes(int type) { return light_chip(type) != nullptr && light_chip(type)->lux; }
bool channels(int type) { return light_chip(type) != nullptr && light_chip(type)->channels; }
bool colours(int type) { return channels(type) && !luxes(type); }

constexpr uint16_t words(int count) { return static_cast<uint16_t>((1U << count) - 1); }

using M = Measure;

constexpr Command kCommands[] = {
    // code, name, types, answers unknown types, words, counted, measured, handler
    {0, "set accelerometer offset", any, false, words(3), false, M::kPanel, run_code_0},
    {1, "get accelerometer offset", accelerometers, true, words(0), false, M::kNothing, get_offset},
    {2, "set gyroscope offset", gyroscopes, false, words(3), false, M::kNothing, set_gyroscope_offset},
    {3, "get gyroscope offset", gyroscopes, true, words(0), false, M::kNothing, get_offset},
    {4, "get SAR offset", sar_chips, false, words(1), false, M::kNothing, get_sar_offset},
    {5, "set proximity thresholds", prox, false, words(3), false, M::kNothing, set_thresholds},
    {6, "get proximity thresholds", prox_or_tof, false, words(3), false, M::kNothing, get_thresholds},
    {7, "calibrate proximity crosstalk", prox, false, words(0), false, M::kProximity, calibrate_crosstalk},
    {8, "self-test", known, false, words(0), false, M::kNothing, self_test},
    {9, "set lux scale", luxes, false, words(1), false, M::kNothing, set_lux_scale},
    {10, "get lux scale", luxes, true, words(0), false, M::kNothing, get_lux_scale},
    {11, "calibrate SAR", sar_chips, false, words(1), false, M::kSar, calibrate_sar},
    {12, "time-of-flight reference", prox_or_tof, false, words(0), false, M::kTof, calibrate_tof},
    {13, "time-of-flight offset", prox_or_tof, false, words(0), false, M::kTof, calibrate_tof},
    {14, "time-of-flight crosstalk", prox_or_tof, false, words(0), false, M::kTof, calibrate_tof},
    {15, "high-lux step", luxes, false, words(1), false, M::kLux, high_lux_step},
    {21, "set pressure offset", barometer, false, words(1), false, M::kNothing, set_pressure_offset},
    {22, "get pressure offset", barometer, true, words(0), false, M::kNothing, get_pressure_offset},
    {23, "calibrate channel", channels, false, words(2), false, M::kChannels, calibrate_channel},
    {24, "get version", known, false, words(2), false, M::kNothing, get_version},
    {25, "get light version", primary_or_secondary, false, words(2), false, M::kNothing, get_version},
    {26, "set backlight level", luxes, false, words(3), false, M::kNothing, set_backlight_level},
    {27, "set colour backlight level", luxes, false, words(6), false, M::kNothing, set_colour_level},
    {28, "set golden channels", channels, false, words(1), true, M::kNothing, set_golden_channels},
    {29, "get golden channels", channels, false, words(1), false, M::kNothing, get_golden_channels},
    {30, "set channel scales", channels, false, words(1), true, M::kNothing, set_channel_scales},
    {31, "get channel scales", channels, true, words(1), false, M::kNothing, get_channel_scales},
    {32, "get light version", primary_light, false, words(2), false, M::kNothing, get_version},
    {33, "clear gyroscope bias", gyroscopes, false, words(0), false, M::kNothing, clear_gyroscope_bias},
    {38, "get dark value", primary_light, true, words(1), false, M::kDark, get_dark_value},
    {39, "start colour run", colours, false, words(1), false, M::kNothing, start_colour_run},
    {40, "get colour run", colours, false, words(2), false, M::kNothing, get_colour_run},
    {43, "set SAR register, chip 1", sar_chips, false, words(2), false, M::kNothing, set_sar_register},
    {44, "set SAR register, chip 2", sar_chips, false, words(2), false, M::kNothing, set_sar_register},
    {200, "set screen channel", luxes, false, words(2), false, M::kNothing, set_screen_channel},
};

}  // namespace

const Command* find_command(int32_t code) {
  for (const Command& command : kCommands) {
    if (command.code == code) return &command;
  }
  return nullptr;
}

void remark_unused_words(const Command& command, const HubRecord& request, std::string* note) {
  const int32_t count = command.counted ? saturated_int(request.as_float(0)) : 0;
  for (int i = 0; i < static_cast<int>(request.words.size()); ++i) {
    const bool used = ((command.words >> i) & 1) != 0 || (i > 0 && i <= count);
    const int32_t word = request.words[static_cast<size_t>(i)];
    if (used || word == 0) continue;
    char text[64];
    std::snprintf(text, sizeof text, "unused word %d is 0x%08x", i, static_cast<unsigned>(word));
    add_note(note, text);
  }
}

void add_note(std::string* note, const std::string& text) {
  if (!note->empty()) *note += "; ";
  *note += text;
}

}  // namespace phone
