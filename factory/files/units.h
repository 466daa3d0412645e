// Numbers with a unit, as plans write them: "0.02 m/s^2", "35 mrad/s", "5 %".
#pragma once

#include <string>

namespace factory::plan {

struct Amount {
  double value = 0;       // in the unit that was asked for; a share where `relative`
  bool relative = false;  // was given in percent
};

// Reads `text` and converts it to `unit` ("" for a pure number). Percent is taken only where `percent` allows it.
// Returns an empty text, or what is wrong.
std::string read_amount(const std::string& text, const std::string& unit, bool percent, Amount* amount);

}  // namespace factory::plan
