#include "check/observation.h"

#include <algorithm>

namespace factory {

namespace {
constexpr double kNsPerMs = 1e6;
constexpr double kMsPerS = 1e3;
}  // namespace

std::vector<double> intervals_ms(const std::vector<Sample>& samples) {
  std::vector<double> out;
  for (size_t i = 1; i < samples.size(); ++i) {
    out.push_back(static_cast<double>(samples[i].timestamp_ns - samples[i - 1].timestamp_ns) / kNsPerMs);
  }
  return out;
}

double seconds_of(std::span<const Sample> samples) {
  if (samples.empty()) return 0;
  return static_cast<double>(samples.back().timestamp_ns - samples.front().timestamp_ns) / kNsPerMs / kMsPerS;
}

double median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace factory
