#include "cli/status_line.h"

#include <unistd.h>

#include <cstdio>

#include "cli/terminal.h"

namespace factory {

StatusLine::StatusLine(bool wanted) : shown_(wanted && isatty(STDERR_FILENO) != 0) {}

StatusLine::~StatusLine() { clear(); }

void StatusLine::show(const std::string& text) {
  if (!shown_) return;
  const std::unique_lock<std::mutex> own(status_line(), std::try_to_lock);
  if (!own) return;  // a question waits there
  // A line that wraps could not be taken back.
  const size_t columns = terminal_columns(STDERR_FILENO);
  fprintf(stderr, "\r\033[K%s", (columns > 1 ? text.substr(0, columns - 1) : text).c_str());
  fflush(stderr);
}

void StatusLine::clear() {
  if (!shown_) return;
  fputs("\r\033[K", stderr);
  fflush(stderr);
}

}  // namespace factory
