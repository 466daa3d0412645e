// Version of the calibration that the hub stores.
#include "hubapi/command.h"

using hubapi::Command;

namespace {

// Deliberate: a type that does not go with its `judgeHB` is asked with code 0.
constexpr int32_t kNoVersionCode = 0;

// Returns false where `judgeHB` names no version at all.
bool version_code(int type, unsigned judgeHB, int32_t* code) {
  *code = kNoVersionCode;
  switch (judgeHB) {
    case 0:
      *code = oem_test_msg::version;
      return true;
    case 1:
      if (type == sensor_type::light) *code = oem_test_msg::version_lcd;
      return true;
    case 2:
      if (type == sensor_type::light || type == sensor_type::lux_sec) *code = oem_test_msg::version_light;
      return true;
    default:
      return false;
  }
}

float panel_word(const std::string& lcd) { return lcd == "highlcd" ? 13.0f : lcd == "lowlcd" ? 14.0f : -1.0f; }

}  // namespace

int SensorCalibrationAPI::getAMGversion_api(int type, float* version, unsigned judgeHB, std::string lcd) {
  LOGD("%s: enter getAMGversion_api type=%d, judgeHB = %d", __func__, type, static_cast<int>(judgeHB));
  int32_t code;
  if (!version_code(type, judgeHB, &code)) return -1;
  Command msg(type, code);
  const float panel = panel_word(lcd);
  msg.set_float(0, 1.0f);
  msg.set_float(1, panel);
  if (panel < 0) LOGE("%s: msg.threshold[0]=%f", __func__, panel);
  LOGE("%s: msg.msg_type=%d", __func__, code);
  send_ssc_oem_test_msg(&msg);
  *version = msg.get_float(2);
  const int result = msg.get_int(0);
  LOGE("%s: exit getAMGversion_api type=%d msg.offset_ct[0] = %d, version = {%f}", __func__, type, result, *version);
  return result;
}
