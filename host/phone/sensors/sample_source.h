// What can take the place of a simulated sensor.
#pragma once

#include <cstdint>
#include <optional>

namespace phone {

struct RawSample {
  int64_t time_ns = 0;  // since the enabling
  float value[16] = {};
  int count = 0;
};

// Raw values from elsewhere. Called with the sensors' lock held: it must not call back.
class SampleSource {
 public:
  virtual ~SampleSource() = default;
  // The sensor has been enabled anew: sample times count from here. What was not yet used is still to come.
  virtual void enabled(int64_t period_ns) = 0;
  // The next sample later than `after_ns`; none at the end. A sample that was returned is used up.
  virtual std::optional<RawSample> next(int64_t after_ns) = 0;
};

}  // namespace phone
