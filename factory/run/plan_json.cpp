#include "run/plan_json.h"

#include <string.h>

#include <algorithm>

#include "files/numbers.h"
#include "files/words.h"

namespace factory::plan {

PlanValue PlanValue::operator[](const char* key) const {
  const Json::Value* found = json_.isObject() ? json_.find(key, key + strlen(key)) : nullptr;
  return {source_, found, found == nullptr ? place_ : *found, where_.empty() ? key : where_ + "." + key};
}

PlanValue PlanValue::operator[](Json::ArrayIndex index) const {
  return {source_, &json_[index], json_[index], where_ + "[" + std::to_string(index) + "]"};
}

void PlanValue::problem(const std::string& what, const PlanValue& shown) const {
  const std::string before = source_.text.substr(0, static_cast<size_t>(shown.place_.getOffsetStart()));
  const auto line = 1 + std::count(before.begin(), before.end(), '\n');
  const size_t column = before.size() - (before.find_last_of('\n') + 1);  // npos + 1 is 0
  source_.problems->push_back(source_.file + ":" + std::to_string(line) + ":" + std::to_string(column + 1) + ": " +
                              (where_.empty() ? "" : where_ + ": ") + what);
}

void PlanValue::only_keys(const std::set<std::string>& known) const {
  for (const std::string& key : json_.getMemberNames()) {
    if (known.count(key) != 0) continue;
    (*this)[key.c_str()].problem("unknown key" + or_nearest(key, {known.begin(), known.end()}));
  }
}

std::string PlanValue::text() const {
  if (!there_) return "";
  if (json_.isString() && !json_.asString().empty()) return json_.asString();
  problem("give a text");
  return "";
}

std::vector<std::string> PlanValue::texts() const {
  const auto is_text = [](const Json::Value& value) { return value.isString() && !value.asString().empty(); };
  std::vector<std::string> out;
  if (!there_) return out;
  if (!json_.isArray() || json_.empty() || !std::all_of(json_.begin(), json_.end(), is_text)) {
    problem("give a list of texts");
    return out;
  }
  for (const Json::Value& value : json_) out.push_back(value.asString());
  return out;
}

int PlanValue::whole(int low, int high, int fallback) const {
  if (!there_) return fallback;
  // A whole number may be written as 3.0, a text or a truth value may not stand for one.
  if (json_.isNumeric() && json_.isInt() && json_.asInt() >= low && json_.asInt() <= high) return json_.asInt();
  problem("give a whole number from " + std::to_string(low) + " to " + std::to_string(high));
  return fallback;
}

bool PlanValue::truth() const {
  if (json_.isBool()) return json_.asBool();
  if (there_) problem("give true or false");
  return false;
}

bool PlanValue::stops() const {
  if (json_ == "go on") return false;
  if (there_ && json_ != "stop") problem("give \"stop\" or \"go on\"");
  return true;
}

std::optional<Amount> PlanValue::number(const std::string& unit, bool percent) const {
  const bool bare = unit.empty() || unit == "factor";
  Amount out;
  if (bare && json_.isNumeric()) {
    out.value = json_.asDouble();
    return out;
  }
  const std::string wrong =
      json_.isString() ? read_amount(json_.asString(), unit, percent, &out)
                       : "give a text with a number and its unit, such as \"1 " + (bare ? "factor" : unit) + "\"";
  if (wrong.empty()) return out;
  problem(wrong);
  return std::nullopt;
}

std::optional<Bound> PlanValue::bound(const std::string& unit, size_t axes, bool percent) const {
  if (!there_) return std::nullopt;
  if (json_.isArray() && json_.size() != axes) {
    problem("give one value, or a list of " + std::to_string(axes) + ", one for each axis");
    return std::nullopt;
  }
  Bound out;
  for (Json::ArrayIndex i = 0; i < (json_.isArray() ? json_.size() : 1); ++i) {
    const std::optional<Amount> one = json_.isArray() ? (*this)[i].number(unit, percent) : number(unit, percent);
    if (!one) return std::nullopt;
    if (i > 0 && one->relative != out.relative) {
      problem("give all of them in percent, or none");
      return std::nullopt;
    }
    out.relative = one->relative;
    out.values.push_back(one->value);
  }
  return out;
}

std::optional<double> PlanValue::amount(const std::string& unit, double low, double high) const {
  const bool percent = unit == "%";
  if (json_.isArray()) {
    problem("give one value");
    return std::nullopt;
  }
  const std::optional<Bound> read = bound(unit, 1, percent);
  if (!read) return std::nullopt;
  const double value = read->values[0];
  if (value >= low && value <= high) return value;
  const double shown = percent ? 100 : 1;
  problem("must lie between " + plain(low * shown) + " and " + plain(high * shown) + " " + unit);
  return std::nullopt;
}

}  // namespace factory::plan
