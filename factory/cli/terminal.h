// Text for people: tables, colour and progress, the last two on a terminal only.
#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

namespace factory {

// A text that may come from anywhere (a plan, a phone, a scanner) as it is shown: control characters, those that turn
// the direction of writing, and bytes that are no UTF-8 as escapes, "\u001b" and "\xff"; line feeds and tabs stay, and
// so do the colours below. In JSON it means the same.
std::string visible(const std::string& text);

// From here on all that goes to std::cout and std::cerr is visible().
void show_what_is_printed();

// On standard error, every line behind the program's name, as all it says of what went wrong. Any thread.
void complain(const std::string& text);

// A sequence of the terminal's, which the text that is printed may hold.
std::string terminal_sequence(const char* rest);

// In colour where standard output is a terminal and NO_COLOR is unset or empty.
std::string bold(const std::string& text);
std::string good(const std::string& text);
std::string bad(const std::string& text);
// What is neither good nor bad: nothing is known. On a ground of its own, which is seen without colour, too.
std::string alert(const std::string& text);
std::string faint(const std::string& text);

// One line on the terminal that is written over and over, and gone at the end. Silent where standard error is none.
class StatusLine {
 public:
  explicit StatusLine(bool wanted);
  ~StatusLine() { clear(); }
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;

  void show(const std::string& text);  // what is cut on a narrow terminal is the end
  void clear();
  bool shown() const { return shown_; }

  // Held by whoever writes such a line, and by a question for as long as it waits.
  static std::mutex& mutex();

 private:
  const bool shown_;
  bool drawn_ = false;
};

// `text` in lines of at most `columns` (0: one line), broken at blanks; the lines after the first begin with `indent`,
// and the first one stands behind `used` columns.
std::string wrapped(const std::string& text, size_t columns, const std::string& indent = "", size_t used = 0);

// A line below a result, "  why: ..." and the like, with its line feed; broken where it does not fit the terminal.
std::string remark(const std::string& label, const std::string& text);

// How wide the terminal is: COLUMNS, else what it says itself. 0: no terminal, so any width will do.
size_t terminal_columns(int fd = 1);

// Columns as wide as they need to be, two blanks between them. The first row is the header. Fits the terminal, or the
// columns that are given; 0 is any.
std::string table(const std::vector<std::vector<std::string>>& rows);
std::string table(const std::vector<std::vector<std::string>>& rows, size_t columns);

}  // namespace factory
