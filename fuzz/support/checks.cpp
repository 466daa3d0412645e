#include "support/checks.h"

#include <SensorType.h>
#include <android/log.h>

#include <bit>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iterator>

namespace fuzz {

void fail(const char* condition, const char* file, int line) {
  fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
  abort();
}

void quiet_log(size_t input_size) {
  [[maybe_unused]] static const bool silenced = [] {
    __android_log_set_logger([](const __android_log_message*) {});
    return true;
  }();
  __android_log_set_minimum_priority(input_size % 8 == 0 ? ANDROID_LOG_DEFAULT : ANDROID_LOG_SILENT);
}

float any_float(FuzzedDataProvider* in) {
  constexpr float kSpecial[] = {0.0F,     -0.0F,   1.0F,   -1.0F,    NAN,      INFINITY, -INFINITY,     FLT_MAX,
                                -FLT_MAX, FLT_MIN, 1e-40F, 9.80665F, 1013.25F, 200.0F,   2147483648.0F, -2147483904.0F};
  switch (in->ConsumeIntegralInRange<int>(0, 5)) {
    case 0:
      return std::bit_cast<float>(in->ConsumeIntegral<int32_t>());
    case 1:
      return kSpecial[in->ConsumeIntegralInRange<size_t>(0, std::size(kSpecial) - 1)];
    case 2:
      return static_cast<float>(in->ConsumeIntegral<int16_t>());
    default:
      return static_cast<float>(in->ConsumeIntegral<int8_t>()) / 8;
  }
}

int any_int(FuzzedDataProvider* in) {
  switch (in->ConsumeIntegralInRange<int>(0, 5)) {
    case 0:
      return in->ConsumeIntegral<int>();
    case 1:
      return in->PickValueInArray({INT_MIN, INT_MIN + 1, INT_MAX - 1, INT_MAX, 65536, 65537, -1});
    default:
      return in->ConsumeIntegralInRange<int>(-3, 20);
  }
}

int any_type(FuzzedDataProvider* in) {
  constexpr int kUntagged[] = {sensor_type::gyroscope_uncalibrated, sensor_type::proximity_stream,
                               sensor_type::light_stream, sensor_type::sar, sensor_type::sar_second};
  constexpr size_t kTagged = std::size(sensor_type::kTags);
  const size_t pick = in->ConsumeIntegralInRange<size_t>(0, kTagged + std::size(kUntagged));
  if (pick < kTagged) return sensor_type::kTags[pick].type;
  return pick < kTagged + std::size(kUntagged) ? kUntagged[pick - kTagged] : any_int(in);
}

}  // namespace fuzz
