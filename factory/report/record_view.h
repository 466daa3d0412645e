// Reading a record without minding what is missing, and its values in words. A run that was aborted leaves gaps.
#pragma once

#include <json/json.h>

#include <optional>
#include <string>

namespace factory {

// Null where `object` is no object or has no such member.
const Json::Value& member(const Json::Value& object, const char* name);

// The elements of a list; none where it is no list.
const Json::Value& list(const Json::Value& object, const char* name);

// A text as it stands, a number in full, true and false; an empty text for everything else.
std::string text_of(const Json::Value& value);
std::string text_of(const Json::Value& object, const char* name);

// For people: six significant digits, "not a number", "infinite".
std::string number_for_people(const Json::Value& value);
std::string numbers_for_people(const Json::Value& values);

// A number that is one; not for "nan" and the like.
std::optional<double> finite(const Json::Value& value);

// "0.8 s", "3 min 12 s".
std::string duration(const Json::Value& seconds);

std::string step_name(const Json::Value& step);

// The attempt that decided, or null.
const Json::Value& last_attempt(const Json::Value& step);

// "0.01200 +/- 0.00100 m/s^2" and "-0.02 to 0.02 m/s^2", "at most 0.2 m/s^2"; empty without a limit.
std::string value_with_error(const Json::Value& measurement);
std::string limits(const Json::Value& measurement);

// "2 for variance, 1 for bias"; empty when there was none.
std::string restarts_by_cause(const Json::Value& attempt);

// "variance of x 0.31, limit 0.05"
std::string restart_in_words(const Json::Value& restart);

}  // namespace factory
