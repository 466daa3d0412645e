// The device maker's sensor test service: declared with the one method that is used here.
#pragma once

#include <functional>

#include <hidl/Status.h>
#include <host/interface.h>
#include <vendor/corvane/sensor/kestsensorservice/1.1/types.h>

namespace vendor {
namespace corvane {
namespace sensor {
namespace kestsensorservice {
namespace V1_1 {

struct IKestSensorService : public ::android::hardware::details::ExtendsService<IKestSensorService> {
  static const char* descriptor;

  using send_ssc_oem_test_msg_cb = std::function<void(const ssc_oem_test_msg& msg)>;
  virtual ::android::hardware::Return<void> send_ssc_oem_test_msg(const ssc_oem_test_msg& msg,
                                                                  send_ssc_oem_test_msg_cb _hidl_cb) = 0;
};

}  // namespace V1_1
}  // namespace kestsensorservice
}  // namespace sensor
}  // namespace corvane
}  // namespace vendor
