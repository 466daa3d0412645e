// Reference data files: nothing where the row does not fit; otherwise two lists of texts that stand in the file.
#include <SensorCalibration.h>

#include "support/checks.h"
#include "support/device_files.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::DeviceFile* const file = new fuzz::DeviceFile("/reference.json");
  static SensorCalibration* const cal = new SensorCalibration;
  fuzz::quiet_log(size);
  FuzzedDataProvider in(data, size);
  std::vector<std::string> keys(in.ConsumeIntegralInRange<size_t>(0, 3));
  for (std::string& key : keys) {
    key = in.ConsumeBool() ? in.PickValueInArray({"a", "acc", "", "sensor", "ver", "{"})
                           : in.ConsumeRandomLengthString(4);
  }
  const auto mode = in.ConsumeIntegralInRange<unsigned>(0, 3);
  const char* digit = in.PickValueInArray({"0", "1", "2"});
  const std::string text = in.ConsumeRemainingBytesAsString();

  file->set(text);
  judge_calibrated = {{"Acc", "a.b", "/reference.json", digit, "lsm"}};
  const auto lists = cal->GetSensorJsonData(keys, 1, mode);
  const bool row_fits = digit[0] == (mode == 1 ? '1' : mode == 2 ? '2' : '0');
  HOLDS(lists.size() == (row_fits ? 2 : 0));
  for (const auto& list : lists) {
    for (const std::string& found : list)
      HOLDS(found.find('"') == std::string::npos && text.find(found) != std::string::npos);
  }
  return 0;
}
