// What an operator is to do for a setting of the fixture, in plain words.
#pragma once

#include <string>

namespace factory {

// `key` and `value` as Fixture::set_world() takes them: "Put the target 3 cm before the proximity sensor".
std::string instruction(const std::string& key, const std::string& value);

}  // namespace factory
