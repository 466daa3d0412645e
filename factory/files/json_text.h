// JSON as the application writes it: numbers in their shortest form, one layout everywhere.
#pragma once

#include <json/json.h>

#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

namespace factory {

// A float in the fewest digits that give it back. Not-a-number and infinities become texts ("nan", "inf", "-inf").
Json::Value json_number(float value);
Json::Value json_number(double value);

Json::Value optional_number(const std::optional<double>& value);  // null where there is none

// A value as documents have it: numbers as above, and null for one that is not there.
template <typename Value>
Json::Value json_value(Value&& value) {
  using Kind = std::decay_t<Value>;
  if constexpr (std::is_integral_v<Kind> && !std::is_same_v<Kind, bool>) {
    return static_cast<std::conditional_t<std::is_signed_v<Kind>, Json::Int64, Json::UInt64>>(value);
  } else if constexpr (std::is_floating_point_v<Kind>) {
    return json_number(value);
  } else if constexpr (std::is_same_v<Kind, std::optional<double>>) {
    return optional_number(value);
  } else {
    return std::forward<Value>(value);
  }
}

// A member of an object.
struct JsonMember {
  template <typename Value>
  JsonMember(const char* key, Value&& member) : name(key), value(json_value(std::forward<Value>(member))) {}
  const char* name;
  Json::Value value;
};

// An object of these members, besides those of another one.
Json::Value json_object(std::initializer_list<JsonMember> members, Json::Value other = {});

// An array of the elements, or of what `become` makes of each.
template <typename List, typename Become = std::identity>
Json::Value json_list(const List& list, Become become = {}) {
  Json::Value out(Json::arrayValue);
  for (const auto& element : list) out.append(become(element));
  return out;
}

// A number, or one of the texts above, for a person.
std::string number_text(const Json::Value& value);

// Many lines, or all in one line; without a line feed at the end.
std::string json_pretty(const Json::Value& value);
std::string json_line(const Json::Value& value);

// Prints what a command says with --json: one object, whose `schema` is "sensorcal." and the form.
// docs/formats/json-documents.md.
void print_document(const std::string& form, Json::Value document);

// Prints the one or the other.
void print_result(bool json, const std::string& form, const Json::Value& document, const std::string& text);

// False where the text is no JSON, or is nested deeper than the library reads; why is in `problem`.
bool parse_json(const std::string& text, Json::Value* out, std::string* problem = nullptr);
// The same for what a person writes: strict JSON, without comments or anything behind the value; a key that an object
// has twice is refused, for one of both would be passed over.
bool parse_json_of_people(const std::string& text, Json::Value* out, std::string* problem);

}  // namespace factory
