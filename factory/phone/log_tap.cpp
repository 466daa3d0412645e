#include "phone/log_tap.h"

#include <android/log.h>
#include <string.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <utility>

#include "phone/options.h"

namespace factory {
namespace {

LogTap* g_tap = nullptr;

bool has(const char* text, const char* part) { return strstr(text, part) != nullptr; }

// Reads the numbers of a restart line of the sample window.
bool parse_restart(const char* text, Restart* restart) {
  const char* index = strstr(text, "index: ");
  if (index == nullptr || !has(text, "restarting algorithm.")) return false;
  if (sscanf(index, "index: %d; variance: %lf; variance threshold: %lf", &restart->axis, &restart->value,
             &restart->limit) == 3) {
    restart->cause = Restart::Cause::variance;
  } else if (sscanf(index, "index: %d; sum %*f, numsamples %*d, bias: %lf, threshold: %lf", &restart->axis,
                    &restart->value, &restart->limit) == 3) {
    restart->cause = Restart::Cause::bias;
  } else if (sscanf(index, "index: %d; variance: %lf", &restart->axis, &restart->value) == 2) {
    restart->cause = Restart::Cause::zero_variance;
  } else {
    return false;
  }
  return true;
}

// The numbers between the braces of an event's line.
std::vector<double> parse_values(const char* text) {
  std::vector<double> out;
  const char* at = strchr(text, '{');
  while (at != nullptr && *at != '\0' && *at != '}') {
    char* end = nullptr;
    const double value = strtod(++at, &end);
    if (end == at) break;
    out.push_back(value);
    at = end;
  }
  return out;
}

void write_threadtime(LineFile& file, const __android_log_message& message) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  char stamp[64];
  strftime(stamp, sizeof stamp, "%m-%d %H:%M:%S", &local);
  char head[160];
  constexpr char kLetters[] = "??VDIWEFS";
  const char letter =
      message.priority >= 0 && message.priority <= ANDROID_LOG_SILENT ? kLetters[message.priority] : '?';
  snprintf(head, sizeof head, "%s.%03ld %5d %5ld %c %-8s: ", stamp, now.tv_nsec / 1000000, getpid(),
           syscall(SYS_gettid), letter, message.tag == nullptr ? "" : message.tag);
  const char* text = message.message;
  do {
    const size_t length = strcspn(text, "\n");
    file.write(head + std::string(text, length));
    text += length;
    if (*text == '\n') ++text;
  } while (*text != '\0');
}

}  // namespace

LogTap::LogTap(const std::string& path) : file_("--log", path, "##-## ##:##:##.") {
  g_tap = this;
  __android_log_set_logger(&LogTap::take);
}

LogTap::~LogTap() {
  __android_log_set_logger(&__android_log_stderr_logger);
  g_tap = nullptr;
}

void LogTap::start_run(record::Attempt* before) {
  const std::lock_guard<std::mutex> lock(mutex_);
  record::Attempt nobody;
  hand_over(before != nullptr ? before : &nobody);
  run_ = RunLog();
  caller_ = std::this_thread::get_id();
}

void LogTap::keep_all() {
  const std::lock_guard<std::mutex> lock(mutex_);
  keep_all_ = true;
}

LogTap::Counts LogTap::counts() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto& restarts = run_.restarts;
  return {run_.events, static_cast<int>(restarts.size()),
          restarts.empty() ? std::nullopt : std::optional(restarts.back()),
          run_.values.empty() ? std::vector<double>() : run_.values.back()};
}

void LogTap::require_whole() {
  const std::lock_guard<std::mutex> lock(mutex_);
  file_.require_whole();
}

RunLog LogTap::run() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return run_;
}

void LogTap::take_lines(record::Attempt* to) {
  const std::lock_guard<std::mutex> lock(mutex_);
  hand_over(to);
}

void LogTap::hand_over(record::Attempt* to) {
  std::move(kept_.begin(), kept_.end(), std::back_inserter(to->log));
  kept_.clear();
  to->log_dropped += std::exchange(dropped_, 0);
}

void LogTap::take(const __android_log_message* message) { g_tap->note(*message); }

// A sensor that never passes logs some thousand events: the first of them tell the story, and so does the end.
void LogTap::keep(const __android_log_message& message) {
  constexpr size_t kMax = 4000;
  if (kept_.size() >= kMax) {
    kept_.erase(kept_.begin() + kMax / 2);
    ++dropped_;
  }
  std::string text = message.message;
  while (!text.empty() && text.back() == '\n') text.pop_back();
  kept_.push_back(
      {message.priority, message.tag == nullptr ? "" : message.tag, text, std::this_thread::get_id() != caller_});
  if (has(message.message, "[writeStr] write ")) run_.parts.push_back(run_.events);
}

void LogTap::note(const __android_log_message& message) {
  ++lines_;
  const std::lock_guard<std::mutex> lock(mutex_);
  if (file_.there()) write_threadtime(file_, message);
  const char* text = message.message;
  if (keep_all_) keep(message);
  // Every event that a run takes is logged with its data.
  if (message.priority == ANDROID_LOG_INFO &&
      (has(text, " data: {") || has(text, " cali: {") || has(text, "_CALI: {"))) {
    ++run_.events;
    std::vector<double> values = parse_values(text);
    if (!std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); }))
      ++run_.events_of_no_number;
    if (keep_all_) run_.values.push_back(std::move(values));
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
