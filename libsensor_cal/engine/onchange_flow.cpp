// Calibration of the proximity sensor, by the hardware or the normal procedure.
#define LOG_TAG "libsensor_cal"
#include <cutils/properties.h>
#include <string.h>

#include "base/log.h"
#include "base/numbers.h"
#include "catalogue/product.h"
#include "engine/run.h"

namespace {

constexpr char kName[] = "onchange_reporting_sensor_calibrate";
constexpr int kSmallestDistance = 50;  // near value minus crosstalk
constexpr int kLargestNearHardware = 1000;
constexpr int kLargestNearNormal = 65536;
constexpr float kNormalFactor = 2.27F;
constexpr float kDovBias = 20000.0F;

// Steps of the factory sequence.
constexpr int kCrosstalkStep = 0;
constexpr int kThresholdStep = 2;
constexpr int kRestoreStep = 19;

//                                 period axes timeout samples variance zero  bias      skip
constexpr RunSettings kSettings = {100, 1, 5, 10, 2000.0F, 0, 10000.0F, 10};

// The far threshold: `factor` nearer to the crosstalk than the near one. Single precision, truncated.
int far_threshold(int near, int crosstalk, float factor) {
  const float distance = static_cast<float>(saturating_sub(near, crosstalk));
  return to_int(static_cast<double>(distance / factor + static_cast<float>(crosstalk)));
}

int hardware_crosstalk_step(SensorCalibration& cal, const _sensor_info& record, int raw) {
  if (cal.cal_api->setPrxOffset_api(record.ct_value, 3, 1) != 0) return -1;
  if (cal.cal_api->setPrxOffset_api(raw, 0, 1) != 0) return -1;
  return 0;
}

int hardware_threshold_step(SensorCalibration& cal, int raw) {
  // 1. The product decides the factor.
  char product[PROPERTY_VALUE_MAX];
  property_get("ro.product.product.name", product, "");
  LOGE("hwversion=%s\n", product);
  const float factor = strcmp(product, "tessak") == 0 ? 2.6F : 1.89F;
  // 2. The crosstalk found before.
  int crosstalk = 0;
  const int read = cal.cal_api->getPrxOffset_api(&crosstalk, 0, 1);
  if (read != 0) {
    LOGE("getPrxOffset_api ct fail ret = %d", read);
    return -1;
  }
  // 3. The near value.
  const int near = raw;
  if (near <= crosstalk || near > kLargestNearHardware || saturating_sub(near, crosstalk) < kSmallestDistance) {
    LOGE("offset_near invalid %d", near);
    return -1;
  }
  // 4. The far value.
  const int far = far_threshold(near, crosstalk, factor);
  LOGI("calibration factor=%f, offset_threshold=%d, offset_ct=%d\n", static_cast<double>(factor), kLargestNearHardware,
       crosstalk);
  // 5. It must lie above the crosstalk.
  if (crosstalk >= far) {
    LOGE("offset_far <= pdata_ct");
    return -1;
  }
  // 6. Push.
  if (cal.cal_api->setPrxThreshold_api(near, far, -1) < 0) {
    LOGE("send_ssc_oem_test_msg set threshold to drvier failed!");
    return -1;
  }
  return 0;
}

int hardware_procedure(SensorCalibration& cal, int param, const _sensor_info& record, int raw) {
  LOGD("using hw calibration procedure for psensor!");
  switch (param) {
    case kCrosstalkStep:
      return hardware_crosstalk_step(cal, record, raw);
    case kThresholdStep:
      return hardware_threshold_step(cal, raw);
    default:
      return 0;
  }
}

int normal_crosstalk_step(SensorCalibration& cal, float average, int raw) {
  // 1. Entry.
  LOGI("psensor crosstalk rawdata=%f to regisrty\n", static_cast<double>(average));
  // 2. Without a saved delta only the offset is pushed.
  int delta = 0;
  if (cal.cal_api->getProDelta_api(&delta, 0, 0) != 0) {
    const int pushed = cal.cal_api->setPrxOffset_api(raw, 0, 0);
    LOGI("prxinfo.offset[0] = %f\n", static_cast<double>(average));
    if (pushed != 0) return -1;
  } else {
    // 3. With it, the thresholds move along with the crosstalk.
    LOGI("getProDelta_api  delta\n");
    const int far = to_int(static_cast<double>(static_cast<float>(delta) / kNormalFactor + static_cast<float>(raw)));
    if (cal.cal_api->setPrxThreshold_api(saturating_add(delta, raw), far, raw) < 0) {
      LOGE("send_ssc_oem_test_msg set threshold to drvier failed!\n");
      return -1;
    }
  }
  // 4. Done.
  LOGD("psensor crosstalk to file done\n");
  return 0;
}

int normal_restore_step(SensorCalibration& cal, float average, int raw) {
  // 1. Entry.
  LOGD("psensor crosstalk rawdata=%f to regisrty\n", static_cast<double>(average));
  LOGD("psensor crosstalk rawdata \n");
  // 2. The saved delta.
  int delta = 0;
  const int read = cal.cal_api->getProDelta_api(&delta, 19, 0);
  LOGD("morva ret = %d\n", read);
  // 3. Without one there is nothing to restore, which is no failure.
  if (read == 0) {
    LOGD("factory getProDelta_api  delta = %d\n", delta);
    if (cal.cal_api->setPrxThreshold_api(delta, -1, raw) < 0) {
      LOGD("send_ssc_oem_test_msg set threshold to drvier failed!\n");
      return -1;
    }
  } else {
    LOGD("Failed to read the delta data file\n");
  }
  // 4. Done.
  LOGD("psensor crosstalk to file done\n");
  return 0;
}

// Logs the near value where it is too close to the crosstalk or, on most products, too large.
bool normal_near_fits(int near, int crosstalk) {
  const bool too_close = near <= crosstalk || saturating_sub(near, crosstalk) < kSmallestDistance;
  if (is_your_product("dov")) {
    LOGE("Q47, psensor offset_near and far\n");
    if (too_close) LOGE("Q47 offset_near invalid near: %d, ct: %d", near, crosstalk);
    return !too_close;
  }
  if (too_close || near > kLargestNearNormal) {
    LOGE("offset_near invalid near: %d, ct: %d", near, crosstalk);
    return false;
  }
  return true;
}

int normal_threshold_step(SensorCalibration& cal, int raw) {
  // 1. The crosstalk that the hub holds; logged before the result is tested.
  int crosstalk = 0;
  const int read = cal.cal_api->getPrxOffset_api(&crosstalk, 0, 0);
  LOGE("onchange_reporting_sensor_calibrate  calapi->getPrxOffset_api offset_ct = %d\n", crosstalk);
  if (read != 0) {
    LOGE("getPrxOffset_api ct fail ret = %d", read);
    return -1;
  }
  // 2. The near value.
  const int near = raw;
  if (!normal_near_fits(near, crosstalk)) return -1;
  // 3. The far value must lie above the crosstalk.
  const int far = far_threshold(near, crosstalk, kNormalFactor);
  LOGI("calibration factor=%f\n", static_cast<double>(kNormalFactor));
  if (crosstalk >= far) {
    LOGE("offset_far <= pdata_ct");
    return -1;
  }
  // 4. and 5. Push.
  LOGE("%s: offset_near %d, offset_far %d, pdata_ct %d", kName, near, far, crosstalk);
  if (cal.cal_api->setPrxThreshold_api(near, far, crosstalk) < 0) {
    LOGE("send_ssc_oem_test_msg set threshold to drvier failed!\n");
    return -1;
  }
  // 6. Save the distance for later runs.
  if (cal.cal_api->saveProDelta_api(saturating_sub(near, crosstalk), 2, 0) < 0) {
    LOGE("saveProDelta_api save delta failed!\n");
    return -1;
  }
  return 0;
}

int normal_procedure(SensorCalibration& cal, int param, float average, int raw) {
  LOGD("%s, using normal calibration procedure for psensor! para=%d", kName, param);
  switch (param) {
    case kCrosstalkStep:
      return normal_crosstalk_step(cal, average, raw);
    case kRestoreStep:
      return normal_restore_step(cal, average, raw);
    case kThresholdStep:
      return normal_threshold_step(cal, raw);
    default:
      return 0;
  }
}

// Writes the sampling settings; one product's reflections are stronger.
void prepare(SensorCalibration& cal, _sensor_info& record) {
  RunSettings settings = kSettings;
  if (is_your_product("dov")) settings.bias_threshold = kDovBias;
  write_settings(cal, record, settings);
}

}  // namespace

int SensorCalibration::onchange_reporting_sensor_calibrate(int type, int param) {
  // 1. Only the proximity sensor.
  LOGI("%s: enter type=%d, para: %d", kName, type, param);
  if (type != sensor_type::proximity) return 0;
  // 2. It must be there.
  _sensor_info& record = record_at(*this, kRecordProximity);
  if (record.present == 0) {
    LOGE("%s: sensor not exist. type = %d", kName, sensor_type::proximity);
    return -1;
  }
  if (cal_api == nullptr) return -1;
  // 3. Such chips first measure their own crosstalk.
  if (param == kCrosstalkStep && record.hw_cali != 0) {
    LOGD("first do crosstalk calibration before getting Psensor raw data!");
    if ((sensor_hw_crosstalk_calibration(sensor_type::proximity) & 1) == 0) {
      LOGD(" do crosstalk calibration failed!!!");
      return -1;
    }
  }
  // 4. Settings.
  prepare(*this, record);
  // 5. Run.
  const int state = run_in_mode(*this, record, &_sensor_info::in_calibrate);
  if (state != run_state::finished) {
    LOGE("lightsensor calibrate fail: state=%d", state);  // deliberately the light sensor's text
    return -1;
  }
  const float average = record.mean[0];
  const int raw = to_int(static_cast<double>(average));
  return record.hw_cali != 0 ? hardware_procedure(*this, param, record, raw)
                             : normal_procedure(*this, param, average, raw);
}
