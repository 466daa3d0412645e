#include "quality/study.h"

#include <errno.h>
#include <string.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <map>
#include <set>

#include "files/app_error.h"
#include "files/numbers.h"
#include "files/whole_file.h"
#include "files/words.h"
#include "store/stored_text.h"

namespace factory::grr {
namespace {

// A station and an operator; what is no factor is empty.
using Place = std::array<std::string, 2>;
constexpr const char* kPlaceNames[] = {"stations", "operators"};
using Cells = std::map<std::string, std::map<Place, std::vector<double>>>;  // by phone

// Many phones of a store were at one station only: naming some is enough.
constexpr size_t kNamed = 3;

std::string named(const std::vector<std::string>& names) {
  std::vector<std::string> some(names.begin(), names.begin() + static_cast<long>(std::min(names.size(), kNamed)));
  if (names.size() > some.size()) some.push_back("and " + std::to_string(names.size() - some.size()) + " more");
  return joined(some, ", ");
}

std::string words_of(const Place& place) {
  return (place[0].empty() ? "" : " at station " + place[0]) + (place[1].empty() ? "" : " by operator " + place[1]);
}

size_t trials_at(const std::map<Place, std::vector<double>>& of_phone, const Place& place) {
  const auto found = of_phone.find(place);
  return found == of_phone.end() ? 0 : found->second.size();
}

// What a study is made of.
struct Part {
  std::vector<std::string> phones;
  std::array<std::vector<std::string>, 2> levels;  // of stations and operators
  size_t trials = 0;

  size_t size() const { return phones.size() * levels[0].size() * levels[1].size() * trials; }
  std::vector<Place> places() const {
    std::vector<Place> out;
    for (const std::string& first : levels[0]) {
      for (const std::string& second : levels[1]) out.push_back({first, second});
    }
    return out;
  }
};

class Search {
 public:
  Search(const Cells& cells, By by) : cells_(cells), factor_{by.stations, by.operators} {}

  // The largest one with so many trials or more.
  Part best(size_t fewest_trials) {
    std::set<size_t> sizes;
    for (const auto& [phone, places] : cells_) {
      for (const auto& [place, values] : places) sizes.insert(values.size());
    }
    Part out;
    for (auto trials = sizes.rbegin(); trials != sizes.rend() && *trials >= fewest_trials; ++trials)
      look(*trials, &out);
    return out;
  }

 private:
  void look(size_t trials, Part* best) {
    // Phones that can be in a study at all: a line's others were at one station.
    std::vector<const std::string*> phones;
    std::array<std::map<std::string, int>, 2> frequency;
    for (const auto& [phone, places] : cells_) {
      size_t complete = 0;
      for (const auto& [place, values] : places) complete += values.size() >= trials ? 1 : 0;
      if (complete < (factor_[0] && factor_[1] ? 4U : 2U)) continue;
      phones.push_back(&phone);
      for (const auto& [place, values] : places) {
        for (size_t f = 0; f < 2; ++f) frequency[f][place[f]] += values.size() >= trials ? 1 : 0;
      }
    }
    const std::vector<std::string> first = by_frequency(frequency[0]);
    const std::vector<std::string> second = by_frequency(frequency[1]);
    for (size_t i = factor_[0] ? 2 : 1; i <= first.size(); ++i) {
      for (size_t k = factor_[1] ? 2 : 1; k <= second.size(); ++k) {
        Part part{{},
                  {{{first.begin(), first.begin() + static_cast<long>(i)},
                    {second.begin(), second.begin() + static_cast<long>(k)}}},
                  trials};
        const std::vector<Place> places = part.places();
        for (const std::string* phone : phones) {
          const auto is_complete = [&](const Place& place) { return trials_at(cells_.at(*phone), place) >= trials; };
          if (std::all_of(places.begin(), places.end(), is_complete)) part.phones.push_back(*phone);
        }
        if (part.phones.size() >= 2 && part.size() > best->size()) *best = part;
      }
    }
  }

  static std::vector<std::string> by_frequency(const std::map<std::string, int>& frequency) {
    std::vector<std::string> out;
    for (const auto& [name, times] : frequency) out.push_back(name);
    std::stable_sort(out.begin(), out.end(),
                     [&](const auto& a, const auto& b) { return frequency.at(a) > frequency.at(b); });
    return out;
  }

  const Cells& cells_;
  const std::array<bool, 2> factor_;
};

std::array<std::set<std::string>, 2> levels_of(const Cells& cells) {
  std::array<std::set<std::string>, 2> out;
  for (const auto& [phone, places] : cells) {
    for (const auto& [place, values] : places) {
      for (size_t f = 0; f < 2; ++f) out[f].insert(place[f]);
    }
  }
  return out;
}

std::string why_none(const Cells& cells, By by) {
  const auto levels = levels_of(cells);
  if (cells.size() < 2) return counted(cells.size(), "phone") + ": how much phones differ takes two or more";
  if (by.stations && levels[0].size() < 2)
    return counted(levels[0].size(), "station") + ": how well stations agree takes two or more";
  if (by.operators && levels[1].size() < 2)
    return counted(levels[1].size(), "operator") + ": how well operators agree takes two or more";
  return std::string("no two phones were measured ") + (!by.operators ? "at the same two stations"
                                                        : !by.stations
                                                            ? "by the same two operators"
                                                            : "at the same two stations by the same two operators");
}

// Says what a part is without.
std::vector<std::string> left_out(const Cells& cells, const Part& part) {
  std::vector<std::string> out;
  const std::string wanted = counted(part.trials, "trial");
  const auto all = levels_of(cells);
  for (size_t f = 0; f < 2; ++f) {
    std::vector<std::string> names;
    for (const std::string& name : all[f]) {
      if (std::find(part.levels[f].begin(), part.levels[f].end(), name) == part.levels[f].end()) names.push_back(name);
    }
    if (!names.empty())
      out.push_back(std::string(kPlaceNames[f]) + " without " + wanted + " of the phones: " + named(names));
  }
  std::vector<std::string> phones;
  std::vector<std::string> excess;
  const std::vector<Place> places = part.places();
  for (const auto& [phone, of_phone] : cells) {
    if (!std::binary_search(part.phones.begin(), part.phones.end(), phone)) {
      const auto lacking = std::find_if(places.begin(), places.end(), [&, &had = of_phone](const Place& place) {
        return trials_at(had, place) < part.trials;
      });
      phones.push_back(phone + (lacking == places.end()
                                    ? ""
                                    : " (" + std::to_string(trials_at(of_phone, *lacking)) + words_of(*lacking) + ")"));
      continue;
    }
    for (const Place& place : places) {
      const size_t more = trials_at(of_phone, place) - part.trials;
      if (more > 0) excess.push_back(std::to_string(more) + " of phone " + phone + words_of(place));
    }
  }
  if (!phones.empty()) out.push_back("phones without " + wanted + " everywhere: " + named(phones));
  if (!excess.empty()) out.push_back("trials after the first " + std::to_string(part.trials) + ": " + named(excess));
  return out;
}

enum Column : size_t { kPhone, kStation, kOperator, kTrial, kValue, kColumnCount };
constexpr const char* kColumns[kColumnCount] = {"phone", "station", "operator", "trial", "value"};

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

constexpr size_t kNone = std::numeric_limits<size_t>::max();

// Where each of the columns stands, or kNone.
std::vector<size_t> read_header(Csv* csv) {
  std::vector<std::string> header;
  if (!csv->next(&header)) csv->fail("the file is empty; wanted: a line phone,station,trial,value and the readings");
  std::vector<size_t> out(kColumnCount, kNone);
  for (size_t i = 0; i < header.size(); ++i) {
    const auto* const known = std::find(std::begin(kColumns), std::end(kColumns), header[i]);
    if (known == std::end(kColumns))
      csv->fail("column \"" + header[i] + "\" is none of phone, station, operator, trial and value");
    size_t& place = out[static_cast<size_t>(known - kColumns)];
    if (place != kNone) csv->fail("column \"" + header[i] + "\" is there twice");
    place = i;
  }
  for (const size_t c : {kPhone, kStation, kTrial, kValue}) {
    if (out[c] == kNone && (c != kStation || out[kOperator] == kNone))
      csv->fail(std::string("the column \"") + kColumns[c] + "\" is missing");
  }
  return out;
}

}  // namespace

std::string Study::size() const {
  std::vector<std::string> out;
  for (const Factor& factor : factors) out.push_back(std::to_string(factor.levels.size()) + " " + factor.name);
  return joined(out, ", ") + ", " + counted(trials, "trial");
}

std::string make_study(const Subject& subject, const std::vector<Reading>& readings, By by, Study* study) {
  Cells cells;
  std::vector<std::string> unusable;
  for (const Reading& reading : readings) {
    const Place place = {by.stations ? reading.station : "", by.operators ? reading.operator_name : ""};
    if (std::isfinite(reading.value)) {
      cells[reading.phone][place].push_back(reading.value);
    } else {
      unusable.push_back("phone " + reading.phone + words_of(place));
    }
  }
  *study = Study();
  study->subject = subject;
  Search search(cells, by);
  Part part = search.best(2);
  if (part.size() == 0) part = search.best(1);
  if (part.size() == 0) return why_none(cells, by);
  study->left_out = left_out(cells, part);
  if (!unusable.empty()) study->left_out.push_back("values that can not be added up: " + named(unusable));
  study->factors.push_back({"phones", part.phones});
  for (size_t f = 0; f < 2; ++f) {
    std::sort(part.levels[f].begin(), part.levels[f].end());
    if (f == 0 ? by.stations : by.operators) study->factors.push_back({kPlaceNames[f], part.levels[f]});
  }
  study->trials = static_cast<int>(part.trials);
  for (const std::string& phone : part.phones) {
    for (const Place& place : part.places()) {
      const std::vector<double>& values = cells.at(phone).at(place);
      study->values.insert(study->values.end(), values.begin(), values.begin() + study->trials);
    }
  }
  return "";
}

Turn next_turn(const Design& design, const std::vector<Reading>& done) {
  const std::vector<std::string> nowhere = {""};
  const auto& stations = design.stations.empty() ? nowhere : design.stations;
  const auto& operators = design.operators.empty() ? nowhere : design.operators;
  std::map<std::pair<std::string, Place>, int> times;
  for (const Reading& reading : done)
    ++times[{reading.phone,
             {design.stations.empty() ? "" : reading.station, design.operators.empty() ? "" : reading.operator_name}}];
  Turn out;
  for (int trial = 1; trial <= design.trials; ++trial) {
    for (const std::string& station : stations) {
      for (const std::string& who : operators) {
        std::vector<std::pair<long long, std::string>> phones;
        for (const std::string& phone : design.phones)
          phones.emplace_back(store::key_of(joined({phone, station, who, std::to_string(trial)}, "\n")), phone);
        std::sort(phones.begin(), phones.end());
        for (const auto& [key, phone] : phones) {
          ++out.wanted;
          const bool is_done = times[{phone, {station, who}}] >= trial;
          out.done += is_done ? 1 : 0;
          if (!is_done && out.trial == 0) {
            out.phone = phone;
            out.station = station;
            out.operator_name = who;
            out.trial = trial;
          }
        }
      }
    }
  }
  return out;
}

Readings parse_csv(const std::string& file, const std::string& text) {
  Csv csv(file, text);
  const std::vector<size_t> place = read_header(&csv);
  const size_t columns = place.size() - static_cast<size_t>(std::count(place.begin(), place.end(), kNone));
  Readings out;
  out.by = {place[kStation] != kNone, place[kOperator] != kNone};
  std::map<std::vector<std::string>, int> lines;
  std::vector<std::string> fields;
  while (csv.next(&fields)) {
    if (fields.size() != columns) csv.fail(std::to_string(fields.size()) + " fields, not " + std::to_string(columns));
    std::vector<std::string> texts(kColumnCount);
    for (size_t c = 0; c < kColumnCount; ++c) {
      if (place[c] == kNone) continue;
      texts[c] = fields[place[c]];
      if (texts[c].empty() && c != kValue) csv.fail(std::string("the ") + kColumns[c] + " is missing");
    }
    const double value = number_of(csv, texts[kValue]);
    texts.resize(kValue);
    const auto [first, is_new] = lines.try_emplace(texts, csv.line());
    if (is_new) {
      out.readings.push_back({texts[kPhone], texts[kStation], value, texts[kOperator]});
    } else {
      out.left_out.push_back("line " + std::to_string(csv.line()) + ": trial " + texts[kTrial] + " of phone " +
                             texts[kPhone] + words_of({texts[kStation], texts[kOperator]}) + " is in line " +
                             std::to_string(first->second) + " already");
    }
  }
  if (out.readings.empty()) csv.fail("no reading follows the header");
  return out;
}

Readings read_csv(const std::string& file) {
  const std::optional<std::string> text = read_file(file);
  if (!text) throw AppError(kUsage, file + ": " + strerror(errno));
  return parse_csv(file, *text);
}

}  // namespace factory::grr
