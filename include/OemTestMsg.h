// The command and reply record exchanged with the sensor hub, and the codes it carries. Layout:
// docs/formats/hub-record.md.
#pragma once

#include <stdint.h>

// 72 bytes, little-endian, no padding. Each data word is a float or an int32, as the command says; a word that a
// command does not fill is sent as 0. A reply may carry a float where the request had an integer and the other way
// round. `offset_ct` and `threshold` are names for the integer view, `offset` for the float view; code that changes the
// view of a word copies its bytes.
struct _ssc_oem_test_msg {
  int32_t sensor_type;
  int32_t msg_type;
  union {
    float offset[16];
    int32_t offset_ct[16];
    int32_t threshold[16];
  };
};

static_assert(sizeof(_ssc_oem_test_msg) == 72, "the hub's record has 72 bytes and no padding");

namespace oem_test_msg {

inline constexpr int kWords = 16;

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

struct CodeRow {
  int32_t code;
  const char* name;     // short name, as `sensorcal hub` prints it
  const char* request;  // words of the request: F float, I int32
  const char* reply;    // words of the reply
};

inline constexpr CodeRow kCodes[] = {
    {set_accelerometer_offset, "set-acc-offset", "w0..2 F offset, m/s^2", "w0 I result"},
    {get_accelerometer_offset, "get-acc-offset", "none", "w0..2 F offset, m/s^2"},
    {set_gyroscope_offset, "set-gyr-offset", "w0..2 F offset, rad/s", "w0 I result"},
    {get_gyroscope_offset, "get-gyr-offset", "none", "w0..2 F offset, rad/s"},
    {get_sar_offset, "get-sar-offset", "w0 F count, or none", "w0..2 F, or w0 I result and w1.. F"},
    {set_proximity, "set-prx", "w0 near, w1 far, w2 crosstalk, I counts; -1 leaves it", "w0 I result"},
    {get_proximity, "get-prx", "w0..2 I, -1 in those not asked for", "the asked word I"},
    {calibrate_proximity_crosstalk, "calibrate-prx-crosstalk", "none", "w0, w1 I crosstalk"},
    {self_test, "self-test", "none", "w0 I result"},
    {set_lux_scale, "set-lux-scale", "w0 F scale", "w0 I result"},
    {get_lux_scale, "get-lux-scale", "none", "w0 F scale"},
    {calibrate_sar, "calibrate-sar", "w0 F -1 for the soft calibration", "w0 I result"},
    {tof_reference, "tof-reference", "none", "w0 I result"},
    {tof_offset, "tof-offset", "none", "w0 I result"},
    {tof_crosstalk, "tof-crosstalk", "none", "w0 I result"},
    {high_lux, "high-lux", "w0 I step", "w1 I result"},
    {set_pressure_offset, "set-bar-offset", "w0 F offset, hPa", "w0 I result"},
    {get_pressure_offset, "get-bar-offset", "none", "w0 F offset, hPa"},
    {light_channel, "light-channel", "w0 F channel, w1 F target", "w2 F result"},
    {version, "version", "w0 F 1, w1 F 13, 14 or -1", "w0 I result, w2 F version"},
    {version_light, "version-light", "w0 F 1, w1 F 13, 14 or -1", "w0 I result, w2 F version"},
    {backlight_lux, "backlight-lux", "w0 I level, w1 I brightness, w2 I lux", "w1 I result"},
    {backlight_channels, "backlight-channels", "w0 F level, w1 F brightness, w2..5 F channels", "w0 I result"},
    {set_golden_channels, "set-golden", "w0 F count, w1.. F channels", "w0 I result"},
    {get_golden_channels, "get-golden", "w0 F count", "w0 I result, w1.. F channels"},
    {set_channel_scales, "set-channel-scales", "w0 F count, w1.. F scales", "w0 I result"},
    {get_channel_scales, "get-channel-scales", "w0 F count", "w0 I result, w1.. F scales"},
    {version_lcd, "version-lcd", "w0 F 1, w1 F 13, 14 or -1", "w0 I result, w2 F version"},
    {reset_gyroscope_bias, "reset-gyr-bias", "none", "w0 I result"},
    {get_dark_value, "get-dark", "w0 F index 1..6", "w0 F dark value"},
    {start_colour_run, "start-colour-run", "w0 F command", "w0 I result"},
    {colour_run_result, "colour-run-result", "w0 F command, w1 F 92", "w0 I -1 running, 0 done, else the error"},
    {sar_register, "sar-register", "w0 I register, w1 I value", "w1 I result"},
    {sar_register_second, "sar-register-second", "w0 I register, w1 I value", "w1 I result"},
    {screen_channel, "screen-channel", "w0 F channel, w1 F target", "w2 F result"},
};

}  // namespace oem_test_msg
