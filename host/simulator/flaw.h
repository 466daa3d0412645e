// Parts of a phone that lie beyond what the shipped plans, or the library, allow.
#pragma once

#include <string>
#include <vector>

#include "phone/core/random.h"

namespace factory {

struct Flaw {
  std::string sensor;  // tag as plans have it
  std::string what;    // for people: "bias 2 1.1 m/s^2"
  std::string chips;   // of the phone's profile, as JSON
};

// The sensors that can be flawed, one a kind of flaw.
std::vector<std::string> flaw_sensors();

// A flaw of the kind `which` (counted round), a tenth beyond the limit.
Flaw draw_flaw(const phone::Draws& draws, uint64_t which, const std::string& profile);

// Writes the profile with the flaw in it to a file.
void write_flawed_profile(const std::string& file, const std::string& profile, const Flaw& flaw);

}  // namespace factory
