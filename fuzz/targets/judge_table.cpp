// The verdict table: rows kept and key paths found must equal a plain second reading of the same text.
#include <SensorCalibration.h>

#include "support/checks.h"
#include "support/device_files.h"

namespace {

using Rows = std::vector<std::vector<std::string>>;

constexpr const char* kSensors[] = {"lsm6dso Accelerometer", "BH1745 BH1745 ALS DEVICE", "tmd2725", "a"};

Rows split_rows(const std::string& text) {
  Rows rows;
  bool open = false;
  for (const char c : text) {
    if (!open) rows.push_back({""});
    open = c != '\n';
    if (c == ' ') {
      rows.back().emplace_back();
    } else if (open) {
      rows.back().back() += c;
    }
  }
  return rows;
}

bool on_phone(const std::string& chip) {
  const std::string prefix = chip.c_str();  // a text to its first NUL
  for (const std::string sensor : kSensors) {
    if (sensor.substr(0, prefix.size()) == prefix) return true;
  }
  return false;
}

std::vector<std::string> key_path(const Rows& rows, const std::string& tag, unsigned mode, int index) {
  const std::string digit = mode == 1 || mode == 2 ? std::to_string(mode) : "0";
  std::string found;
  for (size_t r = 0; r < rows.size(); ++r) {
    if (rows[r][0] != tag) continue;
    const bool fits = rows[r].size() > 4 && rows[r][3] == digit;
    if (!fits && digit == "0") return {};
    if (!fits) continue;
    found = rows[r][1];
    if (digit != "1" || static_cast<int>(r) == index) break;
  }
  std::vector<std::string> names(1);
  for (const char c : found) {
    if (c == '.') {
      names.emplace_back();
    } else {
      names.back() += c;
    }
  }
  return names;
}

SensorCalibration* calibration() {
  fuzz::quiet_log(1);
  auto* cal = new SensorCalibration;
  cal->sensor_list.resize(std::size(kSensors));
  for (size_t i = 0; i < std::size(kSensors); ++i) cal->sensor_list[i].name = kSensors[i];
  return cal;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::DeviceFile* const table = new fuzz::DeviceFile("/vendor/etc/sensors/judge_calibrated.json");
  static SensorCalibration* const cal = calibration();
  fuzz::quiet_log(size);
  FuzzedDataProvider in(data, size);
  const int type = fuzz::any_type(&in);
  const auto mode = static_cast<unsigned>(in.ConsumeIntegralInRange<int>(-1, 3));
  const int index = in.ConsumeIntegralInRange<int>(-1, 6);
  const std::string text = in.ConsumeRemainingBytesAsString();

  table->set(text);
  cal->get_judge_calibrated();
  Rows kept;
  for (const std::vector<std::string>& row : split_rows(text)) {
    if (on_phone(row.back())) kept.push_back(row);
  }
  HOLDS(judge_calibrated == kept);
  HOLDS(cal->ParseStr(type, mode, index) == key_path(kept, getSensorName(type), mode, index));
  if (size % 64 == 0) {
    table->remove();
    cal->get_judge_calibrated();
    HOLDS(judge_calibrated.empty());
  }
  return 0;
}
