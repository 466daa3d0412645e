#include "run/progress.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <utility>

#include "cli/terminal.h"

namespace factory {

Progress::Progress(std::string label, const LogTap& tap, int events, bool wanted)
    : label_(std::move(label)), tap_(tap), events_(events) {
  if (!wanted || isatty(STDERR_FILENO) == 0) return;
  thread_ = std::thread([this] {
    const auto start = std::chrono::steady_clock::now();
    while (!done_) {
      show(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    fputs("\r\033[K", stderr);  // leaves the line to the result
    fflush(stderr);
  });
}

Progress::~Progress() {
  done_ = true;
  if (thread_.joinable()) thread_.join();
}

void Progress::show(double seconds) const {
  const std::unique_lock<std::mutex> own(status_line(), std::try_to_lock);
  if (!own) return;  // a question waits there
  const RunLog run = tap_.run();
  // After a restart the window is filled anew.
  const int since = run.restarts.empty() ? run.events : run.events - run.restarts.back().event;
  // A line that wraps could not be taken back: on a narrow terminal the bar goes first, then the line is cut.
  const size_t columns = terminal_columns(STDERR_FILENO);
  constexpr size_t kWide = 70;
  const int width = columns == 0 || columns >= kWide ? 24 : 6;
  const int filled = events_ == 0 ? 0 : std::min(width, since * width / events_);
  std::string bar(static_cast<size_t>(filled), '#');
  bar.resize(static_cast<size_t>(width), '.');
  std::string restarts;
  if (!run.restarts.empty()) {
    restarts = "  restarts: " + std::to_string(run.restarts.size());
  }
  char line[160];
  snprintf(line, sizeof line, "%-10s [%s] %3d events  %4.1f s%s", label_.c_str(), bar.c_str(), run.events, seconds,
           restarts.c_str());
  const int cut = columns > 1 ? static_cast<int>(columns) - 1 : static_cast<int>(sizeof line);
  fprintf(stderr, "\r\033[K%.*s", cut, line);
  fflush(stderr);
}

}  // namespace factory
