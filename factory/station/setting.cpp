#include "station/setting.h"

#include <algorithm>

#include "cli/terminal.h"
#include "files/numbers.h"
#include "files/words.h"

namespace factory::station {

void Setting::problem(const std::string& what) const {
  const auto start = std::min(static_cast<size_t>(value_.getOffsetStart()), source_.bytes.size());
  const auto end = source_.bytes.begin() + static_cast<std::ptrdiff_t>(start);
  // What is missing has no place of its own.
  const std::string line =
      there() ? ":" + std::to_string(1 + std::count(source_.bytes.begin(), end, '\n')) : std::string();
  source_.problems->push_back(source_.file + line + ": " + (path_.empty() ? "" : path_ + ": ") + what);
}

// False: it is missing, or something else, which is told.
bool Setting::wanted(bool is, const std::string& what) const {
  if (!is && there()) problem("wanted is " + what);
  return is;
}

std::string Setting::name(const std::string& otherwise) const {
  const std::string out = text(otherwise);
  const bool is_shown =
      !out.empty() && out.size() <= 64 && out.front() != ' ' && out.back() != ' ' && visible(out) == out;
  if (value_.isString() && !is_shown) problem("wanted is a name of 1 to 64 characters, without blanks around it");
  return is_shown ? out : otherwise;
}

std::string Setting::text(const std::string& otherwise) const {
  return wanted(value_.isString(), "a text") ? value_.asString() : otherwise;
}

bool Setting::truth(bool otherwise) const {
  return wanted(value_.isBool(), "true or false") ? value_.asBool() : otherwise;
}

double Setting::number(double low, double high, double otherwise) const {
  if (!wanted(value_.isNumeric(), "a number")) return otherwise;
  const double number = value_.asDouble();
  if (number >= low && number <= high) return number;
  problem("wanted is a number from " + plain(low) + " to " + plain(high));
  return otherwise;
}

int Setting::whole(int low, int high, int otherwise) const {
  if (!wanted(value_.isIntegral(), "a whole number")) return otherwise;
  return static_cast<int>(number(low, high, otherwise));
}

std::string Setting::one_of(const std::vector<std::string>& words) const {
  const std::string word = text(words.front());
  if (std::find(words.begin(), words.end(), word) != words.end()) return word;
  problem("there is no \"" + word + "\"" + or_nearest(word, words));
  return words.front();
}

std::vector<std::string> Setting::texts() const {
  std::vector<std::string> out;
  if (!wanted(value_.isArray(), "a list of texts")) return out;
  for (Json::ArrayIndex i = 0; i < value_.size(); ++i) out.push_back((*this)[i].text());
  return out;
}

bool Setting::is_object(const std::vector<std::string>& keys) const {
  if (!wanted(value_.isObject(), "an object")) return false;
  for (const std::string& key : value_.getMemberNames()) {
    if (std::find(keys.begin(), keys.end(), key) == keys.end())
      (*this)[key.c_str()].problem("there is no such setting" + or_nearest(key, keys));
  }
  return true;
}

bool Setting::is_list(const char* of) const {
  if (!wanted(value_.isArray(), std::string("a list of ") + of)) return false;
  if (value_.empty()) problem("the list is empty");
  return !value_.empty();
}

}  // namespace factory::station
