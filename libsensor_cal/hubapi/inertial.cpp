// Accelerometer and gyroscope offsets, and the gyroscope's run-time bias.
#include "hubapi/command.h"

using hubapi::Command;

namespace {

struct OffsetCodes {
  int type;
  int32_t set;
  int32_t get;
};

constexpr OffsetCodes kOffsetCodes[] = {
    {sensor_type::accelerometer, oem_test_msg::set_accelerometer_offset, oem_test_msg::get_accelerometer_offset},
    {sensor_type::accelerometer_second, oem_test_msg::set_accelerometer_offset, oem_test_msg::get_accelerometer_offset},
    {sensor_type::gyroscope, oem_test_msg::set_gyroscope_offset, oem_test_msg::get_gyroscope_offset},
    {sensor_type::gyroscope_second, oem_test_msg::set_gyroscope_offset, oem_test_msg::get_gyroscope_offset},
};

const OffsetCodes* codes_of(int type) {
  for (const OffsetCodes& row : kOffsetCodes) {
    if (row.type == type) return &row;
  }
  return nullptr;
}

}  // namespace

int SensorCalibrationAPI::getAMGOffset_api(int type, float* offset) {
  LOGD("%s: enter getAMGOffset_api type=%d, offset= %f,%f,%f", __func__, type, offset[0], offset[1], offset[2]);
  const OffsetCodes* const codes = codes_of(type);
  if (codes == nullptr) return -1;
  Command msg(type, codes->get);
  send_ssc_oem_test_msg(&msg);
  for (int axis = 0; axis < 3; ++axis) offset[axis] = msg.get_float(axis);
  LOGE("%s: exit getAMGOffset_api type=%d ret = %d, offset = {%f, %f, %f}", __func__, type, 0, offset[0], offset[1],
       offset[2]);
  return 0;
}

int SensorCalibrationAPI::setAMGOffset_api(int type, float* offset) {
  LOGD("enter setAMGOffset_api type=%d, offset= %f,%f,%f", type, offset[0], offset[1], offset[2]);
  const OffsetCodes* const codes = codes_of(type);
  if (codes == nullptr) return -1;
  Command msg(type, codes->set);
  for (int axis = 0; axis < 3; ++axis) msg.set_float(axis, offset[axis]);
  send_ssc_oem_test_msg(&msg);
  const int result = msg.get_int(0);
  if (result != 0) LOGE("setAMGOffset_api fail ret=%d", result);
  // Deliberate: this line shows 0 whatever the hub said.
  LOGE("%s: exit setAMGOffset_api type=%d ret = %d, offset = {%f, %f, %f}", __func__, type, 0, offset[0], offset[1],
       offset[2]);
  return result;
}

int SensorCalibrationAPI::reset_gyro_cal_api(int type) {
  if (type != sensor_type::gyroscope && type != sensor_type::gyroscope_second) return 0;
  Command msg(type, oem_test_msg::reset_gyroscope_bias);
  send_ssc_oem_test_msg(&msg);
  return 0;
}
