// The simulated phone that options ask for, and which ones there are.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "phone/options.h"

namespace phone {
class Phone;
}

namespace factory {

class Fixture;

// Throws AppError.
std::unique_ptr<phone::Phone> open_simulated(const Options& options);

// The phone behind a fixture that open_fixture() has made, for what nobody on the station is told.
phone::Phone& phone_of(Fixture& fixture);

// Names of the profiles that a new phone can be made from, and the faults that can be asked for ("NAME  what").
std::vector<std::string> known_profiles();
std::vector<std::string> known_faults();

}  // namespace factory
