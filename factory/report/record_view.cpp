#include "report/record_view.h"

#include <cmath>
#include <cstdio>

#include "files/json_text.h"

namespace factory {
namespace {

const Json::Value kNull;
const Json::Value kEmptyList(Json::arrayValue);

std::string with_unit(const std::string& number, const Json::Value& object) {
  const std::string unit = text_of(object, "unit");
  return unit.empty() ? number : number + " " + unit;
}

}  // namespace

const Json::Value& member(const Json::Value& object, const char* name) {
  return object.isObject() ? object[name] : kNull;
}

const Json::Value& list(const Json::Value& object, const char* name) {
  const Json::Value& value = member(object, name);
  return value.isArray() ? value : kEmptyList;
}

std::string text_of(const Json::Value& value) {
  if (value.type() == Json::realValue) return number_text(value);
  return value.isArray() || value.isObject() ? "" : value.asString();
}

std::string text_of(const Json::Value& object, const char* name) { return text_of(member(object, name)); }

std::string number_for_people(const Json::Value& value) {
  const std::string text = text_of(value);
  if (text == "nan") return "not a number";
  if (text == "inf") return "infinite";
  if (text == "-inf") return "minus infinite";
  if (value.type() != Json::realValue) return text;
  char digits[40];
  snprintf(digits, sizeof digits, "%.6g", value.asDouble());
  return digits;
}

std::string numbers_for_people(const Json::Value& values) {
  if (!values.isArray()) return number_for_people(values);
  std::string out;
  for (const Json::Value& value : values) out += (out.empty() ? "" : ", ") + number_for_people(value);
  return out;
}

std::optional<double> finite(const Json::Value& value) {
  if (!value.isNumeric() || !std::isfinite(value.asDouble())) return {};
  return value.asDouble();
}

std::string duration(const Json::Value& seconds) {
  const std::optional<double> time = finite(seconds);
  if (!time) return "";
  char text[64];
  if (*time < 120) {
    snprintf(text, sizeof text, *time < 10 ? "%.2f s" : "%.1f s", *time);
  } else {
    snprintf(text, sizeof text, "%.0f min %.0f s", std::floor(*time / 60), std::floor(std::fmod(*time, 60)));
  }
  return text;
}

std::string step_name(const Json::Value& step) {
  for (const char* name : {"name", "tag", "kind"}) {
    if (const std::string text = text_of(step, name); !text.empty()) return text;
  }
  return "step " + text_of(step, "index");
}

const Json::Value& last_attempt(const Json::Value& step) {
  const Json::Value& attempts = list(step, "attempts");
  return attempts.empty() ? kNull : attempts[attempts.size() - 1];
}

std::string value_with_error(const Json::Value& measurement) {
  const Json::Value& value = member(measurement, "value");
  if (!finite(value)) return number_for_people(value);
  const double error = finite(member(measurement, "standard_error")).value_or(0);
  if (!(error > 0)) return with_unit(number_for_people(value), measurement);
  // Three digits of the error, and the value to the same place: what lies beyond is noise.
  const int decimals = 2 - static_cast<int>(std::floor(std::log10(error)));
  char text[80];
  if (decimals >= 0 && decimals <= 9 && std::fabs(value.asDouble()) < 1e9) {
    snprintf(text, sizeof text, "%.*f \u00B1 %.*f", decimals, value.asDouble(), decimals, error);
  } else {
    snprintf(text, sizeof text, "%.6g \u00B1 %.3g", value.asDouble(), error);
  }
  return with_unit(text, measurement);
}

std::string limits(const Json::Value& measurement) {
  const std::string low = number_for_people(member(measurement, "low"));
  const std::string high = number_for_people(member(measurement, "high"));
  if (low.empty() && high.empty()) return "";
  if (low.empty()) return with_unit("at most " + high, measurement);
  if (high.empty()) return with_unit("at least " + low, measurement);
  return with_unit(low + " to " + high, measurement);
}

std::string restarts_by_cause(const Json::Value& attempt) {
  const std::pair<const char*, const char*> kCauses[] = {
      {"variance", "variance"}, {"zero_variance", "no variance at all"}, {"bias", "bias"}};
  std::string out;
  for (const auto& [name, words] : kCauses) {
    const std::optional<double> count = finite(member(member(attempt, "restarts"), name));
    if (!count || *count <= 0) continue;
    out += (out.empty() ? "" : ", ") + number_for_people(member(member(attempt, "restarts"), name)) + " for " + words;
  }
  return out;
}

std::string restart_in_words(const Json::Value& restart) {
  const std::string cause = text_of(restart, "cause");
  const std::string axis = text_of(restart, "axis");
  if (cause == "zero_variance") return axis + " never changed (variance 0)";
  const std::string what = cause == "bias" ? "mean" : cause;
  return what + " of " + axis + " " + number_for_people(member(restart, "value")) + ", limit " +
         number_for_people(member(restart, "limit"));
}

}  // namespace factory
