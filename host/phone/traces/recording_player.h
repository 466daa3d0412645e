// Plays a recording as a sensor's raw values.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "phone/sensors/sample_source.h"
#include "phone/traces/recording.h"

namespace phone {

// Keeps its place over enablings, and is silent at the end. Not safe for several threads.
//
// Own timing: the first sample one period after the enabling, then each at its own distance from the one before;
// duplicate times stay together, and a time that goes back comes at the time of the one before, for events come in
// order. Requested timing: at every period the newest sample at or before it, over again where there is none newer,
// never a value between two.
//
// A sample counts as used once the next one is asked for: one that was only looked at when the sensor went off comes
// again after the next enabling.
class RecordingPlayer : public SampleSource {
 public:
  RecordingPlayer(std::shared_ptr<const Recording> recording, bool own_timing);

  void enabled(int64_t period_ns) override;
  // Samples come in order, whatever `after_ns` is: a duplicate time is not later than its twin.
  std::optional<RawSample> next(int64_t after_ns) override;

 private:
  // From the sample before `index` to it, never negative.
  int64_t distance_ns(size_t index) const;
  RawSample next_own();
  RawSample next_requested();
  RawSample event(size_t index, int64_t time_ns) const;

  const std::shared_ptr<const Recording> recording_;
  const bool own_timing_;
  size_t position_ = 0;  // the next sample
  size_t used_ = 0;      // samples that are used up, those passed over included
  int64_t period_ns_ = 0;
  int64_t time_ns_ = 0;     // of the last event of this enabling; 0 before the first
  int64_t elapsed_ns_ = 0;  // requested timing: from this enabling's first sample to the last one used
};

}  // namespace phone
