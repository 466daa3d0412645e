// Infrared proximity: crosstalk and thresholds in the hub, or in files where the sensor calibrates its crosstalk in
// hardware (`supporthwcal` 1).
#include <errno.h>

#include "hubapi/command.h"
#include "hubapi/crosstalk_files.h"

using hubapi::Command;
using hubapi::kCrosstalk1Path;
using hubapi::kCrosstalk2Path;
using hubapi::kDeltaPath;
using hubapi::load_value;
using hubapi::save_value;

namespace {

constexpr int kCrosstalk = 0;
constexpr int kNearThreshold = 2;
constexpr int kSecondCrosstalk = 3;
constexpr int kFactoryDelta = 19;

// The word of the hub's record that holds the value which `para` names: crosstalk 2, far threshold 1, near threshold 0;
// -1 for none.
int value_word(int para, int supporthwcal) {
  if (para == kCrosstalk && supporthwcal != 0) return -1;
  return para >= kCrosstalk && para <= kNearThreshold ? 2 - para : -1;
}

// The file that keeps the value, null for those in the hub.
const char* value_file(int para, int supporthwcal) {
  if (para == kCrosstalk && supporthwcal == 1) return kCrosstalk1Path;
  return para == kSecondCrosstalk ? kCrosstalk2Path : nullptr;
}

// -1 tells the hub to leave a word out.
void set_only(Command* msg, int word, int value) {
  for (int i = 0; i < 3; ++i) msg->set_int(i, i == word ? value : -1);
}

}  // namespace

int SensorCalibrationAPI::getPrxOffset_api(int* offset, int para, int supporthwcal) {
  LOGD("enter getPrxOffset_api para=%d, offset = %d, supporthwcal %d", para, *offset, supporthwcal);
  if (const char* const file = value_file(para, supporthwcal)) {
    if (load_value(file, offset) != 0) {
      LOGE("enter getPrxOffset_api para=%d, offset = %d err %d", para, *offset, -EIO);
      *offset = 0;
    }
    return 0;
  }

  Command msg(sensor_type::proximity, oem_test_msg::get_proximity);
  const int word = value_word(para, supporthwcal);
  if (word < 0) {
    // Deliberate: such a request is sent all the same.
    LOGE("getPrxOffset_api para=%d not support", para);
  } else {
    set_only(&msg, word, 0);
  }
  send_ssc_oem_test_msg(&msg);
  if (word >= 0) {
    *offset = msg.get_int(word);
  } else if (para == kCrosstalk) {
    *offset = msg.get_int(2);
  }
  return 0;
}

int SensorCalibrationAPI::setPrxOffset_api(int offset, int para, int supporthwcal) {
  LOGD("enter setPrxOffset_api offset=%d, para=%d, supporthwcal=%d", offset, para, supporthwcal);
  if (const char* const file = value_file(para, supporthwcal)) {
    if (save_value(file, offset) != 0) {
      LOGE("enter setPrxOffset_api para=%d, offset = %d err %d", para, offset, -EIO);
    }
    return 0;
  }

  Command msg(sensor_type::proximity, oem_test_msg::set_proximity);
  const int word = value_word(para, supporthwcal);
  if (word < 0) {
    // Deliberate: such a request is sent all the same, and its zeros reach the hub.
    LOGE("setPrxOffset_api para=%d not support", para);
  } else {
    set_only(&msg, word, offset);
    if (para == kCrosstalk) LOGD("SensorCalibrationAPI::setPrxOffset_api  msg.threshold[2] = %d\n", offset);
  }
  send_ssc_oem_test_msg(&msg);
  return 0;
}

int SensorCalibrationAPI::setPrxThreshold_api(int t0, int t1, int t2) {
  Command msg(sensor_type::proximity, oem_test_msg::set_proximity);
  msg.set_int(0, t0);
  msg.set_int(1, t1);
  msg.set_int(2, t2);
  send_ssc_oem_test_msg(&msg);
  return 0;
}

int SensorCalibrationAPI::setPrxFroceCal_api(int type, int* a, int* b) {
  Command msg(type, oem_test_msg::calibrate_proximity_crosstalk);
  send_ssc_oem_test_msg(&msg);
  *a = msg.get_int(0);
  *b = msg.get_int(1);
  return 0;
}

int SensorCalibrationAPI::getProDelta_api(int* offset, int para, int supporthwcal) {
  LOGD("enter SensorCalibrationAPI::getProDelta_api offset=%d, para=%d, supporthwcal=%d", *offset, para, supporthwcal);
  if ((para != kCrosstalk && para != kFactoryDelta) || supporthwcal != 0) return 0;
  if (load_value(kDeltaPath, offset) == 0) return 0;
  LOGE("save ct enter setPrxOffset_api para=%d, offset = %d err %d", para, *offset, -EIO);
  return -EIO;
}

// Deliberate: the enter line names the read.
int SensorCalibrationAPI::saveProDelta_api(int offset, int para, int supporthwcal) {
  LOGD("enter SensorCalibrationAPI::getProDelta_api offset=%d, para=%d, supporthwcal=%d", offset, para, supporthwcal);
  if (para != kNearThreshold || supporthwcal != 0) return 0;
  if (save_value(kDeltaPath, offset) == 0) return 0;
  LOGE("save ct enter setPrxOffset_api para=%d, offset = %d err %d", para, offset, -EIO);
  return -EIO;
}
