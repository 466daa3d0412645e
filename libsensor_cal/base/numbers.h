// Number conversions that are defined for every input.
#pragma once

#include <stdint.h>

// Truncates toward zero; saturates at the ends of int32 and takes NaN as 0, as the phone's processor does.
inline int32_t to_int(double value) {
  if (value != value) return 0;
  if (value >= 2147483647.0) return INT32_MAX;
  if (value <= -2147483648.0) return INT32_MIN;
  return static_cast<int32_t>(value);
}

// Sum and difference that stop at the ends of int32.
inline int32_t saturating_add(int32_t a, int32_t b) {
  const int64_t sum = static_cast<int64_t>(a) + b;
  return sum > INT32_MAX ? INT32_MAX : sum < INT32_MIN ? INT32_MIN : static_cast<int32_t>(sum);
}
inline int32_t saturating_sub(int32_t a, int32_t b) {
  const int64_t difference = static_cast<int64_t>(a) - b;
  return difference > INT32_MAX ? INT32_MAX : difference < INT32_MIN ? INT32_MIN : static_cast<int32_t>(difference);
}
