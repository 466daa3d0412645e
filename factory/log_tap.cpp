#include "log_tap.h"

#include <errno.h>
#include <string.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>

#include "options.h"

namespace factory {
namespace {

LogTap* g_tap = nullptr;

bool has(const char* text, const char* part) { return strstr(text, part) != nullptr; }

// Reads the numbers of a restart line of the sample window.
bool parse_restart(const char* text, Restart* restart) {
  double sum = 0;
  int samples = 0;
  const char* index = strstr(text, "index: ");
  if (index == nullptr || !has(text, "restarting algorithm.")) return false;
  if (sscanf(index, "index: %d; variance: %lf; variance threshold: %lf", &restart->axis, &restart->value,
             &restart->limit) == 3) {
    restart->cause = Restart::Cause::variance;
  } else if (sscanf(index, "index: %d; sum %lf, numsamples %d, bias: %lf, threshold: %lf", &restart->axis, &sum,
                    &samples, &restart->value, &restart->limit) == 5) {
    restart->cause = Restart::Cause::bias;
  } else if (sscanf(index, "index: %d; variance: %lf", &restart->axis, &restart->value) == 2) {
    restart->cause = Restart::Cause::zero_variance;
  } else {
    return false;
  }
  return true;
}

void write_threadtime(std::FILE* file, const __android_log_message& message) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  char stamp[64];
  strftime(stamp, sizeof stamp, "%m-%d %H:%M:%S", &local);
  constexpr char kLetters[] = "??VDIWEFS";
  const char letter =
      message.priority >= 0 && message.priority <= ANDROID_LOG_SILENT ? kLetters[message.priority] : '?';
  const char* text = message.message;
  do {
    const int length = static_cast<int>(strcspn(text, "\n"));
    fprintf(file, "%s.%03ld %5d %5ld %c %-8s: %.*s\n", stamp, now.tv_nsec / 1000000, getpid(), syscall(SYS_gettid),
            letter, message.tag == nullptr ? "" : message.tag, length, text);
    text += length;
    if (*text == '\n') ++text;
  } while (*text != '\0');
}

}  // namespace

int RunLog::count(Restart::Cause cause) const {
  return static_cast<int>(
      std::count_if(restarts.begin(), restarts.end(), [&](const Restart& r) { return r.cause == cause; }));
}

LogTap::LogTap(const std::string& path) {
  if (!path.empty()) {
    file_ = fopen(path.c_str(), "we");
    if (file_ == nullptr) throw AppError(kUsage, "--log " + path + ": " + strerror(errno));
  }
  g_tap = this;
  __android_log_set_logger(&LogTap::take);
}

LogTap::~LogTap() {
  __android_log_set_logger(&__android_log_stderr_logger);
  g_tap = nullptr;
  if (file_ != nullptr) fclose(file_);
}

void LogTap::start_run() {
  const std::lock_guard<std::mutex> lock(mutex_);
  run_ = RunLog();
}

RunLog LogTap::run() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return run_;
}

void LogTap::take(const __android_log_message* message) { g_tap->note(*message); }

void LogTap::note(const __android_log_message& message) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (file_ != nullptr) write_threadtime(file_, message);
  const char* text = message.message;
  // Every event that a run takes is logged with its data.
  if (message.priority == ANDROID_LOG_INFO &&
      (has(text, " data: {") || has(text, " cali: {") || has(text, "_CALI: {"))) {
    ++run_.events;
    return;
  }
  if (message.priority != ANDROID_LOG_ERROR) return;
  Restart restart;
  if (parse_restart(text, &restart)) {
    restart.event = run_.events;
    run_.restarts.push_back(restart);
    return;
  }
  if (has(text, "Sensor Calibration timeout error")) run_.timed_out = true;
  if (has(text, "Fail to enable sensor")) run_.enable_failed = true;
  if (has(text, " event_queue is nullptr")) run_.no_queue = true;
  constexpr size_t kKeep = 100;
  if (run_.errors.size() < kKeep) run_.errors.emplace_back(text);
}

}  // namespace factory
