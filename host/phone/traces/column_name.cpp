#include "phone/traces/column_name.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace phone {
namespace {

struct MeasureWord {
  std::string_view word;
  Quantity measure;
};

constexpr MeasureWord kMeasureWords[] = {
    {"a", Quantity::acceleration},
    {"acc", Quantity::acceleration},
    {"accel", Quantity::acceleration},
    {"accelerometer", Quantity::acceleration},
    {"acceleration", Quantity::acceleration},
    {"w", Quantity::angular_rate},
    {"g", Quantity::angular_rate},
    {"gyr", Quantity::angular_rate},
    {"gyro", Quantity::angular_rate},
    {"gyroscope", Quantity::angular_rate},
    {"angular", Quantity::angular_rate},
    {"rotation", Quantity::angular_rate},
    {"omega", Quantity::angular_rate},
    {"pressure", Quantity::pressure},
    {"press", Quantity::pressure},
    {"baro", Quantity::pressure},
    {"barometer", Quantity::pressure},
    {"barometric", Quantity::pressure},
    {"lux", Quantity::light},
    {"light", Quantity::light},
    {"illuminance", Quantity::light},
    {"als", Quantity::light},
    {"proximity", Quantity::proximity},
    {"prox", Quantity::proximity},
    {"prx", Quantity::proximity},
    {"pdata", Quantity::proximity},
    {"mag", Quantity::other},
    {"magnetic", Quantity::other},
    {"magnetometer", Quantity::other},
    {"gravity", Quantity::other},
    {"quaternion", Quantity::other},
    {"position", Quantity::other},
    {"velocity", Quantity::other},
    {"altitude", Quantity::other},
    {"temperature", Quantity::other},
    {"bias", Quantity::other},
    {"drift", Quantity::other},
    {"offset", Quantity::other},
    {"std", Quantity::other},
    {"variance", Quantity::other},
};

struct RankWord {
  std::string_view word;
  int rank;
};

constexpr RankWord kRankWords[] = {
    {"uncal", 4},    {"uncalibrated", 4}, {"raw", 4},   {"total", 2}, {"filtered", -2},
    {"rotated", -2}, {"linear", -8},      {"user", -8}, {"est", -4},  {"estimated", -4},
};

constexpr std::string_view kTimeWords[] = {"time", "timestamp", "elapsed", "epoch", "datetime", "date"};
constexpr std::string_view kIndexWords[] = {"index", "sample", "counter", "frame", "packet", "n", "i"};
// Words that a bare "x" may have beside it and still be the sensor that the file is about.
constexpr std::string_view kNeutralWords[] = {"raw",   "imu",    "sensor", "data",       "value", "uncal",
                                              "phone", "device", "axis",   "calibrated", "cal",   "uncalibrated"};

template <size_t N>
bool is_one_of(std::string_view word, const std::string_view (&words)[N]) {
  return std::find(std::begin(words), std::end(words), word) != std::end(words);
}

const MeasureWord* find_measure(std::string_view word) {
  for (const MeasureWord& row : kMeasureWords) {
    if (row.word == word) return &row;
  }
  return nullptr;
}

bool is_upper(char c) { return c >= 'A' && c <= 'Z'; }
bool is_lower(char c) { return c >= 'a' && c <= 'z'; }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

// "UncalAccelXMps2" and "imu_acc_x" alike: a new word begins at a capital after a small letter or a digit, and at the
// last of several capitals when a small letter follows.
std::vector<std::string> words_of(std::string_view text) {
  std::vector<std::string> words;
  bool inside = false;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (!is_upper(c) && !is_lower(c) && !is_digit(c)) {
      inside = false;
      continue;
    }
    const bool capital_begins =
        is_upper(c) && i > 0 &&
        (is_lower(text[i - 1]) || is_digit(text[i - 1]) || (i + 1 < text.size() && is_lower(text[i + 1])));
    if (!inside || capital_begins) words.emplace_back();
    words.back() += static_cast<char>(tolower(static_cast<unsigned char>(c)));
    inside = true;
  }
  return words;
}

// Takes "(unit)" or "[unit]" out of the name.
std::string take_bracketed(std::string* name) {
  const size_t open = name->find_first_of("([");
  if (open == std::string::npos) return "";
  const size_t close = name->find_first_of(")]", open);
  if (close == std::string::npos) return "";
  const std::string inside = name->substr(open + 1, close - open - 1);
  name->replace(open, close - open + 1, " ");
  return inside;
}

// A unit that stands as the last one to three words, as in "raw_angular_rate_x_deg_per_s".
void take_trailing_unit(ColumnName* name) {
  std::vector<std::string>& words = name->words;
  for (size_t count = std::min<size_t>(3, words.size()); count > 0; --count) {
    std::string text;
    for (size_t i = words.size() - count; i < words.size(); ++i) text += words[i];
    const auto unit = find_unit(text);
    if (!unit) continue;
    name->unit = unit;
    words.resize(words.size() - count);
    if (unit->name == "lux") words.emplace_back("lux");  // which also says what is measured
    return;
  }
}

int axis_of(std::string_view letter) {
  if (letter == "x") return 0;
  if (letter == "y") return 1;
  return letter == "z" ? 2 : -1;
}

// The axis as a word of its own, or as the end of one: "ax", "gyroX".
void take_axis(ColumnName* name) {
  for (size_t i = 0; i < name->words.size(); ++i) {
    std::string& word = name->words[i];
    const int axis = axis_of(std::string_view(word).substr(word.size() - 1));
    const bool alone = word.size() == 1;
    if (axis < 0 || (!alone && !find_measure(std::string_view(word).substr(0, word.size() - 1)))) continue;
    name->axis = axis;
    word.pop_back();
    if (alone) name->words.erase(name->words.begin() + static_cast<std::ptrdiff_t>(i));
    return;
  }
}

// "CH1", "c1", "channel_1".
void take_channel(ColumnName* name) {
  for (size_t i = 0; i < name->words.size(); ++i) {
    const std::string& word = name->words[i];
    const size_t letters =
        static_cast<size_t>(std::find_if(word.begin(), word.end(), [](char c) { return is_digit(c); }) - word.begin());
    const std::string stem = word.substr(0, letters);
    if (stem != "ch" && stem != "c" && stem != "channel") continue;
    const bool apart = letters == word.size() && i + 1 < name->words.size();
    const std::string digits = apart ? name->words[i + 1] : word.substr(letters);
    if (digits.empty() || digits.size() > 2 || !std::all_of(digits.begin(), digits.end(), is_digit)) continue;
    name->channel = std::stoi(digits);
    const auto at = name->words.begin() + static_cast<std::ptrdiff_t>(i);
    name->words.erase(at, at + (apart ? 2 : 1));
    return;
  }
}

void read_time_words(ColumnName* name) {
  const bool bare = name->words.size() == 1;
  if (!name->words.empty() && name->words.front() == "t") name->is_time = true;
  for (const std::string& word : name->words) {
    if (is_one_of(word, kTimeWords)) name->is_time = true;
    if (is_one_of(word, kIndexWords)) name->is_index = true;
    if (word.size() == 1 && !(name->is_time && word == "s")) continue;
    if (const auto unit = find_time_unit(word)) name->time_unit = unit;
  }
  // "Milliseconds" is a time without saying so; the "ms" of another name is not.
  if (bare && name->time_unit && name->words.front().size() > 2) name->is_time = true;
  if (name->is_time) name->is_index = false;
}

void read_measure_words(ColumnName* name) {
  bool other = false;
  const bool with_gravity = name->has("including") || name->has("with");
  for (const std::string& word : name->words) {
    for (const RankWord& row : kRankWords) {
      if (row.word == word) name->rank += row.rank;
    }
    const MeasureWord* found = find_measure(word);
    // A lone letter names a measure only together with an axis, as in "ax".
    if (!found || (word.size() == 1 && name->axis < 0) || (with_gravity && word == "gravity")) continue;
    // "angular velocity" is one measure.
    if (found->measure == Quantity::other && !(word == "velocity" && name->has("angular"))) other = true;
    if (!name->measure) name->measure = found->measure;
  }
  if (other) name->measure = Quantity::other;
  name->gravity_removed = name->has("linear") || name->has("user");
  name->measure_named = name->measure.has_value();
  if (name->measure) return;
  const auto strange = [](const std::string& word) { return !is_one_of(word, kNeutralWords); };
  if (std::any_of(name->words.begin(), name->words.end(), strange)) name->measure = Quantity::other;
}

}  // namespace

std::string ColumnName::group() const {
  std::string key;
  for (const std::string& word : words) key += word + ' ';
  return key + (unit ? unit->name : "");
}

bool ColumnName::has(const char* word) const { return std::find(words.begin(), words.end(), word) != words.end(); }

ColumnName read_column_name(const std::string& text) {
  ColumnName name;
  name.text = text;
  std::string rest = text;
  const std::string bracketed = take_bracketed(&rest);
  name.words = words_of(rest);
  name.unit = find_unit(bracketed);
  name.time_unit = find_time_unit(bracketed);
  read_time_words(&name);
  if (name.is_time) return name;
  if (!name.unit) take_trailing_unit(&name);
  take_axis(&name);
  if (name.axis < 0) take_channel(&name);
  read_measure_words(&name);
  return name;
}

}  // namespace phone
