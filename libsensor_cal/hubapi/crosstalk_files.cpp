#include "hubapi/crosstalk_files.h"

#include <ctype.h>
#include <errno.h>
#include <stdio.h>
#include <unistd.h>

#include <memory>

#include "base/device_path.h"
#include "base/numbers.h"
#include "hubapi/command.h"

namespace hubapi {
namespace {

struct Close {
  void operator()(FILE* file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, Close>;

File open(const char* path, const char* mode) { return File(fopen(device_path(path).c_str(), mode)); }

// Takes what scanf takes for "offset=%d\n". Written out because scanf leaves the outcome of a number out of range
// undefined.
bool scan(FILE* file, int* value) {
  for (const char* label = "offset="; *label != '\0'; ++label) {
    if (getc(file) != *label) return false;
  }
  int c = getc(file);
  while (isspace(c)) c = getc(file);
  const bool negative = c == '-';
  if (c == '-' || c == '+') c = getc(file);
  if (!isdigit(c)) return false;
  double number = 0;  // exact as far as an int reaches, and without end beyond
  for (; isdigit(c); c = getc(file)) number = number * 10 + (c - '0');
  *value = to_int(negative ? -number : number);
  return true;
}

}  // namespace

int load_value(const char* path, int* value) {
  const File file = open(path, "re");
  if (file == nullptr) return -EIO;
  return scan(file.get(), value) ? 0 : -EIO;
}

int save_value(const char* path, int value) {
  const File file = open(path, "we");
  if (file == nullptr) return -EIO;
  // Unbuffered, so that a full partition shows in the result of the print and not only at the close.
  setvbuf(file.get(), nullptr, _IONBF, 0);
  return fprintf(file.get(), "offset=%d\n", value) > 0 ? 0 : -EIO;
}

}  // namespace hubapi

using hubapi::kCrosstalk1Path;
using hubapi::kCrosstalk2Path;
using hubapi::kDeltaPath;
using hubapi::load_value;
using hubapi::save_value;

int SensorCalibrationAPI::load_prox_ct1(int* value) { return load_value(kCrosstalk1Path, value); }
int SensorCalibrationAPI::load_prox_ct2(int* value) { return load_value(kCrosstalk2Path, value); }
int SensorCalibrationAPI::load_prox_delta(int* value) { return load_value(kDeltaPath, value); }
int SensorCalibrationAPI::save_prox_ct1(int value) { return save_value(kCrosstalk1Path, value); }
int SensorCalibrationAPI::save_prox_ct2(int value) { return save_value(kCrosstalk2Path, value); }
int SensorCalibrationAPI::save_prox_delta(int value) { return save_value(kDeltaPath, value); }

int SensorCalibrationAPI::remove_prox_delta() {
  const std::string path = device_path(kDeltaPath);
  if (access(path.c_str(), F_OK) != 0) {
    LOGE("file is not exits\n");
    return 0;
  }
  if (unlink(path.c_str()) != 0) {
    LOGE("remove_prox_delta errno %s", strerror(errno));
    return -1;
  }
  return 0;
}
