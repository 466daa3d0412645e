#include "phone/sensors/kinds.h"

#include <charconv>

namespace phone {

std::optional<int> parse_sensor_type(std::string_view text) {
  for (const sensor_type::TagRow& row : sensor_type::kTags) {
    if (text == row.tag) return row.type;
  }
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number < 0) return std::nullopt;
  return number;
}

std::string sensor_name(int type) {
  for (const sensor_type::TagRow& row : sensor_type::kTags) {
    if (row.type == type) return row.tag;
  }
  return std::to_string(type);
}

}  // namespace phone
