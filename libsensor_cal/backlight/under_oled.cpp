#define LOG_TAG "libsensor_cal"
#include <SensorCalibration.h>

#include "base/log.h"
#include "base/numbers.h"
#include "records/direct_request.h"

namespace {

constexpr float kColourCommand = -11;
constexpr int kAnyTypeStep = 11;  // the one step that every type may ask for

}  // namespace

int SensorCalibration::underoled_lux_calibrate(int type, int arg) {
  LOGE("qvx underoled_lux_calibrate collectCRGB enter\n");
  if (type != sensor_type::light && arg != kAnyTypeStep) return -1;
  if (kest_service == nullptr) return -1;
  LOGE("qvx underoled_lux_calibrate colletCRGB send \n");
  const double answer = direct_request(kest_service, kColourCommand, static_cast<float>(arg));
  LOGE("qvx underoled_lux_calibrate collectCRGB return is %f \n", answer);
  return to_int(answer);
}
