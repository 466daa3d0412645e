// Tables that fit the terminal: columns wrap at blanks, and where even that leaves too little, each row becomes a
// block.
#include <algorithm>
#include <sstream>

#include "cli/terminal.h"

namespace factory {
namespace {

using Row = std::vector<std::string>;

constexpr size_t kGap = 2;
constexpr size_t kWidthMin = 8;
const std::string kReset = terminal_sequence("0m");

// Printed width: without colour codes, and a UTF-8 character counts once.
size_t width(const std::string& text) {
  size_t count = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == kReset[0]) {
      while (i < text.size() && text[i] != 'm') ++i;
    } else if ((static_cast<unsigned char>(text[i]) & 0xC0U) != 0x80U) {
      ++count;
    }
  }
  return count;
}

// The bytes of the first `characters` characters.
size_t bytes_of(const std::string& text, size_t characters) {
  size_t at = 0;
  while (at < text.size() && characters > 0) {
    ++at;
    while (at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U) ++at;
    --characters;
  }
  return at;
}

// Lines of at most `columns` characters, broken at blanks where there is one.
Row wrap_plain(std::string text, size_t columns) {
  Row lines;
  while (width(text) > columns) {
    const size_t end = bytes_of(text, columns);
    size_t blank = text.rfind(' ', end);
    if (blank == std::string::npos || text.find_first_not_of(' ') > blank) blank = end;
    lines.push_back(text.substr(0, blank));
    lines.back().erase(lines.back().find_last_not_of(' ') + 1);
    text.erase(0, std::min(text.find_first_not_of(' ', blank), text.size()));
  }
  lines.push_back(text);
  return lines;
}

// A cell that is coloured as a whole stays so in each of its lines.
Row wrap(const std::string& cell, size_t columns) {
  const bool coloured = cell.starts_with(kReset[0]) && cell.ends_with(kReset);
  if (!coloured) return wrap_plain(cell, columns);
  const size_t begin = cell.find('m') + 1;
  Row lines = wrap_plain(cell.substr(begin, cell.size() - begin - kReset.size()), columns);
  for (std::string& line : lines) line = cell.substr(0, begin) + line + kReset;
  return lines;
}

// The longest word, which is not to be broken unless it is longer than anybody should expect.
size_t longest_word(const std::string& cell) {
  constexpr size_t kLongest = 24;
  size_t longest = 0;
  for (size_t begin = 0; begin < cell.size();) {
    const size_t end = std::min(cell.find(' ', begin), cell.size());
    longest = std::max(longest, width(cell.substr(begin, end - begin)));
    begin = end + 1;
  }
  return std::min(longest, kLongest);
}

size_t total(const std::vector<size_t>& widths) {
  size_t sum = widths.empty() ? 0 : kGap * (widths.size() - 1);
  for (const size_t one : widths) sum += one;
  return sum;
}

std::string lines_of_row(const Row& cells, const std::vector<size_t>& widths) {
  std::vector<Row> wrapped;
  size_t height = 1;
  for (size_t i = 0; i < cells.size(); ++i) {
    wrapped.push_back(wrap(cells[i], widths[i]));
    height = std::max(height, wrapped.back().size());
  }
  std::string out;
  for (size_t l = 0; l < height; ++l) {
    std::string line;
    for (size_t i = 0; i < wrapped.size(); ++i) {
      const std::string part = l < wrapped[i].size() ? wrapped[i][l] : "";
      line += part + std::string(widths[i] - width(part) + kGap, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out += line + "\n";
  }
  return out;
}

// Each row as lines of header and cell, with an empty line between rows.
std::string blocks(const std::vector<Row>& rows, size_t columns) {
  size_t header = 0;
  for (const std::string& name : rows[0]) header = std::max(header, width(name));
  const size_t rest = columns > header + kGap + kWidthMin ? columns - header - kGap : kWidthMin;
  std::string out;
  for (size_t r = 1; r < rows.size(); ++r) {
    if (r > 1) out += "\n";
    for (size_t i = 0; i < rows[r].size(); ++i) {
      if (!rows[r][i].empty()) out += lines_of_row({bold(rows[0][i]), rows[r][i]}, {header, rest});
    }
  }
  return out;
}

}  // namespace

std::string wrapped(const std::string& text, size_t columns, const std::string& indent, size_t used) {
  std::string out;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    if (!out.empty() && columns > 0 && used + 1 + width(word) > columns) {
      out += "\n" + indent;
      used = indent.size();
    } else if (!out.empty()) {
      out += ' ';
      ++used;
    }
    out += word;
    used += width(word);
  }
  return out;
}

std::string remark(const std::string& label, const std::string& text) {
  return "  " + label + wrapped(text, terminal_columns(), "    ", 2 + width(label)) + "\n";
}

std::string table(const std::vector<Row>& rows) { return table(rows, terminal_columns()); }

std::string table(const std::vector<Row>& given, size_t columns) {
  std::vector<Row> rows = given;
  for (Row& row : rows) {
    for (std::string& cell : row) {
      cell = visible(cell);
      std::replace(cell.begin(), cell.end(), '\n', ' ');
    }
  }
  std::vector<size_t> widths;
  std::vector<size_t> least;
  for (const Row& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    least.resize(widths.size());
    for (size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], width(row[i]));
      least[i] = std::max(least[i], longest_word(row[i]));
    }
  }
  while (columns > 0 && total(widths) > columns) {
    size_t widest = widths.size();
    for (size_t i = 0; i < widths.size(); ++i) {
      if (widths[i] > least[i] && (widest == widths.size() || widths[i] > widths[widest])) widest = i;
    }
    if (widest == widths.size()) return blocks(rows, columns);
    --widths[widest];
  }
  std::string out;
  for (size_t r = 0; r < rows.size(); ++r) {
    Row cells = rows[r];
    if (r == 0) std::transform(cells.begin(), cells.end(), cells.begin(), bold);
    out += lines_of_row(cells, widths);
  }
  return out;
}

}  // namespace factory
