#include "run/plan_json.h"

#include <algorithm>

#include "files/units.h"
#include "files/words.h"
#include "run/calibration.h"

namespace factory::plan {

void PlanJson::problem(const Json::Value& value, const std::string& where, const std::string& what) {
  const auto offset = static_cast<size_t>(std::max<ptrdiff_t>(0, value.getOffsetStart()));
  const std::string before = text_.substr(0, offset);
  const auto line = 1 + std::count(before.begin(), before.end(), '\n');
  const size_t column = offset - (before.find_last_of('\n') == std::string::npos ? 0 : before.find_last_of('\n') + 1);
  problems_->push_back(file_ + ":" + std::to_string(line) + ":" + std::to_string(column + 1) + ": " +
                       (where.empty() ? "" : where + ": ") + what);
}

void PlanJson::only_keys(const Json::Value& object, const std::string& where, const std::set<std::string>& known) {
  for (const std::string& key : object.getMemberNames()) {
    if (known.count(key) != 0) continue;
    problem(object[key], where.empty() ? key : where + "." + key,
            "unknown key" + or_nearest(key, {known.begin(), known.end()}));
  }
}

std::string PlanJson::text(const Json::Value& object, const std::string& where, const char* key,
                           const std::string& fallback) {
  if (!object.isMember(key)) return fallback;
  if (object[key].isString() && !object[key].asString().empty()) return object[key].asString();
  problem(object[key], where + "." + key, "give a text");
  return fallback;
}

std::vector<std::string> PlanJson::texts(const Json::Value& object, const std::string& where, const char* key) {
  std::vector<std::string> out;
  if (!object.isMember(key)) return out;
  const Json::Value& value = object[key];
  bool good = value.isArray() && !value.empty();
  for (Json::ArrayIndex i = 0; good && i < value.size(); ++i) {
    good = value[i].isString() && !value[i].asString().empty();
    if (good) out.push_back(value[i].asString());
  }
  if (!good) problem(value, where.empty() ? key : where + "." + key, "give a list of texts");
  return out;
}

int PlanJson::whole(const Json::Value& object, const std::string& where, const char* key, int low, int high,
                    int fallback) {
  if (!object.isMember(key)) return fallback;
  const Json::Value& value = object[key];
  // A whole number may be written as 3.0, a text or a truth value may not stand for one.
  if (value.isNumeric() && value.isInt() && value.asInt() >= low && value.asInt() <= high) return value.asInt();
  problem(value, where + "." + key, "give a whole number from " + std::to_string(low) + " to " + std::to_string(high));
  return fallback;
}

bool PlanJson::truth(const Json::Value& object, const std::string& where, const char* key, bool fallback) {
  if (!object.isMember(key)) return fallback;
  if (object[key].isBool()) return object[key].asBool();
  problem(object[key], where + "." + key, "give true or false");
  return fallback;
}

bool PlanJson::stops(const Json::Value& object, const std::string& where) {
  if (!object.isMember("on_failure")) return true;
  const Json::Value& value = object["on_failure"];
  if (value == "stop" || value == "go on") return value == "stop";
  problem(value, where + ".on_failure", "give \"stop\" or \"go on\"");
  return true;
}

bool PlanJson::read(const Json::Value& value, const std::string& where, const std::string& unit, bool percent,
                    double* number, bool* relative) {
  const bool bare = unit.empty() || unit == "factor";
  if (bare && value.isNumeric()) {
    *number = value.asDouble();
    return true;
  }
  if (!value.isString()) {
    problem(value, where, "give a text with a number and its unit, such as \"1 " + (bare ? "factor" : unit) + "\"");
    return false;
  }
  Amount amount;
  const std::string wrong = read_amount(value.asString(), unit, percent, &amount);
  if (!wrong.empty()) {
    problem(value, where, wrong);
    return false;
  }
  *number = amount.value;
  *relative = amount.relative;
  return true;
}

std::optional<Bound> PlanJson::bound(const Json::Value& object, const std::string& where, const char* key,
                                     const std::string& unit, size_t axes, bool percent) {
  if (!object.isMember(key)) return std::nullopt;
  const Json::Value& value = object[key];
  const std::string place = where + "." + key;
  if (value.isArray() && value.size() != axes) {
    problem(value, place, "give one value, or a list of " + std::to_string(axes) + ", one for each axis");
    return std::nullopt;
  }
  Bound out;
  const Json::ArrayIndex count = value.isArray() ? value.size() : 1;
  for (Json::ArrayIndex i = 0; i < count; ++i) {
    double number = 0;
    bool relative = false;
    const std::string at = value.isArray() ? place + "[" + std::to_string(i) + "]" : place;
    if (!read(value.isArray() ? value[i] : value, at, unit, percent, &number, &relative)) return std::nullopt;
    if (i > 0 && relative != out.relative) {
      problem(value, place, "give all of them in percent, or none");
      return std::nullopt;
    }
    out.relative = relative;
    out.values.push_back(number);
  }
  return out;
}

std::optional<double> PlanJson::amount(const Json::Value& object, const std::string& where, const char* key,
                                       const std::string& unit, double low, double high) {
  const bool percent = unit == "%";
  if (object.isMember(key) && object[key].isArray()) {
    problem(object[key], where + "." + key, "give one value");
    return std::nullopt;
  }
  const std::optional<Bound> read = bound(object, where, key, unit, 1, percent);
  if (!read) return std::nullopt;
  const double value = read->values[0];
  if (value >= low && value <= high) return value;
  const double shown = percent ? 100 : 1;
  problem(object[key], where + "." + key,
          "must lie between " + plain(low * shown) + " and " + plain(high * shown) + " " + unit);
  return std::nullopt;
}

}  // namespace factory::plan
