// Time-of-flight proximity.
#include "hubapi/command.h"

using hubapi::Command;

int SensorCalibrationAPI::setTofPrxCal_api(int type, int para) {
  constexpr int kFirstPara = 5;  // reference, offset and crosstalk, in the order of their codes
  constexpr int kLastPara = 7;
  if (para < kFirstPara || para > kLastPara) return -1;
  const int32_t code = oem_test_msg::tof_reference + (para - kFirstPara);
  Command msg(type, code);
  send_ssc_oem_test_msg(&msg);
  const int result = msg.get_int(0);
  if (result != 0) LOGE("setTofPrxCal_api fail ret=%d", result);
  // Deliberate: this line shows the code for the para, and 0 whatever the hub said.
  LOGI("%s: tof proxmity type %d calibration para=%d ret = %d", __func__, type, code, 0);
  return result;
}

int SensorCalibrationAPI::getTofOffset_api(int* offset, int para) {
  LOGD("enter getTofOffset_api para=%d, offset = %d", para, *offset);
  if (para != 0) {
    LOGE("getTofOffset_api para=%d not support", para);
    return 0;  // deliberately no failure: nothing was asked
  }
  Command msg(sensor_type::tof, oem_test_msg::get_proximity);
  msg.set_int(0, -1);
  msg.set_int(1, -1);
  send_ssc_oem_test_msg(&msg);
  *offset = msg.get_int(2);
  LOGD("enter getTofOffset_api para=%d, offset = %d", para, *offset);
  return 0;
}
