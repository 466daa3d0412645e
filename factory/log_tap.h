// Listens to the log lines of the whole process: keeps them in a file, counts what a run does, and remembers why it
// started anew.
#pragma once

#include <android/log.h>

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

namespace factory {

// Why a run's sample window started anew.
struct Restart {
  enum class Cause { variance, zero_variance, bias };
  Cause cause = Cause::variance;
  int axis = 0;
  double value = 0;  // variance, or mean
  double limit = 0;
  int event = 0;  // number of the event that filled the window, counted from 1
};

// What one run did so far.
struct RunLog {
  int events = 0;
  std::vector<Restart> restarts;
  std::vector<std::string> errors;  // error lines of the calling side, in order
  bool timed_out = false;
  bool enable_failed = false;
  bool no_queue = false;

  int count(Restart::Cause cause) const;
};

// One at a time lives in a process. Lines come from any thread.
class LogTap {
 public:
  // `path`: file for the lines in logcat's threadtime form; empty for none. Throws AppError when it cannot be written.
  explicit LogTap(const std::string& path);
  ~LogTap();
  LogTap(const LogTap&) = delete;
  LogTap& operator=(const LogTap&) = delete;

  void start_run();
  RunLog run() const;

 private:
  static void take(const __android_log_message* message);
  void note(const __android_log_message& message);

  mutable std::mutex mutex_;
  std::FILE* file_ = nullptr;  // guarded by mutex_
  RunLog run_;                 // guarded by mutex_
};

}  // namespace factory
