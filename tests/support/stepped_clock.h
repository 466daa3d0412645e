// Whether the phone's wall clock can be set here.
#pragma once

#include <host/wall_clock.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace test {

// The sanitizers bring a C library of their own, whose clock or waits nobody steps.
inline bool clock_can_be_stepped() {
  using std::chrono::steady_clock, std::chrono::system_clock;
  constexpr std::chrono::nanoseconds kStep = std::chrono::seconds(1000);
  const auto before = system_clock::now();
  host::step_wall_clock(-kStep.count());
  const auto start = steady_clock::now();
  const auto now = system_clock::now();
  std::mutex mutex;
  std::unique_lock<std::mutex> lock(mutex);
  std::condition_variable().wait_until(lock, now + std::chrono::milliseconds(50));
  const auto waited = steady_clock::now() - start;
  host::step_wall_clock(kStep.count());
  return before - now >= kStep - std::chrono::seconds(1) && waited >= std::chrono::milliseconds(45);
}

}  // namespace test
