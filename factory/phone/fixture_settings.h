// What can be set of a fixture around a phone, and which values there are.
#pragma once

#include <string>

namespace factory {

// A number with a unit, or the word that stands for one.
struct NumberSetting {
  const char* key;
  const char* unit;
  double low;
  double high;
  const char* word;  // empty: there is none
};

// Null for a key that is none, or whose values are no single numbers.
const NumberSetting* find_number_setting(const std::string& key);

// `key` and `value` as Fixture::set_world() takes them. Returns an empty text, or what is wrong.
std::string setting_problem(const std::string& key, const std::string& value);

// What is wrong with a number that is outside a setting's limits, and with one that is no number at all.
std::string out_of_limits(const NumberSetting& setting);
std::string or_word(const NumberSetting& setting);

}  // namespace factory
