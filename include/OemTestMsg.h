/// @file
/// The command and reply record exchanged with the sensor hub, and the codes it carries. Layout:
/// docs/formats/hub-record.md.
#pragma once

#include <stdint.h>

/// 72 bytes, little-endian, no padding. Each data word is a float or an int32, as the command says; a word that a
/// command does not fill is sent as 0. A reply may carry a float where the request had an integer and the other way
/// round. Code that changes the view of a word copies its bytes.
struct _ssc_oem_test_msg {
  int32_t sensor_type;  ///< sensor type number
  int32_t msg_type;     ///< an oem_test_msg::Code
  union {
    float offset[16];       ///< the words as floats
    int32_t offset_ct[16];  ///< the words as integers
    int32_t threshold[16];  ///< the same
  };
};

static_assert(sizeof(_ssc_oem_test_msg) == 72, "the hub's record has 72 bytes and no padding");

/// The codes of the record.
namespace oem_test_msg {

inline constexpr int kWords = 16;  ///< data words of a record

/// What a record asks for; kCodes has the words of each.
enum Code : int32_t {
  set_accelerometer_offset = 0,
  get_accelerometer_offset = 1,
  set_gyroscope_offset = 2,
  get_gyroscope_offset = 3,
  get_sar_offset = 4,
  set_proximity = 5,
  get_proximity = 6,
  calibrate_proximity_crosstalk = 7,
  self_test = 8,
  set_lux_scale = 9,
  get_lux_scale = 10,
  calibrate_sar = 11,
  tof_reference = 12,
  tof_offset = 13,
  tof_crosstalk = 14,
  high_lux = 15,
  set_pressure_offset = 21,
  get_pressure_offset = 22,
  light_channel = 23,
  version = 24,
  version_light = 25,
  backlight_lux = 26,
  backlight_channels = 27,
  set_golden_channels = 28,
  get_golden_channels = 29,
  set_channel_scales = 30,
  get_channel_scales = 31,
  version_lcd = 32,
  reset_gyroscope_bias = 33,
  get_dark_value = 38,
  start_colour_run = 39,
  colour_run_result = 40,
  sar_register = 43,
  sar_register_second = 44,
  screen_channel = 200,
};

/// How a code's words are read.
struct CodeRow {
  int32_t code;               ///< Code
  const char* name;           ///< short name, as `sensorcal hub` prints it
  const char* request_words;  ///< from word 0 on: f float, i int32, - unused; * repeats the one before it
  const char* reply_words;    ///< in the same letters; r int32 and R float, a result: 0 where it was done
  const char* meaning;        ///< of the request's words, then of the reply's
};

/// Every code, in the order of its number.
inline constexpr CodeRow kCodes[] = {
    {set_accelerometer_offset, "set-acc-offset", "fff", "r", "offset x y z, m/s^2 -> result"},
    {get_accelerometer_offset, "get-acc-offset", "", "fff", "-> offset x y z, m/s^2"},
    {set_gyroscope_offset, "set-gyr-offset", "fff", "r", "offset x y z, rad/s -> result"},
    {get_gyroscope_offset, "get-gyr-offset", "", "fff", "-> offset x y z, rad/s"},
    {get_sar_offset, "get-sar-offset", "f", "fff",
     "count, 0 for the plain form -> offsets; with a count: result, offsets"},
    {set_proximity, "set-prx", "iii", "r", "near, far, crosstalk in counts, -1 leaves one -> result"},
    {get_proximity, "get-prx", "iii", "iii", "-1 in the words not asked for -> the asked word, counts"},
    {calibrate_proximity_crosstalk, "calibrate-prx-crosstalk", "", "ii", "-> crosstalk, second result"},
    {self_test, "self-test", "", "r", "-> result"},
    {set_lux_scale, "set-lux-scale", "f", "r", "scale -> result"},
    {get_lux_scale, "get-lux-scale", "", "f", "-> scale"},
    {calibrate_sar, "calibrate-sar", "f", "r", "-1 for the soft calibration, else 0 -> result"},
    {tof_reference, "tof-reference", "", "r", "-> result"},
    {tof_offset, "tof-offset", "", "r", "-> result"},
    {tof_crosstalk, "tof-crosstalk", "", "r", "-> result"},
    {high_lux, "high-lux", "i", "-r", "step -> result"},
    {set_pressure_offset, "set-bar-offset", "f", "r", "offset, hPa -> result"},
    {get_pressure_offset, "get-bar-offset", "", "f", "-> offset, hPa"},
    {light_channel, "light-channel", "ff", "--R", "channel, target -> result"},
    {version, "version", "ff", "r-f", "1, level 13, 14 or -1 -> result, version"},
    {version_light, "version-light", "ff", "r-f", "1, level 13, 14 or -1 -> result, version"},
    {backlight_lux, "backlight-lux", "iii", "-r", "level, brightness, lux -> result"},
    {backlight_channels, "backlight-channels", "ffffff", "r", "level, brightness, four channels -> result"},
    {set_golden_channels, "set-golden", "ff*", "r", "count, channels -> result"},
    {get_golden_channels, "get-golden", "f", "rf*", "count -> result, channels"},
    {set_channel_scales, "set-channel-scales", "ff*", "r", "count, scales -> result"},
    {get_channel_scales, "get-channel-scales", "f", "rf*", "count -> result, scales"},
    {version_lcd, "version-lcd", "ff", "r-f", "1, level 13, 14 or -1 -> result, version"},
    {reset_gyroscope_bias, "reset-gyr-bias", "", "r", "-> result"},
    {get_dark_value, "get-dark", "f", "f", "index 1 to 6 -> dark value"},
    {start_colour_run, "start-colour-run", "f", "r", "command -> result"},
    {colour_run_result, "colour-run-result", "ff", "i", "command, 92 -> -1 running, 0 done, else its error"},
    {sar_register, "sar-register", "ii", "-r", "register, value -> result"},
    {sar_register_second, "sar-register-second", "ii", "-r", "register, value -> result"},
    {screen_channel, "screen-channel", "ff", "--R", "channel, target -> result"},
};

}  // namespace oem_test_msg
