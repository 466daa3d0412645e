#include "files/numbers.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <iterator>

namespace factory {

std::string plain(double value) {
  char text[40];
  constexpr double kWholeFrom = 1e4;
  snprintf(text, sizeof text, std::fabs(value) < kWholeFrom ? "%.4g" : "%.6g", value);
  return text;
}

std::string plain_exactly(double value) {
  char text[40];
  const auto end = std::to_chars(std::begin(text), std::end(text), value).ptr;
  return {text, end};
}

}  // namespace factory
