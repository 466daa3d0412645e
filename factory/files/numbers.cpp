#include "files/numbers.h"

#include <cmath>
#include <cstdio>

namespace factory {

std::string plain(double value) {
  char text[40];
  constexpr double kWholeFrom = 1e4;
  snprintf(text, sizeof text, std::fabs(value) < kWholeFrom ? "%.4g" : "%.6g", value);
  return text;
}

}  // namespace factory
