// What the hub commands share. Every command logs its enter line, checks its arguments, fills words of a zeroed record,
// sends it, and reads the reply out of the same record.
#pragma once

#include <string.h>

#include <OemTestMsg.h>
#include <SensorCalibrationAPI.h>
#include <SensorType.h>

#define LOG_TAG "libsensor_calapi"
#include "base/log.h"

namespace hubapi {

// The record with its words by number. A word is a float or an int32 by command, and may change from one to the other
// between request and reply: words go in and out as copies of their bytes.
struct Command : _ssc_oem_test_msg {
  Command(int32_t type, int32_t code) : _ssc_oem_test_msg{type, code, {}} {}

  void set_int(int word, int32_t value) { memcpy(&offset_ct[word], &value, sizeof value); }
  void set_float(int word, float value) { memcpy(&offset[word], &value, sizeof value); }
  // An integer that travels as a float: element counts, channels, levels.
  void set_as_float(int word, int value) { set_float(word, static_cast<float>(value)); }

  int32_t get_int(int word) const {
    int32_t value;
    memcpy(&value, &offset_ct[word], sizeof value);
    return value;
  }
  float get_float(int word) const {
    float value;
    memcpy(&value, &offset[word], sizeof value);
    return value;
  }
};

static_assert(sizeof(Command) == sizeof(_ssc_oem_test_msg), "nothing but names is added to the record");

// How many of `length` elements are moved: what fits after word 0.
inline int moved_elements(int length) {
  constexpr int kMax = oem_test_msg::kWords - 1;
  return length < kMax ? length : kMax;
}

}  // namespace hubapi
