// Construction, readiness and tear-down of the calibration object.
#define LOG_TAG "libsensor_cal"
#include <SensorCalibration.h>
#include <stdio.h>

#include <iterator>

#include "base/log.h"

using ::android::frameworks::sensorservice::V1_0::IEventQueue;
using ::android::frameworks::sensorservice::V1_0::ISensorManager;
using ::android::frameworks::sensorservice::V1_0::Result;
using ::vendor::corvane::sensor::kestsensorservice::V1_1::IKestSensorService;

namespace {

// Names of the results 1 to 7 of the sensor manager.
constexpr const char* kResultNames[] = {"NOT_EXIST", "NO_MEMORY",         "NO_INIT",      "PERMISSION_DENIED",
                                        "BAD_VALUE", "INVALID_OPERATION", "UNKNOWN_ERROR"};

void log_queue_failure(int32_t result) {
  char number[16];
  const char* name = number;
  if (result >= 1 && result <= static_cast<int32_t>(std::size(kResultNames))) {
    name = kResultNames[result - 1];
  } else {
    snprintf(number, sizeof number, "0x%x", static_cast<unsigned>(result));
  }
  LOGE("createEventQueue failed with result=%s", name);
}

// Takes `cal` out of the current callback, so that a later event is dropped. Waits for a delivery in progress to leave.
void detach_callback(const SensorCalibration* cal) {
  if (msensorEventCallback == nullptr) return;
  const std::lock_guard<std::mutex> lock(msensorEventCallback->mutex);
  if (cal == nullptr || msensorEventCallback->calibration == cal) msensorEventCallback->calibration = nullptr;
}

}  // namespace

SensorCalibration::SensorCalibration() {
  LOGI("SensorCalibrationAPI: struct init");
  kest_service = IKestSensorService::getService("default");
  if (kest_service != nullptr) LOGI("SensorCalibrationAPI: get IKestSensorService interface successful");

  sensor_manager = ISensorManager::getService("default");
  if (sensor_manager == nullptr) {
    LOGE("%s: Could not get service!", "SensorCalibration");
    return;
  }

  get_all_sensors_info();

  cal_api = new SensorCalibrationAPI;
  if (cal_api->status == 0) {
    LOGI("SensorCalibration: get SensorCalibrationAPI interface successful");
    init_status = 0;  // also after a failed sensor list: the command API alone decides
  } else {
    LOGI("SensorCalibration: get SensorCalibrationAPI interface fail");
  }

  detach_callback(nullptr);  // events go to the newest object only
  msensorEventCallback = new SensorEventCallback(this);

  int32_t result = 1;  // stands, and prints NOT_EXIST, when the call never answers
  const auto sent =
      sensor_manager->createEventQueue(msensorEventCallback, [&](const ::android::sp<IEventQueue>& queue, Result r) {
        event_queue = queue;
        result = static_cast<int32_t>(r);
      });
  (void)sent.isOk();  // told by `result`
  if (result != 0) log_queue_failure(result);

  pthread_mutex_init(&cal_mutex, nullptr);
  pthread_cond_init(&cal_cond, nullptr);
}

SensorCalibration::~SensorCalibration() {
  LOGI("SensorCalibrationAPI: struct deinit");
  detach_callback(this);
  sensor_manager.clear();
  event_queue.clear();
  delete cal_api;
  kest_service.clear();
}

int SensorCalibration::initCheck() { return init_status; }

int SensorCalibration::sensor_cal_deinit() {
  LOGI("sensor_cal_deinit ");
  pthread_mutex_destroy(&cal_mutex);
  const int result = pthread_cond_destroy(&cal_cond);
  // Static initialisers hold nothing and leave both destroyable: a second call, or one on an object whose construction
  // stopped early, is harmless.
  cal_mutex = PTHREAD_MUTEX_INITIALIZER;
  cal_cond = PTHREAD_COND_INITIALIZER;
  return result;
}
