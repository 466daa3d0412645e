// The scale and channel files: a row a line, a value a field, the override has its place, and a scale keeps 12 digits.
#include <persistCalibrate.h>

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "support/checks.h"
#include "support/device_files.h"

namespace {

using Rows = std::vector<std::vector<double>>;

// The rows of the text's lines, from `row` on: a tab at a line's end closes a field and opens none. Returns what is
// behind.
Rows::const_iterator check(const std::string& text, Rows::const_iterator row) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line); ++row) {
    const bool closed = line.empty() || line.back() == '\t';
    HOLDS(row->size() == static_cast<size_t>(std::count(line.begin(), line.end(), '\t')) + (closed ? 0 : 1));
  }
  return row;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static auto* const channels = new fuzz::DeviceFile("/mnt/vendor/persist/sensors/cail.txt");
  static auto* const original = new fuzz::DeviceFile("/mnt/vendor/persist/sensors/cail_ori.txt");
  static auto* const scale = new fuzz::DeviceFile("/mnt/vendor/persist/sensors/scale.txt");
  fuzz::quiet_log(size);
  FuzzedDataProvider in(data, size);
  const double value = in.ConsumeBool() ? static_cast<double>(fuzz::any_float(&in)) : in.ConsumeFloatingPoint<double>();
  const std::string first = in.ConsumeRandomLengthString();
  const std::string second = in.ConsumeRemainingBytesAsString();

  persistCalibrate persist;
  channels->set(first);
  original->set(second);
  Rows rows = persist.getChannelCail();
  HOLDS(check(first, rows.begin()) == rows.end());
  rows = persist.getChannelCail_ori();
  HOLDS(check(second, check(first, rows.begin())) == rows.end());
  HOLDS(rows.size() < 2 || rows[1].size() < 3 || rows[1][2] == 48942.45245);
  HOLDS(persist.count == rows.size() && persist.row.empty());

  scale->set(first);
  HOLDS(persist.getScale() == 46453.5512 && persist.scale == 46453.5512);
  persist.setScale(value);
  char text[64];
  snprintf(text, sizeof text, "%.12g", value);
  HOLDS(scale->get() == text);
  return 0;
}
