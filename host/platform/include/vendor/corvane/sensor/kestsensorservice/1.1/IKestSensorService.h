// The device maker's sensor test service: declared with the one method that is used here.
#pragma once

#include <functional>
#include <string>

#include <android/hidl/base/1.0/IBase.h>
#include <hidl/Status.h>
#include <utils/Errors.h>
#include <utils/StrongPointer.h>
#include <vendor/corvane/sensor/kestsensorservice/1.1/types.h>

namespace vendor {
namespace corvane {
namespace sensor {
namespace kestsensorservice {
namespace V1_1 {

struct IKestSensorService : public ::android::hidl::base::V1_0::IBase {
  static constexpr const char* descriptor = "vendor.corvane.sensor.kestsensorservice@1.1::IKestSensorService";

  using send_ssc_oem_test_msg_cb = std::function<void(const ssc_oem_test_msg& msg)>;
  virtual ::android::hardware::Return<void> send_ssc_oem_test_msg(const ssc_oem_test_msg& msg,
                                                                  send_ssc_oem_test_msg_cb _hidl_cb) = 0;

  static ::android::sp<IKestSensorService> getService(const std::string& serviceName = "default", bool getStub = false);
  ::android::status_t registerAsService(const std::string& serviceName = "default");
};

}  // namespace V1_1
}  // namespace kestsensorservice
}  // namespace sensor
}  // namespace corvane
}  // namespace vendor
