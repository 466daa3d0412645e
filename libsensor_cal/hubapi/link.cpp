// The link to the maker's test service, and the one call that everything goes through.
#include <errno.h>

#include "hubapi/command.h"

using ::vendor::corvane::sensor::kestsensorservice::V1_1::IKestSensorService;
using ::vendor::corvane::sensor::kestsensorservice::V1_1::ssc_oem_test_msg;

static_assert(sizeof(ssc_oem_test_msg) == sizeof(_ssc_oem_test_msg), "the record is copied whole");

namespace {

void log_reply(const _ssc_oem_test_msg& reply) {
  int32_t ints[2];
  memcpy(ints, reply.offset_ct, sizeof ints);
  float floats[6];
  memcpy(floats, reply.offset, sizeof floats);
  LOGI("send_ssc_oem_test_msg return msg: type: %d, value:(%d, %d)", reply.sensor_type, ints[0], ints[1]);
  LOGI("send_ssc_oem_test_msg return msg: type: %d, value:(%f, %f, %f, %f, %f, %f)", reply.sensor_type, floats[0],
       floats[1], floats[2], floats[3], floats[4], floats[5]);
}

}  // namespace

SensorCalibrationAPI::SensorCalibrationAPI() : status(-ENODEV) {
  LOGI("SensorCalibrationAPI: struct init");
  service = IKestSensorService::getService("default", false);
  if (service.get() == nullptr) {
    LOGI("SensorCalibrationAPI: get IKestSensorService interface fail");
    return;
  }
  LOGI("SensorCalibrationAPI: get IKestSensorService interface successful");
  status = 0;
}

SensorCalibrationAPI::~SensorCalibrationAPI() { LOGI("SensorCalibrationAPI: struct deinit"); }

int SensorCalibrationAPI::initCheck() const { return status; }

int SensorCalibrationAPI::send_ssc_oem_test_msg(_ssc_oem_test_msg* msg) {
  LOGD("%s: send_ssc_oem_test_msg: %p", __func__, static_cast<void*>(msg));
  // A service that restarted since the constructor ran is found again by this look-up.
  const ::android::sp<IKestSensorService> current = IKestSensorService::getService("default", false);
  if (current.get() == nullptr) return 0;

  ssc_oem_test_msg sent;
  memcpy(&sent, msg, sizeof sent);
  ssc_oem_test_msg reply;
  memset(&reply, 0, sizeof reply);
  // One captured pointer: std::function keeps it in place and allocates nothing.
  const auto call =
      current->send_ssc_oem_test_msg(sent, [out = &reply](const ssc_oem_test_msg& answer) { *out = answer; });
  (void)call.isOk();  // deliberately no error: a call that never answered leaves all 72 bytes zero
  memcpy(msg, &reply, sizeof reply);
  log_reply(*msg);
  return 0;
}
