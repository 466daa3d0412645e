// The phone's sensor time.
#pragma once

#include <chrono>
#include <cmath>
#include <cstdint>

namespace phone {

// Runs `speed` times as fast as real time; at unlimited speed it stands still between deliveries. Guarded by the
// stage's mutex.
class Clock {
 public:
  using Steady = std::chrono::steady_clock;

  explicit Clock(double speed) : speed_(speed), start_(Steady::now()) {}

  bool unlimited() const { return std::isinf(speed_); }
  int64_t now_ns() const {
    if (unlimited()) return now_ns_;
    const std::chrono::duration<double, std::nano> real = Steady::now() - start_;
    return kUptimeNs + static_cast<int64_t>(real.count() * speed_);
  }
  void advance_to(int64_t time_ns) {
    if (unlimited() && time_ns > now_ns_) now_ns_ = time_ns;
  }
  Steady::time_point real(int64_t time_ns) const {
    constexpr double kLongestNs = 1e17;
    const double real_ns = static_cast<double>(time_ns - kUptimeNs) / speed_;
    return start_ + std::chrono::nanoseconds(static_cast<int64_t>(std::fmin(real_ns, kLongestNs)));
  }

 private:
  // A phone has been up for a while before anybody looks at its sensors.
  static constexpr int64_t kUptimeNs = 100000000000;

  const double speed_;
  const Steady::time_point start_;
  int64_t now_ns_ = kUptimeNs;
};

}  // namespace phone
