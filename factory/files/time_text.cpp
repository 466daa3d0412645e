#include "files/time_text.h"

#include <algorithm>
#include <cstdio>

namespace factory {
namespace {

// Of what the clock can tell in nanoseconds.
constexpr int kFirstYear = 1678;
constexpr int kLastYear = 2261;

}  // namespace

using namespace std::chrono;  // NOLINT(google-build-using-namespace): calendar arithmetic

std::string iso_time(system_clock::time_point time) {
  // A clock may say anything; a time has four digits of a year all the same.
  constexpr sys_days kFirst{year{kFirstYear} / January / 1};
  constexpr sys_days kLast{year{kLastYear} / December / 31};
  const auto whole = std::clamp<sys_time<milliseconds>>(floor<milliseconds>(time), kFirst, kLast);
  const auto day = floor<days>(whole);
  const year_month_day date{day};
  const hh_mm_ss clock{whole - day};
  char out[64];
  snprintf(out, sizeof out, "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<int>(date.year()),
           static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
           static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
           static_cast<int>(clock.seconds().count()), static_cast<int>(clock.subseconds().count()));
  return out;
}

std::optional<system_clock::time_point> parse_iso_time(const std::string& text) {
  constexpr size_t kLength = 24;
  int y, mon, d, h, min, s, ms;
  int read = 0;
  if (text.size() != kLength ||
      sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d.%3dZ%n", &y, &mon, &d, &h, &min, &s, &ms, &read) != 7 ||
      read != static_cast<int>(kLength))
    return {};
  const year_month_day date{year{y}, month{static_cast<unsigned>(mon)}, day{static_cast<unsigned>(d)}};
  const bool good = date.ok() && y >= kFirstYear && y <= kLastYear && h >= 0 && h < 24 && min >= 0 && min < 60 &&
                    s >= 0 && s < 60 && ms >= 0;
  if (!good) return {};
  return sys_days{date} + hours{h} + minutes{min} + seconds{s} + milliseconds{ms};
}

}  // namespace factory
