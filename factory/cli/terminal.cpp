#include "cli/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <random>
#include <sstream>
#include <streambuf>
#include <string_view>

#include "files/words.h"

namespace factory {
namespace {

// Begins a sequence of the terminal's in a text: a byte that does not occur in UTF-8, and digits that nobody knows who
// has a text printed.
const std::string& sequence() {
  static const auto& begin = *new std::string('\xF8' + std::to_string(std::random_device()()));  // never destroyed
  return begin;
}

// A terminal, and NO_COLOR unset or empty.
bool colour_wanted() {
  static const bool wanted = [] {
    const char* no_color = std::getenv("NO_COLOR");
    return isatty(STDOUT_FILENO) != 0 && (no_color == nullptr || *no_color == '\0');
  }();
  return wanted;
}

std::string coloured(const char* code, const std::string& text) {
  return colour_wanted() ? terminal_sequence((std::string(code) + "m").c_str()) + text + terminal_sequence("0m") : text;
}

bool hidden(unsigned code) {
  if (code < 0xA0) return (code < 0x20 && code != '\n' && code != '\t') || code >= 0x7F;
  return code == 0x061C || (code >= 0x200B && code <= 0x200F) || (code >= 0x2028 && code <= 0x202E) ||
         (code >= 0x2066 && code <= 0x2069) || code == 0xFEFF;
}

// The stream's buffer from then on. A character may come in pieces, and lines from any thread.
class VisibleBuffer : public std::streambuf {
 public:
  explicit VisibleBuffer(std::ostream* stream) : to_(stream->rdbuf(this)) {}

 private:
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    held_.append(text, static_cast<size_t>(size));
    return held_.find('\n') == std::string::npos || pass_on() ? size : 0;
  }
  int overflow(int c) override {
    const char one = static_cast<char>(c);
    return c == EOF || xsputn(&one, 1) == 1 ? 0 : EOF;
  }
  int sync() override {
    const std::lock_guard<std::mutex> lock(mutex_);
    return pass_on() && to_->pubsync() == 0 ? 0 : -1;
  }
  bool pass_on() {
    std::string text = visible(held_);
    held_.clear();
    for (size_t at = text.find(sequence()); at != std::string::npos; at = text.find(sequence(), at))
      text.replace(at, sequence().size(), "\033[");
    return to_->sputn(text.data(), static_cast<std::streamsize>(text.size())) ==
           static_cast<std::streamsize>(text.size());
  }

  std::mutex mutex_;
  std::string held_;  // guarded by mutex_
  std::streambuf* const to_;
};

}  // namespace

std::string visible(const std::string& text) {
  std::string out;
  for (size_t at = 0; at < text.size();) {
    const std::string_view rest = std::string_view(text).substr(at);
    uint32_t code = ' ';  // unless it is a character
    const size_t bytes = rest.starts_with(sequence()) ? sequence().size() : utf8_length(rest, &code);
    char escape[8] = "";
    if (bytes == 0) {
      snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(text[at])));
    } else if (hidden(code)) {
      snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(code));
    }
    out += *escape != '\0' ? escape : text.substr(at, std::max<size_t>(bytes, 1));
    at += std::max<size_t>(bytes, 1);
  }
  return out;
}

void show_what_is_printed() {
  // Never destroyed: what is left is written when the program ends.
  new VisibleBuffer(&std::cout);
  new VisibleBuffer(&std::cerr);
}

void complain(const std::string& text) {
  std::istringstream lines(text);
  std::string out;
  for (std::string line; std::getline(lines, line);) out += "sensorcal: " + line + "\n";
  std::cerr << out << std::flush;
}

std::string terminal_sequence(const char* rest) { return sequence() + rest; }

std::string bold(const std::string& text) { return coloured("1", text); }
std::string good(const std::string& text) { return coloured("32", text); }
std::string bad(const std::string& text) { return coloured("31", text); }
std::string alert(const std::string& text) { return coloured("7;36", text); }
std::string faint(const std::string& text) { return coloured("2", text); }

StatusLine::StatusLine(bool wanted) : shown_(wanted && isatty(STDERR_FILENO) != 0) {}

void StatusLine::show(const std::string& text) {
  if (!shown_) return;
  const std::unique_lock<std::mutex> own(mutex(), std::try_to_lock);
  if (!own) return;  // a question waits there
  // A line that wraps could not be taken back.
  const size_t columns = terminal_columns(STDERR_FILENO);
  const std::string whole = visible(text);
  fprintf(stderr, "\r\033[K%s", whole.substr(0, columns - 1).c_str());  // all of it where no width is known, 0
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
  ioctl(fd, TIOCGWINSZ, &size);  // leaves 0 where there is none
  return size.ws_col;
}

}  // namespace factory
