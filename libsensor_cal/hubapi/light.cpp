// Single-channel light sensors: scale, dark value, and the calibrations that the hub runs itself.
#include "base/numbers.h"
#include "hubapi/command.h"

using hubapi::Command;

namespace {

// Deliberate: both callers log under the one operation's name.
int calibrate_channel(SensorCalibrationAPI* api, int32_t code, int type, int channel, float target) {
  LOGE("enter setAlsChannelDataCali_api sensor_type=%d, channel=%d, target=%f", type, channel, target);
  Command msg(type, code);
  msg.set_as_float(0, channel);
  msg.set_float(1, target);
  api->send_ssc_oem_test_msg(&msg);
  const float result = msg.get_float(2);
  LOGE("setAlsChannelDataCali_api return val=%f", result);
  return to_int(result);
}

}  // namespace

// Deliberate: asks the main light sensor for the dark value of `type`, which travels as a word.
int SensorCalibrationAPI::getLuxDark_api(float* dark, int type) {
  LOGD("getLuxScale_api dark 1, dark = %f, type = %d", *dark, type);
  Command msg(sensor_type::light, oem_test_msg::get_dark_value);
  msg.set_as_float(0, type);
  send_ssc_oem_test_msg(&msg);
  *dark = msg.get_float(0);
  LOGD("getLuxScale_api dark 2, dark = %f, type = %d", *dark, type);
  return 0;
}

int SensorCalibrationAPI::getLuxScale_api(float* scale, bool is_rgb, int type) {
  LOGD("getLuxScale_api scale, scale = %f, is_rgb = %d", *scale, is_rgb);
  Command msg(type, oem_test_msg::get_lux_scale);
  send_ssc_oem_test_msg(&msg);
  *scale = msg.get_float(0);
  return 0;
}

int SensorCalibrationAPI::setLuxScale_api(float scale, bool is_rgb, int type) {
  LOGD("setLuxScale_api scale:%f, is_rgb = %d", scale, is_rgb);
  Command msg(type, oem_test_msg::set_lux_scale);
  msg.set_float(0, scale);
  send_ssc_oem_test_msg(&msg);
  return 0;
}

int SensorCalibrationAPI::setAlsHighLuxCali_api(int type, int para) {
  LOGD("enter setAlsHighLuxCali_api para=%d", para);
  Command msg(type, oem_test_msg::high_lux);
  msg.set_int(0, para);
  send_ssc_oem_test_msg(&msg);
  const int result = msg.get_int(1);
  LOGD("setAlsHighLuxCali_api return val=0x%x", static_cast<unsigned>(result));
  return result;
}

int SensorCalibrationAPI::setAlsChannelDataCali_api(int type, int channel, float target) {
  return calibrate_channel(this, oem_test_msg::light_channel, type, channel, target);
}

int SensorCalibrationAPI::postScreenChannelData_api(int type, int channel, float target) {
  return calibrate_channel(this, oem_test_msg::screen_channel, type, channel, target);
}

int SensorCalibrationAPI::setAlsBacklightLuxCali_api(int type, int para, int backlight, int lux) {
  LOGD("enter setAlsBacklightLuxCali_api para=%d, backlight=%d, lux=%d", para, backlight, lux);
  Command msg(type, oem_test_msg::backlight_lux);
  msg.set_int(0, para);
  msg.set_int(1, backlight);
  msg.set_int(2, lux);
  send_ssc_oem_test_msg(&msg);
  const int result = msg.get_int(1);
  LOGD("setAlsBacklightLuxCali_api return val=0x%x", static_cast<unsigned>(result));
  return result;
}
