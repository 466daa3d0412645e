#include "files/numbers.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>

namespace factory {
namespace {

template <typename Number>
std::string shortest(Number value) {
  char text[40];
  const auto end = std::to_chars(std::begin(text), std::end(text), value).ptr;
  return {text, end};
}

}  // namespace

std::string significant(double value, int digits) {
  char text[40];
  snprintf(text, sizeof text, "%.*g", digits, std::isnan(value) ? std::fabs(value) : value);  // never "-nan"
  return text;
}

std::string fixed(double value, int digits) {
  char text[64];
  snprintf(text, sizeof text, "%.*f", digits, value);
  return text;
}

std::string plain(double value) {
  constexpr double kWholeFrom = 1e4;
  return significant(value + 0.0, std::fabs(value) < kWholeFrom ? 4 : 6);
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

std::string hex(const void* bytes, size_t size) {
  constexpr char kDigits[] = "0123456789abcdef";
  const auto* const at = static_cast<const unsigned char*>(bytes);
  std::string out;
  for (size_t i = 0; i < size; ++i) {
    out += kDigits[at[i] >> 4U];
    out += kDigits[at[i] & 15U];
  }
  return out;
}

std::optional<std::array<double, 3>> read_three(const std::string& text) {
  std::array<double, 3> v{};
  int end = 0;
  const bool all = sscanf(text.c_str(), "%lf,%lf,%lf%n", &v[0], &v[1], &v[2], &end) == 3;
  if (!all || static_cast<size_t>(end) != text.size()) return {};
  return std::isfinite(v[0] + v[1] + v[2]) ? std::optional(v) : std::nullopt;
}

std::string plain_exactly(double value) { return shortest(value); }
std::string plain_exactly(float value) { return shortest(value); }

}  // namespace factory
