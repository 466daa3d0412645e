// The verdict table: every row kept is of a sensor that the phone has, and every key path found is one of these rows'.
#include <SensorCalibration.h>

#include <algorithm>

#include "support/checks.h"
#include "support/device_files.h"

namespace {

constexpr const char* kSensors[] = {"lsm6dso Accelerometer", "BH1745 BH1745 ALS DEVICE", "tmd2725", "a"};

bool on_phone(const std::string& chip) {
  const std::string prefix = chip.c_str();  // a text to its first NUL
  for (const std::string sensor : kSensors) {
    if (sensor.substr(0, prefix.size()) == prefix) return true;
  }
  return false;
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
  for (const std::vector<std::string>& row : judge_calibrated) {
    HOLDS(!row.empty() && on_phone(row.back()));
    for (const std::string& field : row) HOLDS(field.find_first_of(" \n") == std::string::npos);
  }
  const std::vector<std::string> path = cal->ParseStr(type, mode, index);
  std::string joined;
  for (const std::string& name : path) joined += (&name == path.data() ? "" : ".") + name;
  const auto has_it = [&](const auto& row) {
    return row[0] == getSensorName(type) && row.size() > 4 && row[1] == joined;
  };
  HOLDS(joined.empty() || std::any_of(judge_calibrated.begin(), judge_calibrated.end(), has_it));
  if (size % 64 == 0) {
    table->remove();
    cal->get_judge_calibrated();
    HOLDS(judge_calibrated.empty());
  }
  return 0;
}
