// One simulated phone from the first sample to the last, as a factory takes it: every kind of sensor calibrated, and
// what can be sampled sampled again and held against the truth.
#pragma once

#include <cstdint>

namespace bench {

struct PhoneRun {
  double wall_s = 0;    // from opening the phone to its end
  double sensor_s = 0;  // of the phone's own time, from its first sample to its last
  uint64_t events = 0;
};

// At unlimited speed. Ends the process with a message where something is not as it should be.
PhoneRun run_whole_phone(uint64_t seed);

}  // namespace bench
