// The test service's message record.
#pragma once

#include <stdint.h>

#include <hidl/HidlSupport.h>

namespace vendor {
namespace corvane {
namespace sensor {
namespace kestsensorservice {
namespace V1_1 {

struct ssc_oem_test_msg final {
  int32_t sensor_type;
  int32_t msg_type;
  ::android::hardware::hidl_array<int32_t, 16> data;
};

static_assert(sizeof(ssc_oem_test_msg) == 72, "the hub's record has 72 bytes and no padding");

}  // namespace V1_1
}  // namespace kestsensorservice
}  // namespace sensor
}  // namespace corvane
}  // namespace vendor
