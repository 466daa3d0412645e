// Whether the phone's wall clock can be set here.
#pragma once

#include <host/wall_clock.h>
#include <pthread.h>
#include <time.h>

#include <chrono>

namespace test {

// The sanitizers bring a C library of their own, whose clock or waits nobody steps.
inline bool clock_can_be_stepped() {
  constexpr int64_t kStepNs = 1000000000000;
  constexpr std::chrono::milliseconds kWait{50};
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  pthread_cond_t cond = PTHREAD_COND_INITIALIZER;
  timespec before{};
  timespec after{};
  clock_gettime(CLOCK_REALTIME, &before);
  host::step_wall_clock(-kStepNs);
  clock_gettime(CLOCK_REALTIME, &after);
  bool can = before.tv_sec - after.tv_sec >= 999;
  if (can) {
    after.tv_sec += (after.tv_nsec + 50000000) / 1000000000;
    after.tv_nsec = (after.tv_nsec + 50000000) % 1000000000;
    const auto start = std::chrono::steady_clock::now();
    pthread_mutex_lock(&mutex);
    pthread_cond_timedwait(&cond, &mutex, &after);
    pthread_mutex_unlock(&mutex);
    can = std::chrono::steady_clock::now() - start >= kWait - std::chrono::milliseconds(5);
  }
  host::step_wall_clock(kStepNs);
  return can;
}

}  // namespace test
