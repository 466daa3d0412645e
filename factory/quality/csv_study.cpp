// Studies from a file that was filled in elsewhere.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <map>
#include <tuple>

#include "files/app_error.h"
#include "files/whole_file.h"
#include "quality/study.h"

namespace factory::grr {
namespace {

constexpr const char* kColumns[] = {"phone", "station", "trial", "value"};
constexpr size_t kColumnCount = std::size(kColumns);
constexpr size_t kValue = 3;

std::string trimmed(const std::string& text) {
  constexpr const char* kBlanks = " \t\r";
  const size_t begin = std::min(text.find_first_not_of(kBlanks), text.size());
  return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

class Csv {
 public:
  Csv(std::string file, const std::string& text) : file_(std::move(file)), text_(text) {
    constexpr const char* kByteOrderMark = "\xEF\xBB\xBF";
    if (text_.rfind(kByteOrderMark, 0) == 0) at_ = 3;
  }

  [[noreturn]] void fail(const std::string& what) const {
    throw AppError(kUsage, file_ + ":" + std::to_string(row_line_) + ": " + what);
  }
  int line() const { return row_line_; }

  // The next row that is not empty. Quoted fields may hold anything, line feeds and doubled quotation marks included.
  bool next(std::vector<std::string>* fields) {
    do {
      if (at_ >= text_.size()) return false;
      row_line_ = line_;
      fields->clear();
      do {
        fields->push_back(read_field());
      } while (at_ < text_.size() && text_[at_++] == ',');
    } while (fields->size() == 1 && fields->front().empty());
    return true;
  }

 private:
  // Up to the comma or the line feed that ends it.
  std::string read_field() {
    const size_t begin = text_.find_first_not_of(" \t", at_);
    const bool quoted = begin != std::string::npos && text_[begin] == '"';
    if (quoted) at_ = begin + 1;
    const std::string between_marks = quoted ? read_quoted() : "";
    const size_t end = std::min(text_.find_first_of(",\n", at_), text_.size());
    const std::string rest = trimmed(text_.substr(at_, end - at_));
    if (quoted && !rest.empty()) fail("something follows a closing quotation mark");
    at_ = end;
    if (at_ < text_.size() && text_[at_] == '\n') ++line_;
    return quoted ? between_marks : rest;
  }
  std::string read_quoted() {
    std::string out;
    for (; at_ < text_.size(); ++at_) {
      if (text_[at_] == '"' && (++at_ >= text_.size() || text_[at_] != '"')) return out;
      if (text_[at_] == '\n') ++line_;
      out += text_[at_];
    }
    fail("a quotation mark is not closed");
  }

  const std::string file_;
  const std::string& text_;
  size_t at_ = 0;
  int line_ = 1;
  int row_line_ = 1;
};

double number_of(const Csv& csv, const std::string& text) {
  const size_t sign = text.starts_with('+') ? 1 : 0;
  double value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data() + sign, end, value);
  if (text.empty() || error != std::errc() || stop != end || !std::isfinite(value))
    csv.fail("value \"" + text + "\" is no number");
  return value;
}

// Where each of the columns stands.
std::vector<size_t> read_header(Csv* csv) {
  std::vector<std::string> header;
  if (!csv->next(&header)) csv->fail("the file is empty; wanted: a line phone,station,trial,value and the readings");
  std::vector<size_t> out(kColumnCount, header.size());
  for (size_t i = 0; i < header.size(); ++i) {
    const auto* const known = std::find(std::begin(kColumns), std::end(kColumns), header[i]);
    if (known == std::end(kColumns))
      csv->fail("column \"" + header[i] + "\" is none of phone, station, trial and value");
    size_t& place = out[static_cast<size_t>(known - kColumns)];
    if (place != header.size()) csv->fail("column \"" + header[i] + "\" is there twice");
    place = i;
  }
  for (size_t c = 0; c < kColumnCount; ++c) {
    if (out[c] == header.size()) csv->fail(std::string("the column \"") + kColumns[c] + "\" is missing");
  }
  return out;
}

}  // namespace

std::vector<Reading> parse_csv(const std::string& file, const std::string& text) {
  Csv csv(file, text);
  const std::vector<size_t> place = read_header(&csv);
  std::vector<Reading> out;
  std::map<std::tuple<std::string, std::string, std::string>, int> lines;
  std::vector<std::string> fields;
  while (csv.next(&fields)) {
    if (fields.size() != kColumnCount)
      csv.fail(std::to_string(fields.size()) + " fields, not " + std::to_string(kColumnCount));
    for (size_t c = 0; c < kValue; ++c) {
      if (fields[place[c]].empty()) csv.fail(std::string("the ") + kColumns[c] + " is missing");
    }
    const auto& [phone, station, trial] = std::tie(fields[place[0]], fields[place[1]], fields[place[2]]);
    const auto [first, is_new] = lines.try_emplace({phone, station, trial}, csv.line());
    if (!is_new)
      csv.fail("trial " + trial + " of phone " + phone + " at station " + station + " is in line " +
               std::to_string(first->second) + " already");
    out.push_back({phone, station, number_of(csv, fields[place[kValue]])});
  }
  if (out.empty()) csv.fail("no reading follows the header");
  return out;
}

std::vector<Reading> read_csv(const std::string& file) {
  const std::optional<std::string> text = read_file(file);
  if (!text) throw AppError(kUsage, file + ": cannot be read");
  return parse_csv(file, *text);
}

}  // namespace factory::grr
