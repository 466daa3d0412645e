// Reference data files: the texts found must equal those of a plain second search.
#include <SensorCalibration.h>

#include <sstream>

#include "support/checks.h"
#include "support/device_files.h"

namespace {

using Lists = std::vector<std::vector<std::string>>;

void take(const std::string& line, size_t from, std::vector<std::string>* list) {
  const size_t quote = line.find('"', from);
  if (quote == std::string::npos) return;
  const std::string rest = line.substr(quote + 1);
  list->push_back(rest.substr(0, rest.find('"')));
}

Lists search(const std::string& text, const std::vector<std::string>& keys) {
  Lists lists(2);
  std::istringstream lines(text);
  std::string line;
  size_t key = 0;
  int depth = 0;
  for (bool first = true; std::getline(lines, line);) {
    if (key < keys.size()) {
      if (line.find(keys[key]) != std::string::npos) ++key;
      if (key < keys.size()) continue;
    }
    if (keys.empty()) break;
    for (size_t i = 0; i < line.size(); ++i) {
      depth += line[i] == '{' ? 1 : line[i] == '}' ? -1 : 0;
      if (line.substr(i, 3) == "ver") take(line, i + 4, &lists[0]);
      if (line.substr(i, 5) == "data\"") take(line, i + 5, &lists[1]);
    }
    if (!first && depth == 0) break;
    first = false;
  }
  return lists;
}

}  // namespace

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
  const Lists lists = cal->GetSensorJsonData(keys, 1, mode);
  const bool row_fits = digit[0] == (mode == 1 ? '1' : mode == 2 ? '2' : '0');
  HOLDS(lists == (row_fits ? search(text, keys) : Lists()));
  return 0;
}
