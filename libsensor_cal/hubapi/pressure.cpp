// Barometer offset.
#include "hubapi/command.h"

using hubapi::Command;

int SensorCalibrationAPI::setBarOffset_api(float diff) {
  LOGD("setBarDiff_api diff:%f", diff);
  Command msg(sensor_type::pressure, oem_test_msg::set_pressure_offset);
  msg.set_float(0, diff);
  send_ssc_oem_test_msg(&msg);
  return 0;
}

int SensorCalibrationAPI::getBarOffset_api(float* diff) {
  Command msg(sensor_type::pressure, oem_test_msg::get_pressure_offset);
  send_ssc_oem_test_msg(&msg);
  *diff = msg.get_float(0);
  LOGD("getBarOffset_api diff = %f", *diff);
  return 0;
}
