#include "run/plan_json.h"

#include "files/numbers.h"
#include "files/units.h"

namespace factory::plan {
namespace {

std::optional<Amount> number(const PlacedJson& value, const std::string& unit, bool percent) {
  const bool bare = unit.empty() || unit == "factor";
  Amount out;
  if (bare && value->isNumeric()) {
    out.value = value->asDouble();
    return out;
  }
  const std::string wrong =
      value->isString() ? read_amount(value->asString(), unit, percent, &out)
                        : "give a text with a number and its unit, such as \"1 " + (bare ? "factor" : unit) + "\"";
  if (wrong.empty()) return out;
  value.problem(wrong);
  return std::nullopt;
}

}  // namespace

bool stops(const PlacedJson& value) {
  if (*value == "go on") return false;
  if (value.there() && *value != "stop") value.problem("give \"stop\" or \"go on\"");
  return true;
}

std::optional<Bound> bound(const PlacedJson& value, const std::string& unit, size_t axes, bool percent) {
  if (!value.there()) return std::nullopt;
  if (value->isArray() && value->size() != axes) {
    value.problem("give one value, or a list of " + std::to_string(axes) + ", one for each axis");
    return std::nullopt;
  }
  Bound out;
  for (Json::ArrayIndex i = 0; i < (value->isArray() ? value->size() : 1); ++i) {
    const std::optional<Amount> one = value->isArray() ? number(value[i], unit, percent) : number(value, unit, percent);
    if (!one) return std::nullopt;
    if (i > 0 && one->relative != out.relative) {
      value.problem("give all of them in percent, or none");
      return std::nullopt;
    }
    out.relative = one->relative;
    out.values.push_back(one->value);
  }
  return out;
}

std::optional<double> amount(const PlacedJson& value, const std::string& unit, double low, double high) {
  const bool percent = unit == "%";
  if (value->isArray()) {
    value.problem("give one value");
    return std::nullopt;
  }
  const std::optional<Bound> read = bound(value, unit, 1, percent);
  if (!read) return std::nullopt;
  const double given = read->values[0];
  if (given >= low && given <= high) return given;
  const double shown = percent ? 100 : 1;
  value.problem("must lie between " + plain(low * shown) + " and " + plain(high * shown) + " " + unit);
  return std::nullopt;
}

}  // namespace factory::plan
