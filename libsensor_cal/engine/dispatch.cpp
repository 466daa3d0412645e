// The exported entry points: which flow or hub command serves a request.
#define LOG_TAG "libsensor_cal"
#include <SensorCalibration.h>

#include "base/log.h"
#include "engine/run.h"

namespace {

constexpr char kName[] = "sensor_calibrate";

// The parameter values form one space shared by all types; the tests on them come before those on the type.
enum class Test { kAnyType, kSar, kProximity, kTof, kOther };

bool type_fits(Test test, int type) {
  switch (test) {
    case Test::kAnyType:
    case Test::kOther:
      return true;
    case Test::kSar:
      return type == sensor_type::sar || type == sensor_type::sar_second;
    case Test::kProximity:
      return type == sensor_type::proximity;
    case Test::kTof:
      return type == sensor_type::tof;
  }
  return false;
}

int under_oled(SensorCalibration& cal, int type, int param) {
  const int ret = cal.underoled_lux_calibrate(type, param);
  LOGI("%s: qvx AMBIENT_UNDER_OLED_WHITE type=%d ret = %d", kName, type, ret);
  return ret;
}

int self_test(SensorCalibration& cal, int type, int) {
  const int ret = cal.cal_api == nullptr ? -1 : cal.cal_api->setSelftest_api(type);
  LOGI("%s: SENSOR_SELFTEST type=%d ret = %d", kName, type, ret);
  return ret;
}

int panel_light(SensorCalibration& cal, int type, int param) {
  const int ret = cal.lcdbacklight_lux_calibrate(type, param);
  LOGI("%s: lcdbacklight_lux_calibrate type=%d ret = %d", kName, type, ret);
  return ret;
}

int high_lux(SensorCalibration& cal, int type, int param) {
  const int ret = cal.cal_api == nullptr ? -1 : cal.cal_api->setAlsHighLuxCali_api(type, param);
  LOGI("%s: setAlsHighLuxCali_api type=%d ret = %d", kName, type, ret);
  return ret;
}

int sar_soft(SensorCalibration& cal, int type, int) {
  const int ret = cal.cal_api == nullptr ? -1 : cal.cal_api->setSarSoftCal_api(type);
  LOGI("%s: setSarCal_api type=%d ret = %d", kName, type, ret);  // deliberately the text of the normal one
  return ret;
}

int sar(SensorCalibration& cal, int type, int) {
  const int ret = cal.cal_api == nullptr ? -1 : cal.cal_api->setSarCal_api(type);
  LOGI("%s: setSarCal_api type=%d ret = %d", kName, type, ret);
  return ret;
}

int refuse_tof(int param) {
  LOGI("%s: tof sensor not support for this phone para = %d ret = %d", kName, param, -1);
  return -1;
}

int proximity_tof(SensorCalibration& cal, int, int param) {
  if (cal.test_is_ps_tof_sensor() == 0) return refuse_tof(param);  // a failed probe counts as a time-of-flight part
  const int ret = cal.cal_api == nullptr ? -1 : cal.cal_api->setTofPrxCal_api(sensor_type::proximity, param);
  LOGI("%s: tof proxmity calibration para=%d, ret = %d", kName, param, ret);
  return ret;
}

int proximity(SensorCalibration& cal, int, int param) {
  const uint8_t hardware = cal.test_is_pshwcali_sensor() != 0 ? 1 : 0;
  record_at(cal, kRecordProximity).hw_cali = hardware;
  if (cal.onchange_reporting_sensor_calibrate(sensor_type::proximity, param) == 0) return 0;
  LOGE("onchange_reporting_sensor_calibrate fail ret=%d", -1);  // deliberately not the flow's own code
  return -1;
}

int tof(SensorCalibration& cal, int, int param) {
  if (cal.test_is_tof_sensor() == 0) return refuse_tof(param);
  const int ret = cal.cal_api == nullptr ? -1 : cal.cal_api->setTofPrxCal_api(sensor_type::tof, param);
  LOGI("%s: tof calibration para=%d, ret = %d", kName, param, ret);
  return ret;
}

int refuse(SensorCalibration&, int, int) { return -1; }

int continuous(SensorCalibration& cal, int type, int param) {
  const int ret = cal.continue_reporting_sensor_calibrate(type, param);
  if (ret != 0) LOGE("continue_reporting_sensor_calibrate fail ret=%d", ret);
  return ret;
}

struct Row {
  Test type;
  bool any_param;
  int first_param;  // inclusive range
  int last_param;
  int (*action)(SensorCalibration& cal, int type, int param);
};

// The first row that fits decides.
constexpr Row kRows[] = {
    {Test::kAnyType, false, 8, 11, under_oled},
    {Test::kAnyType, false, 4, 4, self_test},
    {Test::kAnyType, false, 13, 14, panel_light},
    {Test::kAnyType, false, 12, 12, high_lux},
    {Test::kAnyType, false, 15, 18, high_lux},
    {Test::kSar, false, -1, -1, sar_soft},
    {Test::kSar, true, 0, 0, sar},
    {Test::kProximity, false, 5, 7, proximity_tof},
    {Test::kProximity, true, 0, 0, proximity},
    {Test::kTof, false, 5, 6, tof},
    {Test::kTof, true, 0, 0, refuse},
    {Test::kOther, true, 0, 0, continuous},
};

bool param_fits(const Row& row, int param) {
  return row.any_param || (param >= row.first_param && param <= row.last_param);
}

}  // namespace

int SensorCalibration::sensor_calibrate(int type, int param) {
  LOGI("[%s] type = %d, param = %d", kName, type, param);
  for (const Row& row : kRows) {
    if (type_fits(row.type, type) && param_fits(row, param)) return row.action(*this, type, param);
  }
  return -1;  // not reached: the last row fits everything
}

int SensorCalibration::sensor_calibrate(int type, int channel, float target) {
  LOGE("enter sensor_calibrate, type=%d, channel=%d, target=%f", type, channel, static_cast<double>(target));
  if (type != sensor_type::lux_b && type != sensor_type::light) return -1;
  const int ret = cal_api == nullptr ? -1 : cal_api->setAlsChannelDataCali_api(type, channel, target);
  LOGE("%s: setAlsChannelDataCali_api type=%d ret = %d", kName, type, ret);
  return ret;
}

double SensorCalibration::sensor_setconfig(int type, int param, float value) {
  _sensor_info& record = record_at(*this, kRecordPressure);
  if (type != sensor_type::pressure || record.present == 0) return -1.0;
  {
    const EventHold hold(*this);
    record.reference = value;
  }
  if (cal_api == nullptr) return -1.0;
  const int ret = continue_reporting_sensor_calibrate(sensor_type::pressure, param);
  if (ret == 0) return 0.0;
  LOGE("continue_reporting_sensor_calibrate fail ret=%d", ret);
  return ret;
}

int SensorCalibration::sensor_set_sar_reg(int type, int* adr) {
  LOGE("sensor_set_sar_reg adr[0]=%d, adr[1]=%d", adr[0], adr[1]);
  return cal_api == nullptr ? -1 : cal_api->setSARreg(type, adr);
}

int SensorCalibration::sensor_set_sarsec_reg(int type, int* adr) {
  LOGE("sensor_set_sarsec_reg adr[0]=%d, adr[1]=%d", adr[0], adr[1]);
  return cal_api == nullptr ? -1 : cal_api->setSARSECreg(type, adr);
}
