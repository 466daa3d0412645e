// Numbers as a person reads them.
#pragma once

#include <string>

namespace factory {

// In four significant digits, in six from 10000 on.
std::string plain(double value);

// In the fewest digits that give it back.
std::string plain_exactly(double value);

}  // namespace factory
