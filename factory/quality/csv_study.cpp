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
  const size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string::npos) return "";
  return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
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
    while (at_ < text_.size()) {
      read_row(fields);
      if (fields->size() > 1 || !fields->front().empty()) return true;
    }
    return false;
  }

 private:
  void read_row(std::vector<std::string>* fields) {
    row_line_ = line_;
    fields->assign(1, "");
    for (;;) {
      read_field(&fields->back());
      if (at_ >= text_.size()) return;
      const char end = text_[at_++];
      if (end == '\n') {
        ++line_;
        return;
      }
      fields->emplace_back();
    }
  }
  // Up to the comma or the line feed that ends it.
  void read_field(std::string* field) {
    const size_t begin = text_.find_first_not_of(" \t", at_);
    if (begin != std::string::npos && text_[begin] == '"') {
      at_ = begin + 1;
      read_quoted(field);
      const size_t end = std::min(text_.find_first_of(",\n", at_), text_.size());
      if (text_.find_first_not_of(" \t\r", at_) < end) fail("something follows a closing quotation mark");
      at_ = end;
      return;
    }
    const size_t end = std::min(text_.find_first_of(",\n", at_), text_.size());
    *field = text_.substr(at_, end - at_);
    if (!field->empty() && field->back() == '\r') field->pop_back();
    *field = trimmed(*field);
    at_ = end;
  }
  void read_quoted(std::string* field) {
    for (; at_ < text_.size(); ++at_) {
      if (text_[at_] == '"') {
        ++at_;
        if (at_ >= text_.size() || text_[at_] != '"') return;
      }
      if (text_[at_] == '\n') ++line_;
      *field += text_[at_];
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
