// Numbers as texts, and back; "nan" and "inf" as they are.
#pragma once

#include <array>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace factory {

// In so many significant digits, and with so many after the point.
std::string significant(double value, int digits);
std::string fixed(double value, int digits);

// As a person reads it: in four significant digits, in six from 10000 on.
std::string plain(double value);

// In the fewest digits that give it back.
std::string plain_exactly(double value);
std::string plain_exactly(float value);

// The one in the middle; of an even count the greater of both. Of one or more.
double median(std::vector<double> values);

// Bytes, two digits each.
std::string hex(const void* bytes, size_t size);

// The number that a text is to its end; nothing where it is none, or does not fit.
template <typename Number>
std::optional<Number> read_number(std::string_view text) {
  Number number{};
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || stop != text.data() + text.size()) return {};
  return number;
}

// "x,y,z", each finite; nothing where a text is not.
std::optional<std::array<double, 3>> read_three(const std::string& text);

}  // namespace factory
