// How hard the stress tests press: a part of a million events in the normal suite, all of them where SENSOR_CAL_STRESS
// is set (scripts/stress).
#pragma once

#include <android/log.h>
#include <stdlib.h>

#include <cstddef>

namespace stress {

// `whole`, or the normal suite's share of it.
inline size_t load(size_t whole) {
  const size_t share = getenv("SENSOR_CAL_STRESS") != nullptr ? 1 : 40;
  return (whole + share - 1) / share;
}

class QuietLog {
 public:
  QuietLog() : before_(__android_log_set_minimum_priority(ANDROID_LOG_SILENT)) {}
  ~QuietLog() { __android_log_set_minimum_priority(before_); }
  QuietLog(const QuietLog&) = delete;
  QuietLog& operator=(const QuietLog&) = delete;

 private:
  const int32_t before_;
};

}  // namespace stress
