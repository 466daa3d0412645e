// The cells of a text table: splitting a line, and reading numbers and times exactly.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "phone/traces/units.h"

namespace phone {

// A file's lines and what separates their cells.
class TextTable {
 public:
  // Takes the whole text of a file: drops a byte order mark and carriage returns, finds the separator. Throws
  // PhoneError when the text is no UTF-8 table.
  TextTable(const std::string& file, std::string text);
  TextTable(const TextTable&) = delete;
  TextTable& operator=(const TextTable&) = delete;

  const std::vector<std::string_view>& lines() const { return lines_; }
  char separator() const { return separator_; }
  // Spreadsheets that write a decimal comma separate cells otherwise.
  bool decimal_comma() const { return separator_ != ','; }
  void split(std::string_view line, std::vector<std::string>* cells) const;

 private:
  const std::string text_;
  std::vector<std::string_view> lines_;
  char separator_ = ',';
};

bool is_blank(std::string_view line);
bool is_comment(std::string_view line);

enum class CellFault { none, empty, not_a_number, out_of_range };
const char* describe(CellFault fault);

CellFault read_value(std::string_view cell, bool decimal_comma, double* value);

// A time as it was written: mantissa x 10^exponent of a unit that may not be known yet. Doubles would lose the last
// digits of nanoseconds since 1970.
struct TimeStamp {
  int64_t mantissa = 0;
  int exponent = 0;
  bool is_date = false;  // seconds since 1970, from a date and a time of day

  double value() const;
  // None beyond what 64 bits of nanoseconds hold.
  std::optional<int64_t> nanoseconds(TimeUnit unit) const;
};

// Reads a number, "2020-05-01 13:27:25.976", "2019-2-27T8:05:35.1Z" or "13:27:25.976".
CellFault read_time(std::string_view cell, bool decimal_comma, TimeStamp* time);

}  // namespace phone
