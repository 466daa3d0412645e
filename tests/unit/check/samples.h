// Made-up samples.
#pragma once

#include <vector>

#include "check/limits.h"

namespace factory {

// `count` samples that come without delay; the axes swing by `swing` about `mean`, alternately up and down.
inline std::vector<Sample> swinging(int count, double period_ms, float mean, float swing, int64_t first_ns = 0) {
  std::vector<Sample> out(static_cast<size_t>(count));
  for (size_t i = 0; i < out.size(); ++i) {
    const auto ns = static_cast<int64_t>(static_cast<double>(i) * period_ms * 1e6);
    out[i].timestamp_ns = first_ns + ns;
    out[i].arrival += std::chrono::nanoseconds(ns);
    out[i].words[0] = out[i].words[1] = out[i].words[2] = mean + (i % 2 == 0 ? swing : -swing);
  }
  return out;
}

}  // namespace factory
