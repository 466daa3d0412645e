// What can be set of a fixture around a phone, which values there are, and what an operator is to do for them.
#pragma once

#include <string>

namespace factory {

enum class Bare { refused, taken };  // a number without its unit

// Turns "200 lux", "3 cm" or "flat" into what Fixture::set_world() takes. Returns an empty text, or what is wrong.
std::string read_setting(const std::string& key, const std::string& text, Bare bare, std::string* setting);

// A line for each setting: "lux:  a number of lux from 0 to 200000, or \"dark\"".
std::string settings_help();

// `key` and `value` as Fixture::set_world() takes them: "Put the target 3 cm before the proximity sensor".
std::string instruction(const std::string& key, const std::string& value);

}  // namespace factory
