// Numbers as texts; "nan" and "inf" as they are.
#pragma once

#include <string>

namespace factory {

// In so many significant digits, and with so many after the point.
std::string significant(double value, int digits);
std::string fixed(double value, int digits);

// As a person reads it: in four significant digits, in six from 10000 on.
std::string plain(double value);

// In the fewest digits that give it back.
std::string plain_exactly(double value);
std::string plain_exactly(float value);

}  // namespace factory
