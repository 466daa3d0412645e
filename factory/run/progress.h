// A line on the terminal that tells how a run goes. Silent where standard error is no terminal.
#pragma once

#include <atomic>
#include <string>
#include <thread>

#include "phone/log_tap.h"

namespace factory {

class Progress {
 public:
  // Shows `label` and what `tap` counts until destroyed; `events` is what a run without restart takes.
  Progress(std::string label, const LogTap& tap, int events, bool wanted);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  void show(double seconds) const;

  const std::string label_;
  const LogTap& tap_;
  const int events_;
  std::atomic<bool> done_{false};
  std::thread thread_;
};

}  // namespace factory
