// The C library's clock, with the steps that a phone's wall clock makes. These definitions come before the C library's:
// the application, the calibration library and the C++ library all read the same clock.
#include "host/wall_clock.h"

#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <time.h>

#include <atomic>

namespace {

constexpr int64_t kNsPerS = 1000000000;
constexpr int64_t kLookNs = 5000000;  // a clock that is set during a wait is seen after so long

std::atomic<int64_t> g_offset_ns{0};
std::atomic<bool> g_steps{false};  // from the first step on waits look at the clock

int64_t to_ns(const timespec& time) { return static_cast<int64_t>(time.tv_sec) * kNsPerS + time.tv_nsec; }

timespec to_timespec(int64_t ns) {
  timespec out{};
  out.tv_sec = static_cast<time_t>(ns / kNsPerS);
  out.tv_nsec = static_cast<long>(ns % kNsPerS);
  if (out.tv_nsec < 0) {
    --out.tv_sec;
    out.tv_nsec += kNsPerS;
  }
  return out;
}

int read_clock(clockid_t clock, timespec* out) {
  using Read = int (*)(clockid_t, timespec*);
  static const auto read = reinterpret_cast<Read>(dlsym(RTLD_NEXT, "clock_gettime"));
  return read(clock, out);
}

}  // namespace

namespace host {

void step_wall_clock(int64_t by_ns) {
  g_offset_ns += by_ns;
  g_steps = true;
}

int64_t wall_clock_offset_ns() { return g_offset_ns; }

}  // namespace host

extern "C" {

__attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* out) noexcept {
  const int result = read_clock(clock, out);
  if (clock == CLOCK_REALTIME && result == 0 && g_steps) *out = to_timespec(to_ns(*out) + g_offset_ns);
  return result;
}

__attribute__((visibility("default"))) int pthread_cond_timedwait(pthread_cond_t* cond, pthread_mutex_t* mutex,
                                                                  const timespec* deadline) {
  while (g_steps) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (to_ns(now) >= to_ns(*deadline)) return ETIMEDOUT;
    read_clock(CLOCK_MONOTONIC, &now);
    const timespec next = to_timespec(to_ns(now) + kLookNs);
    const int result = pthread_cond_clockwait(cond, mutex, CLOCK_MONOTONIC, &next);
    if (result != ETIMEDOUT) return result;
  }
  return pthread_cond_clockwait(cond, mutex, CLOCK_REALTIME, deadline);
}

}  // extern "C"
