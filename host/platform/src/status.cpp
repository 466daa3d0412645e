#include <hidl/Status.h>

#include <stdio.h>
#include <stdlib.h>

namespace android {
namespace hardware {

std::string Status::description() const {
  if (isOk()) return "No error";
  std::string text = "exception " + std::to_string(exception_);
  if (exception_ == EX_TRANSACTION_FAILED) text += ", status " + std::to_string(error_);
  return message_.empty() ? text : text + ": " + message_;
}

namespace details {

void return_status::end(const char* why) const {
  fprintf(stderr, "%s: %s\n", why, description().c_str());
  abort();
}

}  // namespace details
}  // namespace hardware
}  // namespace android
