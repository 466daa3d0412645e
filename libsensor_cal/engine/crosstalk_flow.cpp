// Proximity chips that measure their own optical crosstalk.
#define LOG_TAG "libsensor_cal"
#include <cutils/properties.h>
#include <string.h>

#include "base/log.h"
#include "engine/run.h"

namespace {

// Reads the product name into the buffer and logs it.
void read_product(char* product) {
  property_get("ro.build.product", product, "");
  LOGE("hwversion=%s\n", product);
}

}  // namespace

int SensorCalibration::sensor_hw_crosstalk_calibration(int type) {
  if (cal_api == nullptr) return 0;
  // 1. and 2. Order the measurement.
  int first = 0;
  int second = 0;
  if (cal_api->setPrxFroceCal_api(type, &first, &second) != 0) {
    LOGE("sensor_hw_crosstalk_calibration failed!");
    return 0;
  }
  // 3. Keep both results.
  _sensor_info& record = record_at(*this, kRecordProximity);
  record.ct_value = first;
  record.ct_aux = second;
  LOGD("sensor_hw_crosstalk_calibration get result: %d, %d!", first, second);
  // 4. and 5. Two products; the property is deliberately fetched again for the second.
  char product[PROPERTY_VALUE_MAX];
  read_product(product);
  if (strcmp(product, "raz") != 0) {
    read_product(product);
    if (strcmp(product, "pok") != 0) return 1;
  }
  // 6. There the results are the low and the high byte of one value.
  LOGE("product_name is %s\n", product);
  record.ct_value = first | static_cast<int>(static_cast<unsigned>(second) << 8);
  return 1;
}
