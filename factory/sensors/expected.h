// What a fixture's settings make a sensor report. It is all that can be known on a real station: how the phone really
// lies, and how bright the lamp really is, nobody can be asked.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace factory {

// Values of a calibrated sensor on a fixture that is set as `world` ("up", "lux" ... by their names) says. Empty where
// it does not say, or where the values depend on the phone.
std::vector<double> told_by(const std::map<std::string, std::string>& world, int sensor_type);

// The same; where the world does not say, as on the factory's fixture: flat, at rest, under the lamp.
std::vector<double> expected_at(const std::map<std::string, std::string>& world, int sensor_type);

}  // namespace factory
