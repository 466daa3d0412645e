// SAR sensors: offsets, calibration and registers.
#include "hubapi/command.h"

using hubapi::Command;
using hubapi::moved_elements;

namespace {

bool is_sar(int type) { return type == sensor_type::sar || type == sensor_type::sar_second; }

// Deliberate: both calibrations log their failure under the first one's name.
int calibrate(SensorCalibrationAPI* api, const char* operation, int type, float mode) {
  Command msg(type, oem_test_msg::calibrate_sar);
  msg.set_float(0, mode);
  api->send_ssc_oem_test_msg(&msg);
  const int result = msg.get_int(0);
  if (result != 0) LOGE("setSarCal_api fail ret=%d", result);
  LOGI("%s: setSarCal_api sensor_type=%d ret = %d", operation, type, result);
  return result;
}

int write_register(SensorCalibrationAPI* api, int32_t code, int type, const int* para) {
  Command msg(type, code);
  msg.set_int(0, para[0]);
  msg.set_int(1, para[1]);
  api->send_ssc_oem_test_msg(&msg);
  return msg.get_int(1);
}

}  // namespace

int SensorCalibrationAPI::getSAROffset_api(int type, float* offset) {
  LOGD("%s: enter getSAROffset_api type=%d, offset= %f,%f,%f", __func__, type, offset[0], offset[1], offset[2]);
  if (!is_sar(type)) return -1;
  Command msg(type, oem_test_msg::get_sar_offset);
  send_ssc_oem_test_msg(&msg);
  for (int i = 0; i < 3; ++i) offset[i] = msg.get_float(i);
  LOGE("%s: exit getSAROffset_api type=%d ret = %d, offset = {%f, %f, %f}", __func__, type, 0, offset[0], offset[1],
       offset[2]);
  return 0;
}

int SensorCalibrationAPI::getSAROffset_api(int type, float* scale, int length) {
  LOGE("enter getSAROffset_api sensor_type=%d, length: %d", type, length);
  if (!is_sar(type)) return -1;
  Command msg(type, oem_test_msg::get_sar_offset);
  msg.set_as_float(0, length);
  send_ssc_oem_test_msg(&msg);
  const int result = msg.get_int(0);
  LOGE("getSAROffset_api return val=%d, length: %d", result, length);
  for (int i = 0; i < moved_elements(length); ++i) {
    scale[i] = msg.get_float(1 + i);
    LOGD("getSAROffset_api scale[%d]=%f", i, scale[i]);
  }
  return result;
}

int SensorCalibrationAPI::setSarCal_api(int type) { return calibrate(this, __func__, type, 0.0f); }

int SensorCalibrationAPI::setSarSoftCal_api(int type) { return calibrate(this, __func__, type, -1.0f); }

int SensorCalibrationAPI::setSARreg(int type, int* para) {
  LOGE("enter setSARreg para1=%d, para2=%d", para[0], para[1]);
  const int result = write_register(this, oem_test_msg::sar_register, type, para);
  LOGE("setSARreg return val=0x%x", static_cast<unsigned>(result));
  return result;
}

int SensorCalibrationAPI::setSARSECreg(int type, int* para) {
  LOGE("enter setSARSECreg para1=%d, para2=%d", para[0], para[1]);
  const int result = write_register(this, oem_test_msg::sar_register_second, type, para);
  LOGE("setSARSECreg return val=0x%x", static_cast<unsigned>(result));
  return result;
}
