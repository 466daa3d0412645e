// Stand-in for libutils' <utils/Errors.h>.
#pragma once

#include <errno.h>
#include <stdint.h>

namespace android {

typedef int32_t status_t;

enum {
  OK = 0,
  NO_ERROR = OK,
  UNKNOWN_ERROR = (-2147483647 - 1),
  NAME_NOT_FOUND = -ENOENT,
  DEAD_OBJECT = -EPIPE,
  FAILED_TRANSACTION = (UNKNOWN_ERROR + 2),
};

}  // namespace android
