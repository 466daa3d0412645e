#include "files/placed_json.h"

#include <string.h>

#include <algorithm>

#include "files/words.h"

namespace factory {

PlacedJson PlacedJson::operator[](const char* key) const {
  const Json::Value* found = json_.isObject() ? json_.find(key, key + strlen(key)) : nullptr;
  return {source_, found, found == nullptr ? place_ : *found, where_.empty() ? key : where_ + "." + key};
}

PlacedJson PlacedJson::operator[](Json::ArrayIndex index) const {
  return {source_, &json_[index], json_[index], where_ + "[" + std::to_string(index) + "]"};
}

void PlacedJson::problem(const std::string& what, const PlacedJson& shown) const {
  const std::string before = source_.text.substr(0, static_cast<size_t>(shown.place_.getOffsetStart()));
  const auto line = 1 + std::count(before.begin(), before.end(), '\n');
  const size_t column = before.size() - (before.find_last_of('\n') + 1);  // npos + 1 is 0
  source_.problems->push_back(source_.file + ":" + std::to_string(line) + ":" + std::to_string(column + 1) + ": " +
                              (where_.empty() ? "" : where_ + ": ") + what);
}

void PlacedJson::only_keys(const std::set<std::string>& known) const {
  for (const std::string& key : json_.getMemberNames()) {
    if (known.count(key) != 0) continue;
    (*this)[key.c_str()].problem("unknown key" + or_nearest(key, {known.begin(), known.end()}));
  }
}

std::string PlacedJson::text(const std::string& fallback) const {
  if (!there_) return fallback;
  if (json_.isString() && !json_.asString().empty()) return json_.asString();
  problem("give a text");
  return fallback;
}

std::vector<std::string> PlacedJson::texts(bool also_empty) const {
  const auto is_text = [=](const Json::Value& value) {
    return value.isString() && (also_empty || !value.asString().empty());
  };
  std::vector<std::string> out;
  if (!there_) return out;
  if (!json_.isArray() || json_.empty() || !std::all_of(json_.begin(), json_.end(), is_text)) {
    problem("give a list of texts");
    return out;
  }
  for (const Json::Value& value : json_) out.push_back(value.asString());
  return out;
}

int PlacedJson::whole(int low, int high, int fallback) const {
  if (!there_) return fallback;
  // A whole number may be written as 3.0, a text or a truth value may not stand for one.
  if (json_.isInt() && json_.asInt() >= low && json_.asInt() <= high) return json_.asInt();
  problem("give a whole number from " + std::to_string(low) + " to " + std::to_string(high));
  return fallback;
}

bool PlacedJson::truth() const {
  if (json_.isBool()) return json_.asBool();
  if (there_) problem("give true or false");
  return false;
}

}  // namespace factory
