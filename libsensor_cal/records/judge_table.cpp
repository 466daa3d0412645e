// The verdict table: which reference data and which key path belong to each sensor chip of this phone.
#define LOG_TAG "libsensor_cal"
#include <SensorCalibration.h>
#include <string.h>

#include <algorithm>

#include "base/device_path.h"
#include "base/file_stream.h"
#include "base/log.h"
#include "records/table_row.h"

using ::android::hardware::sensors::V1_0::SensorInfo;

std::vector<std::vector<std::string>> judge_calibrated;

namespace {

// Text, in spite of its name: one row a line, fields separated by single blanks.
constexpr char kTablePath[] = "/vendor/etc/sensors/judge_calibrated.json";

// Every separator ends a field, so there is always one more field than separators.
std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> fields;
  fields.reserve(static_cast<size_t>(std::count(text.begin(), text.end(), separator)) + 1);
  size_t begin = 0;
  for (size_t end = text.find(separator); end != std::string::npos; end = text.find(separator, begin)) {
    fields.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  fields.push_back(text.substr(begin));
  return fields;
}

// The key path of the chosen row; empty when no row fits. False when the row that decides is invalid.
bool choose_key_path(const std::string& tag, unsigned mode, int index, std::string* key_path) {
  for (size_t r = 0; r < judge_calibrated.size(); ++r) {
    const std::vector<std::string>& row = judge_calibrated[r];
    if (!row_is_for(row, tag)) continue;
    if (!row_has_mode(row, mode)) {
      if (mode == 1 || mode == 2) continue;
      LOGI("ParseStr judge_calibrated struct is invalid!\n");
      return false;
    }
    *key_path = row[kRowKeyPath];
    // In mode 1 a later row outranks an earlier one, up to the row that the caller names.
    if (mode != 1 || (index >= 0 && r == static_cast<size_t>(index))) break;
  }
  return true;
}

}  // namespace

bool row_is_for(const std::vector<std::string>& row, const std::string& tag) {
  return !row.empty() && row[kRowTag] == tag;
}

bool row_has_mode(const std::vector<std::string>& row, unsigned mode) {
  const char* digit = mode == 1 ? "1" : mode == 2 ? "2" : "0";
  return row.size() >= kCompleteRow && row[kRowMode] == digit;
}

void SensorCalibration::get_judge_calibrated() {
  judge_calibrated.clear();
  LOGE("%s: start matching anajson with found sensor", "get_judge_calibrated");
  InputFile file(device_path(kTablePath));
  if (!file.is_open()) {
    LOGI("open file fail !!\n");
    return;
  }
  std::string line;
  while (std::getline(file, line)) {
    LOGI("open anajson file success!!\n");  // once a line, deliberately
    std::vector<std::string> fields = split(line, ' ');
    const char* const chip = fields.back().c_str();
    const size_t length = strlen(chip);
    const bool on_phone = std::any_of(sensor_list.begin(), sensor_list.end(), [&](const SensorInfo& sensor) {
      return strncmp(sensor.name.c_str(), chip, length) == 0;
    });
    if (on_phone) judge_calibrated.push_back(std::move(fields));
  }
  LOGI("close file success,judge_calibrated json struct has been got !\n");
}

std::vector<std::string> SensorCalibration::ParseStr(int type, unsigned int mode, int index) {
  const std::string tag = getSensorName(type);  // copied: the text of an unknown number lies in a shared buffer
  std::string key_path;
  if (!choose_key_path(tag, mode, index, &key_path)) return {};
  return split(key_path, '.');
}
