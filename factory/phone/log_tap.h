// Listens to the log lines of the whole process: keeps them in a file, counts what a run does, and remembers why it
// started anew.
#pragma once

#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "files/line_file.h"
#include "record/record.h"

struct __android_log_message;  // of <android/log.h>

namespace factory {

// Why a run's sample window started anew.
struct Restart {
  using Cause = record::Cause;
  Cause cause = Cause::variance;
  int axis = 0;
  double value = 0;  // variance, or mean
  double limit = 0;
  int event = 0;  // number of the event that filled the window, counted from 1
};

// What one run did so far.
struct RunLog {
  int events = 0;
  int events_of_no_number = 0;  // with a value that is infinite or not a number
  std::vector<Restart> restarts;
  std::vector<std::string> errors;  // error lines of the calling side, in order
  bool timed_out = false;
  bool enable_failed = false;
  bool no_queue = false;

  // Filled once keep_all() was asked for.
  std::vector<std::vector<double>> values;  // of each event, as its line tells them
  std::vector<int> parts;                   // events seen when the panel's brightness was written: a new run begins
};

// One at a time lives in a process. Lines come from any thread.
class LogTap {
 public:
  // `path`: file for the lines in logcat's threadtime form; empty for none. Throws AppError when it cannot be written.
  explicit LogTap(const std::string& path);
  ~LogTap();

  // Begins a run; the thread that calls is the calling side of its lines. The lines of the one before it that nobody
  // took go to `before`, or nowhere.
  void start_run(record::Attempt* before = nullptr);
  RunLog run() const;
  // Hands over the run's lines, each once, behind those that are there: with keep_all().
  void take_lines(record::Attempt* to);

  // Keeps every line and every event's values from now on.
  void keep_all();
  struct Counts {
    int events = 0;
    int restarts = 0;
    std::optional<Restart> last_restart = {};
    std::vector<double> latest = {};  // of the last event, with keep_all()
  };
  // Of the run so far, without copying it.
  Counts counts() const;
  // Throws AppError(kUnreachable) where the file has not every line so far.
  void require_whole();
  // That came so far; any thread.
  long lines() const { return lines_; }

 private:
  static void take(const __android_log_message* message);
  void note(const __android_log_message& message);
  void hand_over(record::Attempt* to);
  void keep(const __android_log_message& message);

  std::atomic<long> lines_{0};
  mutable std::mutex mutex_;
  LineFile file_;                      // guarded by mutex_
  RunLog run_;                         // guarded by mutex_
  std::vector<record::LogLine> kept_;  // with keep_all(); guarded by mutex_
  int dropped_ = 0;                    // guarded by mutex_
  bool keep_all_ = false;              // guarded by mutex_
  std::thread::id caller_;             // guarded by mutex_
};

}  // namespace factory
