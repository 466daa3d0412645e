#include "quality/study.h"

#include <errno.h>
#include <string.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <tuple>

#include "files/app_error.h"
#include "files/numbers.h"
#include "files/whole_file.h"

namespace factory::grr {
namespace {

using Cells = std::map<std::string, std::map<std::string, std::vector<double>>>;  // by phone and station

std::string count(size_t number, const char* what) {
  return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

std::string too_few(size_t phones, size_t stations, size_t trials) {
  if (phones < 2) return count(phones, "phone") + ": how much phones differ takes two or more";
  if (stations < 2) return count(stations, "station") + ": how well stations agree takes two or more";
  if (trials < 2) return "1 trial: how well a station repeats itself takes two or more of each phone at each station";
  return "";
}

// The most frequent number of trials is the one that was meant.
size_t usual_trials(const Cells& cells) {
  std::map<size_t, int> frequency;
  for (const auto& [phone, stations] : cells) {
    for (const auto& [station, values] : stations) ++frequency[values.size()];
  }
  size_t usual = 0;
  for (const auto& [trials, times] : frequency) {
    if (usual == 0 || times >= frequency[usual]) usual = trials;
  }
  return usual;
}

std::string odd_cell(const std::string& phone, const std::string& station, size_t have, size_t wanted) {
  return "phone " + phone + " has " + count(have, "trial") + " at station " + station + ", not " +
         std::to_string(wanted);
}

// A phone that was at one station only is the usual case in a store: naming two of them is enough.
std::string unbalanced(const Cells& cells, const Study& study, size_t trials) {
  constexpr int kNamed = 2;
  std::string out;
  int odd = 0;
  for (const std::string& phone : study.phones) {
    for (const std::string& station : study.stations) {
      const auto& there = cells.at(phone);
      const auto cell = there.find(station);
      const size_t have = cell == there.end() ? 0 : cell->second.size();
      if (have == trials || ++odd > kNamed) continue;
      if (!out.empty()) out += "; ";
      out += odd_cell(phone, station, have, trials);
    }
  }
  if (odd > kNamed) out += "; and " + std::to_string(odd - kNamed) + " more";
  return out;
}

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
  const auto value = read_number<double>(text.starts_with('+') ? text.substr(1) : text);
  if (!value || !std::isfinite(*value)) csv.fail("value \"" + text + "\" is no number");
  return *value;
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

std::string make_study(const Subject& subject, const std::vector<Reading>& readings, Study* study) {
  Cells cells;
  std::map<std::string, int> stations;
  size_t unusable = 0;
  for (const Reading& reading : readings) {
    if (!std::isfinite(reading.value)) ++unusable;
    cells[reading.phone][reading.station].push_back(reading.value);
    ++stations[reading.station];
  }
  if (unusable > 0) return count(unusable, "value") + " can not be added up";
  *study = Study();
  study->subject = subject;
  for (const auto& [phone, of_phone] : cells) study->phones.push_back(phone);
  for (const auto& [station, times] : stations) study->stations.push_back(station);
  const size_t trials = usual_trials(cells);
  std::string problem = unbalanced(cells, *study, trials);
  if (problem.empty() || stations.size() < 2) {
    const std::string few = too_few(cells.size(), stations.size(), trials);
    if (!few.empty()) problem = few;
  }
  if (!problem.empty()) return problem;
  study->trials = static_cast<int>(trials);
  for (const auto& [phone, of_phone] : cells) {
    for (const auto& [station, values] : of_phone)
      study->values.insert(study->values.end(), values.begin(), values.end());
  }
  return "";
}

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
  if (!text) throw AppError(kUsage, file + ": " + strerror(errno));
  return parse_csv(file, *text);
}

}  // namespace factory::grr
