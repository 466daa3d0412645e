// The proximity crosstalk files: read as scanf would, untouched outputs on failure, and what is saved is read back.
#include <SensorCalibrationAPI.h>

#include <cstdio>

#include "support/checks.h"
#include "support/device_files.h"

namespace {

constexpr int kUntouched = 0x5a5a5a5a;

struct Access {
  fuzz::DeviceFile file;
  int (SensorCalibrationAPI::*load)(int*);
  int (SensorCalibrationAPI::*save)(int);
};

// What scanf takes; a number beyond an int saturates, as glibc's long long does beyond its own.
bool scan(const std::string& text, int* value) {
  long long wide = 0;
  if (sscanf(text.c_str(), "offset=%lld", &wide) != 1) return false;
  *value = wide > INT32_MAX ? INT32_MAX : wide < INT32_MIN ? INT32_MIN : static_cast<int>(wide);
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using Api = SensorCalibrationAPI;
  static Access* const all = new Access[3]{
      {fuzz::DeviceFile("/mnt/vendor/persist/sensors/PSensor_ct1.txt"), &Api::load_prox_ct1, &Api::save_prox_ct1},
      {fuzz::DeviceFile("/mnt/vendor/persist/sensors/PSensor_ct2.txt"), &Api::load_prox_ct2, &Api::save_prox_ct2},
      {fuzz::DeviceFile("/mnt/vendor/persist/sensors/PSensor3cm_ct.txt"), &Api::load_prox_delta, &Api::save_prox_delta},
  };
  static Api* const api = new Api;
  fuzz::quiet_log(size);
  FuzzedDataProvider in(data, size);
  const int which = in.ConsumeIntegralInRange<int>(0, 2);
  Access& access = all[which];
  const int saved = fuzz::any_int(&in);
  const std::string text = in.ConsumeRemainingBytesAsString();

  access.file.set(text);
  int value = kUntouched;
  int expected = kUntouched;
  const bool good = scan(text, &expected);
  HOLDS((api->*access.load)(&value) == (good ? 0 : -5));
  HOLDS(value == expected);
  HOLDS((api->*access.save)(saved) == 0);
  HOLDS(access.file.get() == "offset=" + std::to_string(saved) + "\n");
  HOLDS((api->*access.load)(&value) == 0 && value == saved);
  if (size % 64 == 0) {
    access.file.remove();
    HOLDS((api->*access.load)(&value) == -5 && value == saved);
    HOLDS(which != 2 || api->remove_prox_delta() == 0);
  }
  return 0;
}
