// Times as records have them: UTC, ISO 8601, milliseconds.
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace factory {

// "2026-11-24T22:04:05.123Z".
std::string iso_time(std::chrono::system_clock::time_point time);

// Nothing where the text is no such time.
std::optional<std::chrono::system_clock::time_point> parse_iso_time(const std::string& text);

}  // namespace factory
