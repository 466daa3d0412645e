#include "cli/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace factory {
namespace {

// A terminal, and NO_COLOR unset or empty.
bool colour_wanted() {
  static const bool wanted = [] {
    const char* no_color = std::getenv("NO_COLOR");
    return isatty(STDOUT_FILENO) != 0 && (no_color == nullptr || *no_color == '\0');
  }();
  return wanted;
}

std::string coloured(const char* code, const std::string& text) {
  return colour_wanted() ? std::string("\033[") + code + "m" + text + "\033[0m" : text;
}

}  // namespace

std::string bold(const std::string& text) { return coloured("1", text); }
std::string good(const std::string& text) { return coloured("32", text); }
std::string bad(const std::string& text) { return coloured("31", text); }
std::string alert(const std::string& text) { return coloured("36", text); }
std::string faint(const std::string& text) { return coloured("2", text); }

StatusLine::StatusLine(bool wanted) : shown_(wanted && isatty(STDERR_FILENO) != 0) {}

void StatusLine::show(const std::string& text) {
  if (!shown_) return;
  const std::unique_lock<std::mutex> own(mutex(), std::try_to_lock);
  if (!own) return;  // a question waits there
  // A line that wraps could not be taken back.
  const size_t columns = terminal_columns(STDERR_FILENO);
  fprintf(stderr, "\r\033[K%s", (columns > 1 ? text.substr(0, columns - 1) : text).c_str());
  fflush(stderr);
  drawn_ = true;
}

void StatusLine::clear() {
  if (!drawn_) return;
  fputs("\r\033[K", stderr);
  fflush(stderr);
  drawn_ = false;
}

std::mutex& StatusLine::mutex() {
  static std::mutex mutex;
  return mutex;
}

size_t terminal_columns(int fd) {
  if (isatty(fd) == 0) return 0;
  const char* wished = std::getenv("COLUMNS");
  const int columns = wished != nullptr ? std::atoi(wished) : 0;
  if (columns > 0) return static_cast<size_t>(columns);
  winsize size{};
  return ioctl(fd, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

}  // namespace factory
