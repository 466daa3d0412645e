#include "files/units.h"

#include <charconv>
#include <cmath>
#include <numbers>
#include <vector>

#include "files/words.h"

namespace factory::plan {
namespace {

constexpr double kStandardGravity = 9.80665;

// How many of the base unit one of the named unit is.
struct Unit {
  const char* name;
  const char* base;
  double factor;
};

constexpr Unit kUnits[] = {
    {"m/s^2", "m/s^2", 1},
    {"mm/s^2", "m/s^2", 1e-3},
    {"g", "m/s^2", kStandardGravity},
    {"mg", "m/s^2", kStandardGravity * 1e-3},
    {"rad/s", "rad/s", 1},
    {"mrad/s", "rad/s", 1e-3},
    {"deg/s", "rad/s", std::numbers::pi / 180},
    {"uT", "uT", 1},
    {"hPa", "hPa", 1},
    {"mbar", "hPa", 1},
    {"Pa", "hPa", 0.01},
    {"kPa", "hPa", 10},
    {"lux", "lux", 1},
    {"klux", "lux", 1000},
    {"counts", "counts", 1},
    {"s", "s", 1},
    {"ms", "s", 1e-3},
    {"min", "s", 60},
    {"mm", "mm", 1},
    {"cm", "mm", 10},
    {"m", "mm", 1000},
    {"cm", "cm", 1},
    {"mm", "cm", 0.1},
    {"m", "cm", 100},
    {"K", "K", 1},
    {"degC", "degC", 1},
    {"factor", "factor", 1},
    {"", "factor", 1},
    {"", "", 1},
};

std::string units_of(const std::string& base, bool percent) {
  std::vector<std::string> out;
  for (const Unit& unit : kUnits) {
    if (base == unit.base) out.emplace_back(*unit.name == '\0' ? "none" : unit.name);
  }
  if (percent) out.emplace_back("%");
  return joined(out, ", ");
}

}  // namespace

std::string read_amount(const std::string& text, const std::string& unit, bool percent, Amount* amount) {
  double number = 0;
  const char* last = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), last, number);
  if (error != std::errc() || !std::isfinite(number)) return "'" + text + "' is no number with a unit";
  std::string name(end, last);
  name.erase(0, name.find_first_not_of(' '));
  if (percent && name == "%") {
    *amount = {number / 100, true};
    return "";
  }
  for (const Unit& row : kUnits) {
    if (name != row.name || unit != row.base) continue;
    if (!std::isfinite(number * row.factor)) return "'" + text + "' is no number that can be used";
    *amount = {number * row.factor, false};
    return "";
  }
  return (name.empty() ? "'" + text + "' lacks a unit" : "'" + name + "' does not fit") +
         "; units that do: " + units_of(unit, percent);
}

}  // namespace factory::plan
