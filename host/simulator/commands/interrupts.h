#pragma once

#include <signal.h>

#include <array>
#include <atomic>

namespace factory {

// While it lives, Ctrl-C and its kin end nothing by themselves: they are kept for whoever asks. One at a time.
class Interrupts {
 public:
  Interrupts() {
    came_ = false;
    for (size_t i = 0; i < kSignals.size(); ++i) {
      sigaction(kSignals[i], nullptr, &before_[i]);
      struct sigaction action = {};
      action.sa_handler = [](int /*signal*/) { came_ = true; };
      if (before_[i].sa_handler != SIG_IGN) sigaction(kSignals[i], &action, nullptr);
    }
  }
  ~Interrupts() {
    for (size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &before_[i], nullptr);
  }
  Interrupts(const Interrupts&) = delete;
  Interrupts& operator=(const Interrupts&) = delete;
  const std::atomic<bool>& came() const { return came_; }

 private:
  static constexpr std::array<int, 3> kSignals{SIGINT, SIGTERM, SIGHUP};
  static inline std::atomic<bool> came_{false};
  std::array<struct sigaction, kSignals.size()> before_{};
};

}  // namespace factory
