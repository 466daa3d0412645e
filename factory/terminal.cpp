#include "terminal.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace factory {
namespace {

std::string coloured(const char* code, const std::string& text) {
  return colour_wanted() ? std::string("\033[") + code + "m" + text + "\033[0m" : text;
}

// Printed width: without colour codes, and a UTF-8 character counts once.
size_t width(const std::string& text) {
  size_t count = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\033') {
      while (i < text.size() && text[i] != 'm') ++i;
    } else if ((static_cast<unsigned char>(text[i]) & 0xC0U) != 0x80U) {
      ++count;
    }
  }
  return count;
}

}  // namespace

bool colour_wanted() {
  static const bool wanted = [] {
    const char* no_color = std::getenv("NO_COLOR");
    return isatty(STDOUT_FILENO) != 0 && (no_color == nullptr || *no_color == '\0');
  }();
  return wanted;
}

std::string bold(const std::string& text) { return coloured("1", text); }
std::string good(const std::string& text) { return coloured("32", text); }
std::string bad(const std::string& text) { return coloured("31", text); }
std::string faint(const std::string& text) { return coloured("2", text); }

std::string table(const std::vector<std::vector<std::string>>& rows) {
  std::vector<size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], width(row[i]));
  }
  std::string out;
  for (size_t r = 0; r < rows.size(); ++r) {
    std::string line;
    for (size_t i = 0; i < rows[r].size(); ++i) {
      line += r == 0 ? bold(rows[r][i]) : rows[r][i];
      if (i + 1 < rows[r].size()) line += std::string(widths[i] - width(rows[r][i]) + 2, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out += line + "\n";
  }
  return out;
}

std::string fixed(double value, int digits) {
  char text[64];
  snprintf(text, sizeof text, "%.*f", digits, value);
  return text;
}

}  // namespace factory
