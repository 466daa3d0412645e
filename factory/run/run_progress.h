// A line on the terminal while a plan runs: which step, how far it is, how long it will take. Silent where standard
// error is no terminal.
#pragma once

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>

#include "cli/terminal.h"
#include "phone/log_tap.h"
#include "run/plan.h"

namespace factory::plan {

class RunProgress {
 public:
  // `speed`: sensor time over real time.
  RunProgress(const Plan& plan, const LogTap& tap, double speed);
  ~RunProgress();
  RunProgress(const RunProgress&) = delete;
  RunProgress& operator=(const RunProgress&) = delete;

  void begin(int index, const std::string& name);
  // Takes the line away; text may be printed then.
  void pause();

 private:
  void show();
  double left() const;

  const LogTap& tap_;
  StatusLine line_{true};
  std::vector<double> seconds_;  // what each step takes without restarts
  std::mutex mutex_;
  int index_ = 0;  // guarded by mutex_, 0: nothing to show; and so are the following
  std::string name_;
  std::chrono::steady_clock::time_point started_;
  std::atomic<bool> done_{false};
  std::thread thread_;
};

}  // namespace factory::plan
