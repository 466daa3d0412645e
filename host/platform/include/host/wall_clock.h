// The phone's wall clock, which may be set while it runs. Host only.
#pragma once

#include <cstdint>

namespace host {

// Sets the wall clock of this process, CLOCK_REALTIME, ahead by so much, or back: waits with a limit on it end when it
// says so. Any thread. 0 puts nothing back: clock_offset_ns() is what there is to take back.
void step_wall_clock(int64_t by_ns);
int64_t wall_clock_offset_ns();

}  // namespace host
