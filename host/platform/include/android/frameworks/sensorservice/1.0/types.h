// Stand-in for the generated types of android.frameworks.sensorservice@1.0.
#pragma once

#include <stdint.h>

namespace android {
namespace frameworks {
namespace sensorservice {
namespace V1_0 {

enum class Result : int32_t {
  OK = 0,
  NOT_EXIST = 1,
  NO_MEMORY = 2,
  NO_INIT = 3,
  PERMISSION_DENIED = 4,
  BAD_VALUE = 5,
  INVALID_OPERATION = 6,
  UNKNOWN_ERROR = 7,
};

}  // namespace V1_0
}  // namespace sensorservice
}  // namespace frameworks
}  // namespace android
