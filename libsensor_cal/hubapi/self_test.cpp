// The hub's own test of a sensor.
#include "hubapi/command.h"

using hubapi::Command;

int SensorCalibrationAPI::setSelftest_api(int type) {
  Command msg(type, oem_test_msg::self_test);
  send_ssc_oem_test_msg(&msg);
  const int result = msg.get_int(0);
  LOGI("%s: SENSOR_SELFTEST sensor_type=%d ret = %d", __func__, type, result);
  return result;
}
