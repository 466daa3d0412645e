// The LCD backlight's LED node: one decimal number, written and read.
#define LOG_TAG "libsensor_cal"
#include <SensorCalibration.h>
#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "base/device_path.h"
#include "base/log.h"

namespace {

// Relative, deliberately: it reaches the node only from the working directory "/".
constexpr char kBrightnessPath[] = "sys/class/leds/lcd-backlight/brightness";
constexpr unsigned kBrightnessBits = 13;
constexpr size_t kTextBytes = 20;
constexpr size_t kReadBytes = 10;

// A descriptor, or -1 with errno. A null path fails as the system call would.
int open_node(const char* path, int access) {
  if (path != nullptr) return open(device_path(path).c_str(), access | O_CLOEXEC);
  errno = EFAULT;
  return -1;
}

// One write call; a short write counts as success. 0 or minus errno. Closes the node.
int write_and_close(int fd, const char* text, int length) {
  const ssize_t written = write(fd, text, static_cast<size_t>(length));
  const int error = written < 0 ? errno : 0;
  close(fd);
  return -error;
}

// Stores the number that the text begins with and saturates one that is too large. Without a number nothing is stored.
void parse_number(const char* text, int* value) {
  char* end = nullptr;
  const long number = strtol(text, &end, 10);
  if (end == text) return;
  *value = number > INT32_MAX ? INT32_MAX : number < INT32_MIN ? INT32_MIN : static_cast<int>(number);
}

}  // namespace

int writeStr(char const* path, unsigned int value) {
  const int number = static_cast<int>(value);  // printed as signed, deliberately
  LOGI("[%s] write %d to %s", "writeStr", number, path);
  const int fd = open_node(path, O_RDWR);
  if (fd < 0) {
    LOGI("[%s] open file faild!\n", "writeStr");
    return -1;
  }
  char text[kTextBytes] = {};
  const int length = snprintf(text, sizeof text, "%d", number);
  if (length >= static_cast<int>(sizeof text)) {
    LOGE("write error1 %d to %s, amt = %d", number, path, -1);
    close(fd);
    return -1;
  }
  return write_and_close(fd, text, length) != 0 ? -1 : 0;
}

int SensorCalibration::lcdbacklight_calibrate_write_backlight(char const* path, int value) {
  LOGD("write %d to %s", value, path);
  const int fd = open_node(path, O_RDWR);
  const int error = fd < 0 ? errno : 0;  // before the log can change it
  LOGD("write_int open fd=%d\n", fd);
  if (fd < 0) return -error;
  char text[kTextBytes];
  const int length = snprintf(text, sizeof text, "%d\n", value);
  return write_and_close(fd, text, length);
}

int SensorCalibration::lcdbacklight_calibrate_read_backlight(char const* path, int* value) {
  const int fd = open_node(path, O_RDONLY);
  if (fd < 0) {
    const int error = errno;
    LOGE("read_int failed to open %s, error: %d\n", path, error);
    return -error;
  }
  LOGE("read_int success to open %s\n", path);
  char text[kReadBytes + 1] = {};
  const ssize_t length = read(fd, text, kReadBytes);
  const int error = length < 0 ? errno : 0;
  close(fd);
  parse_number(text, value);
  return -error;
}

int SensorCalibration::SetBrightness(int brightness) {
  if ((static_cast<unsigned>(brightness) >> kBrightnessBits) != 0) {
    LOGI("[%s] bad parameters, input useless bright!", "SetBrightness");
    return -1;
  }
  if (writeStr(kBrightnessPath, static_cast<unsigned>(brightness)) != 0) {
    LOGI("[%s] set brightness fail", "SetBrightness");
    return -1;
  }
  return 0;
}
