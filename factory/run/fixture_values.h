// What a plan may set of the fixture, with units.
#pragma once

#include <string>

namespace factory::plan {

// Turns "200 lux", "3 cm" or "flat" into what Fixture::set_world() takes. Returns an empty text, or what is wrong.
std::string read_fixture_value(const std::string& key, const std::string& text, std::string* setting);

}  // namespace factory::plan
