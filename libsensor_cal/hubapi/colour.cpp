// Colour sensors and light streams: channel golden data, channel scales and the colour calibration run.
#include "hubapi/command.h"

using hubapi::Command;
using hubapi::moved_elements;

int SensorCalibrationAPI::setCctChannelBacklight_api(int type, int a, int b, float* ch) {
  LOGE("enter setCctChannelBacklight_api sensor_type=%d", type);
  Command msg(type, oem_test_msg::backlight_channels);
  msg.set_as_float(0, a);
  msg.set_as_float(1, b);
  for (int i = 0; i < 4; ++i) msg.set_float(2 + i, ch[i]);
  send_ssc_oem_test_msg(&msg);
  const int result = msg.get_int(0);
  LOGE("setCctChannelBacklight_api return val=%d", result);
  return result;
}

int SensorCalibrationAPI::getLuxChannelRawGolden_api(int type, float* raw, int length) {
  LOGE("enter getLuxChannelRawGolden_api sensor_type=%d", type);
  Command msg(type, oem_test_msg::get_golden_channels);
  msg.set_as_float(0, length);
  send_ssc_oem_test_msg(&msg);
  const int result = msg.get_int(0);
  LOGE("getLuxChannelRawGolden_api return offset_ct[0]=%d", result);
  for (int i = 0; i < moved_elements(length); ++i) {
    raw[i] = msg.get_float(1 + i);
    LOGE("getLuxChannelRawGolden_api return raw=%f", raw[i]);
  }
  return result < 0 ? -1 : 0;
}

int SensorCalibrationAPI::setLuxChannelRawGolden_api(int type, float* raw, int length) {
  LOGE("enter setLuxChannelRawGolden_api sensor_type=%d", type);
  Command msg(type, oem_test_msg::set_golden_channels);
  msg.set_as_float(0, length);
  for (int i = 0; i < moved_elements(length); ++i) {
    msg.set_float(1 + i, raw[i]);
    LOGE("setLuxChannelRawGolden_api raw[%d] = %f", i, raw[i]);
  }
  send_ssc_oem_test_msg(&msg);
  const int result = msg.get_int(0);
  LOGE("setLuxChannelRawGolden_api return val=%d", result);
  return result;
}

int SensorCalibrationAPI::getLuxChannelScale_api(int type, float* scale, int length) {
  LOGE("enter getLuxChannelScale_api sensor_type=%d, length: %d", type, length);
  Command msg(type, oem_test_msg::get_channel_scales);
  msg.set_as_float(0, length);
  send_ssc_oem_test_msg(&msg);
  const int result = msg.get_int(0);
  LOGE("getLuxChannelScale_api return val=%d, length: %d", result, length);
  for (int i = 0; i < moved_elements(length); ++i) {
    scale[i] = msg.get_float(1 + i);
    LOGD("getLuxChannelScale_api scale[%d]=%f", i, scale[i]);
  }
  return result;
}

int SensorCalibrationAPI::setLuxChannelScale_api(int type, float* scale, int length) {
  LOGE("enter setLuxChannelScale_api sensor_type=%d", type);
  Command msg(type, oem_test_msg::set_channel_scales);
  msg.set_as_float(0, length);
  for (int i = 0; i < moved_elements(length); ++i) {
    msg.set_float(1 + i, scale[i]);
    LOGE("setLuxChannelScale_api scale[%d] = %f", i, scale[i]);
  }
  send_ssc_oem_test_msg(&msg);
  const int result = msg.get_int(0);
  LOGE("setLuxChannelScale_api return val=%d", result);
  return result;
}

int SensorCalibrationAPI::setCCTCaliCmd_api(int type, int cmd_id) {
  LOGD("enter [%s] sensor_type=%d, cmd_id=%d", __func__, type, cmd_id);
  Command msg(type, oem_test_msg::start_colour_run);
  msg.set_as_float(0, cmd_id);
  send_ssc_oem_test_msg(&msg);
  return msg.get_int(0);
}

int SensorCalibrationAPI::getCCTCaliRet_api(int type, int cmd_id) {
  constexpr float kAskForResult = 92.0f;
  LOGD("enter [%s] sensor_type=%d, cmd_id=%d", __func__, type, cmd_id);
  Command msg(type, oem_test_msg::colour_run_result);
  msg.set_as_float(0, cmd_id);
  msg.set_float(1, kAskForResult);
  send_ssc_oem_test_msg(&msg);
  return msg.get_int(0);
}
