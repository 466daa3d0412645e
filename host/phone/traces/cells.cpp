#include "phone/traces/cells.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>

#include "phone/core/phone.h"

namespace phone {
namespace {

constexpr size_t kLinesToJudge = 100;
constexpr int kMantissaDigits = 18;

std::string_view trimmed(std::string_view text) {
  const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
  while (!text.empty() && blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && blank(text.back())) text.remove_suffix(1);
  return text;
}

bool contains_unquoted(std::string_view line, char wanted) {
  bool quoted = false;
  for (const char c : line) {
    if (c == '"') quoted = !quoted;
    if (c == wanted && !quoted) return true;
  }
  return false;
}

// Reads text from the front as a recording's date and time of day need it.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  bool at_end() const { return text_.empty(); }
  bool take(char c) {
    if (text_.empty() || text_.front() != c) return false;
    text_.remove_prefix(1);
    return true;
  }
  // Reads 1 to `digits` digits.
  bool number(int digits, int* value) {
    int taken = 0;
    *value = 0;
    while (taken < digits && !text_.empty() && text_.front() >= '0' && text_.front() <= '9') {
      *value = *value * 10 + (text_.front() - '0');
      text_.remove_prefix(1);
      ++taken;
    }
    return taken > 0;
  }
  // Reads a fraction's digits as nanoseconds; further digits are dropped.
  bool fraction(int64_t* nanoseconds) {
    int taken = 0;
    *nanoseconds = 0;
    for (; !text_.empty() && text_.front() >= '0' && text_.front() <= '9'; text_.remove_prefix(1), ++taken) {
      if (taken < 9) *nanoseconds = *nanoseconds * 10 + (text_.front() - '0');
    }
    for (int i = taken; i < 9; ++i) *nanoseconds *= 10;
    return taken > 0;
  }

 private:
  std::string_view text_;
};

// "Y-M-D" or "Y/M/D" and the blank or T behind it, as days since 1970.
bool read_date(Scanner* scan, int64_t* days) {
  int year = 0, month = 0, day = 0;
  if (!scan->number(4, &year)) return false;
  const char mark = scan->take('-') ? '-' : '/';
  if (mark == '/' && !scan->take('/')) return false;
  if (!scan->number(2, &month) || !scan->take(mark) || !scan->number(2, &day)) return false;
  if (!scan->take(' ') && !scan->take('T')) return false;
  const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  if (!date.ok()) return false;
  *days = std::chrono::sys_days(date).time_since_epoch().count();
  return true;
}

// "Z", "+02:00", "-0530" or nothing, as minutes east.
bool read_zone(Scanner* scan, int* minutes) {
  *minutes = 0;
  if (scan->at_end() || scan->take('Z')) return scan->at_end();
  const int sign = scan->take('-') ? -1 : 1;
  if (sign > 0 && !scan->take('+')) return false;
  int hours = 0, rest = 0;
  if (!scan->number(2, &hours)) return false;
  scan->take(':');
  if (!scan->at_end() && !scan->number(2, &rest)) return false;
  *minutes = sign * (hours * 60 + rest);
  return scan->at_end();
}

bool read_date_and_time(std::string_view cell, TimeStamp* time) {
  Scanner scan(cell);
  int64_t days = 0, fraction_ns = 0;
  int hour = 0, minute = 0, second = 0, east_min = 0;
  if (cell.substr(0, cell.find(':')).find_first_of("-/") != std::string_view::npos && !read_date(&scan, &days))
    return false;
  if (!scan.number(2, &hour) || !scan.take(':') || !scan.number(2, &minute)) return false;
  if (scan.take(':') && !scan.number(2, &second)) return false;
  if ((scan.take('.') || scan.take(',')) && !scan.fraction(&fraction_ns)) return false;
  if (!read_zone(&scan, &east_min) || hour > 23 || minute > 59 || second > 60) return false;
  const int64_t seconds = days * 86400 + hour * 3600 + (minute - east_min) * 60 + second;
  if (std::abs(seconds) > 9'000'000'000) return false;  // beyond 64 bits of nanoseconds
  *time = {seconds * 1'000'000'000 + fraction_ns, -9, true};
  return true;
}

// The digits of a number, kept as they stand.
bool read_decimal(std::string_view text, TimeStamp* time) {
  const bool negative = text.front() == '-';
  if (negative || text.front() == '+') text.remove_prefix(1);
  int64_t mantissa = 0;
  int exponent = 0, digits = 0;
  bool any = false, point = false;
  size_t i = 0;
  for (; i < text.size() && ((text[i] >= '0' && text[i] <= '9') || (text[i] == '.' && !point)); ++i) {
    if (text[i] == '.') {
      point = true;
      continue;
    }
    any = true;
    if (digits < kMantissaDigits || (digits == kMantissaDigits && mantissa < INT64_MAX / 10 - 1)) {
      mantissa = mantissa * 10 + (text[i] - '0');
      if (mantissa != 0) ++digits;
      if (point) --exponent;
    } else if (!point) {
      ++exponent;
    }
  }
  if (!any) return false;
  if (i < text.size()) {
    if (text[i] != 'e' && text[i] != 'E') return false;
    const char* begin = text.data() + i + 1;
    const char* const end = text.data() + text.size();
    if (end - begin > 1 && begin[0] == '+' && begin[1] != '-') ++begin;
    int told = 0;
    const auto result = std::from_chars(begin, end, told);
    if (result.ec != std::errc() || result.ptr != end || std::abs(told) > 10000) return false;
    exponent += told;
  }
  *time = {negative ? -mantissa : mantissa, exponent, false};
  return true;
}

// A point for a decimal comma; the text as it is where there is none.
std::string_view with_point(std::string_view cell, bool decimal_comma, std::string* storage) {
  if (!decimal_comma || cell.find(',') == std::string_view::npos || cell.find('.') != std::string_view::npos)
    return cell;
  *storage = cell;
  storage->replace(storage->find(','), 1, ".");
  return *storage;
}

}  // namespace

TextTable::TextTable(const std::string& file, std::string text) : text_(std::move(text)) {
  std::string_view rest = text_;
  if (rest.substr(0, 2) == "\xFF\xFE" || rest.substr(0, 2) == "\xFE\xFF" || rest.find('\0') != std::string_view::npos) {
    throw PhoneError(file + ": no UTF-8 text: save the recording as UTF-8");
  }
  if (rest.substr(0, 3) == "\xEF\xBB\xBF") rest.remove_prefix(3);
  while (!rest.empty()) {
    const size_t end = std::min(rest.find('\n'), rest.size());
    std::string_view line = rest.substr(0, end);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    lines_.push_back(line);
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  size_t judged = 0, tabs = 0, semicolons = 0;
  for (size_t i = 0; i < lines_.size() && judged < kLinesToJudge; ++i) {
    if (is_blank(lines_[i]) || is_comment(lines_[i])) continue;
    ++judged;
    if (contains_unquoted(lines_[i], '\t')) ++tabs;
    if (contains_unquoted(lines_[i], ';')) ++semicolons;
  }
  if (tabs * 2 >= judged) {
    separator_ = '\t';
  } else if (semicolons * 2 >= judged) {
    separator_ = ';';
  }
}

void TextTable::split(std::string_view line, std::vector<std::string>* cells) const {
  cells->clear();
  std::string cell;
  bool quoted = false, was_quoted = false;
  const auto finish = [&] {
    cells->emplace_back(was_quoted ? std::string_view(cell) : trimmed(cell));
    cell.clear();
    was_quoted = false;
  };
  for (size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (c == '"' && quoted && i + 1 < line.size() && line[i + 1] == '"') {
      cell += line[++i];
    } else if (c == '"' && (quoted || trimmed(cell).empty())) {
      if (!quoted) cell.clear();
      quoted = !quoted;
      was_quoted = true;
    } else if (c == separator_ && !quoted) {
      finish();
    } else if (quoted || !was_quoted) {
      cell += c;
    }
  }
  finish();
}

bool is_blank(std::string_view line) { return trimmed(line).empty(); }

bool is_comment(std::string_view line) { return trimmed(line).substr(0, 1) == "#"; }

const char* describe(CellFault fault) {
  constexpr const char* kTexts[] = {"good", "is empty", "is not a number", "is out of range"};
  return kTexts[static_cast<int>(fault)];
}

CellFault read_value(std::string_view cell, bool decimal_comma, double* value) {
  cell = trimmed(cell);
  if (cell.empty()) return CellFault::empty;
  std::string storage;
  std::string_view text = with_point(cell, decimal_comma, &storage);
  if (text.front() == '+' && text.substr(0, 2) != "+-") text.remove_prefix(1);
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, *value);
  if (result.ec == std::errc::invalid_argument || result.ptr != end) return CellFault::not_a_number;
  if (result.ec == std::errc::result_out_of_range) {
    // Too small for a double is zero; too large is a fault.
    if (text.find("e-") == std::string_view::npos && text.find("E-") == std::string_view::npos) {
      return CellFault::out_of_range;
    }
    *value = 0;
  }
  return std::isfinite(*value) ? CellFault::none : CellFault::not_a_number;
}

double TimeStamp::value() const { return static_cast<double>(mantissa) * std::pow(10.0, exponent); }

std::optional<int64_t> TimeStamp::nanoseconds(TimeUnit unit) const {
  if (mantissa == 0) return 0;
  int64_t ns = mantissa;
  int shift = exponent + (is_date ? 9 : nanosecond_exponent(unit));
  for (; shift > 0; --shift) {
    if (__builtin_mul_overflow(ns, int64_t{10}, &ns)) return std::nullopt;
  }
  if (shift < -kMantissaDigits) return 0;
  int64_t divisor = 1;
  for (; shift < 0; ++shift) divisor *= 10;
  const int64_t rest = ns % divisor;
  const int64_t up = rest >= (divisor + 1) / 2 ? 1 : 0;
  const int64_t down = rest <= -(divisor + 1) / 2 ? 1 : 0;
  return ns / divisor + up - down;
}

CellFault read_time(std::string_view cell, bool decimal_comma, TimeStamp* time) {
  cell = trimmed(cell);
  if (cell.empty()) return CellFault::empty;
  if (cell.find(':') != std::string_view::npos) {
    return read_date_and_time(cell, time) ? CellFault::none : CellFault::not_a_number;
  }
  std::string storage;
  return read_decimal(with_point(cell, decimal_comma, &storage), time) ? CellFault::none : CellFault::not_a_number;
}

}  // namespace phone
