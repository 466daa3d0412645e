// How hard the stress tests press: a part of a million events in the normal suite, all of them where SENSOR_CAL_STRESS
// is set (scripts/stress).
#pragma once

#include <log_capture.h>
#include <stdlib.h>

#include <cstddef>

namespace stress {

using test::QuietLog;

// `whole`, or the normal suite's share of it.
inline size_t load(size_t whole) {
  const size_t share = getenv("SENSOR_CAL_STRESS") != nullptr ? 1 : 40;
  return (whole + share - 1) / share;
}

}  // namespace stress
