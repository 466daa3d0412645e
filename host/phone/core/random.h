// Numbers drawn from keys: the same key gives the same number, whatever was drawn before it and by which thread.
#pragma once

#include <cmath>
#include <cstdint>
#include <numbers>
#include <string_view>

namespace phone {

class Draws {
 public:
  constexpr explicit Draws(uint64_t key) : key_(key) {}

  // An independent stream of draws.
  constexpr Draws of(uint64_t part) const { return Draws(mix(key_ ^ mix(part + kStep))); }
  constexpr Draws of(std::string_view part) const {
    uint64_t hash = 0xcbf29ce484222325;
    for (const char c : part) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    return of(hash);
  }

  constexpr uint64_t bits(uint64_t index) const { return mix(key_ + (index + 1) * kStep); }
  // In [0, 1).
  constexpr double uniform(uint64_t index) const { return static_cast<double>(bits(index) >> 11) * 0x1.0p-53; }
  // Mean 0, deviation 1.
  double normal(uint64_t index) const {
    const double radius = std::sqrt(-2 * std::log(1 - uniform(2 * index)));
    return radius * std::cos(2 * std::numbers::pi * uniform(2 * index + 1));
  }

 private:
  static constexpr uint64_t kStep = 0x9e3779b97f4a7c15;

  static constexpr uint64_t mix(uint64_t x) {
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9;
    x = (x ^ (x >> 27)) * 0x94d049bb133111eb;
    return x ^ (x >> 31);
  }

  uint64_t key_;
};

}  // namespace phone
