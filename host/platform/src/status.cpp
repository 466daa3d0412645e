#include <hidl/Status.h>

#include <stdio.h>
#include <stdlib.h>

namespace android {
namespace hardware {
namespace details {

void return_status::assertOk() const {
  if (isOk()) return;
  fprintf(stderr, "Attempted to retrieve value from failed HIDL call: %s\n", status_.exceptionMessage());
  abort();
}

}  // namespace details
}  // namespace hardware
}  // namespace android
