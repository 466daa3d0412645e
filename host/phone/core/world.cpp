#include "phone/core/world.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <string_view>
#include <vector>

namespace phone {
namespace {

constexpr float kNoTargetCm = 100;

bool parse_number(std::string_view text, float* out) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *out);
  return error == std::errc() && end == text.data() + text.size() && std::isfinite(*out);
}

bool parse_three(std::string_view text, float (&out)[3]) {
  for (int i = 0; i < 3; ++i) {
    const size_t comma = text.find(',');
    if ((comma == std::string_view::npos) != (i == 2)) return false;
    if (!parse_number(text.substr(0, comma), &out[i])) return false;
    text.remove_prefix(i == 2 ? text.size() : comma + 1);
  }
  return true;
}

bool parse_up(std::string_view text, float (&up)[3]) {
  constexpr std::string_view kTilted = "tilted:";
  float wanted[3] = {0, 0, 1};
  if (text == "face-down") {
    wanted[2] = -1;
  } else if (text.substr(0, kTilted.size()) == kTilted) {
    float degrees = 0;
    if (!parse_number(text.substr(kTilted.size()), &degrees)) return false;
    const float angle = degrees * std::numbers::pi_v<float> / 180;
    wanted[0] = std::sin(angle);
    wanted[2] = std::cos(angle);
  } else if (text != "flat" && !parse_three(text, wanted)) {
    return false;
  }
  const float length = std::hypot(wanted[0], wanted[1], wanted[2]);
  if (!(length > 1e-6F)) return false;
  for (int i = 0; i < 3; ++i) up[i] = wanted[i] / length;
  return true;
}

// One number within limits, or a word for one.
struct NumberKey {
  const char* key;
  float World::*value;
  float low;
  float high;
  const char* word;
  float word_value;
};

constexpr NumberKey kNumberKeys[] = {
    {"vibration", &World::vibration_m_s2, 0, 1000, "none", 0},
    {"pressure", &World::pressure_hpa, 1, 2000, nullptr, 0},
    {"lux", &World::lux, 0, 200000, "dark", 0},
    {"cct", &World::colour_temperature_k, 1000, 20000, nullptr, 0},
    {"target", &World::target_cm, 0, 1000, "none", kNoTargetCm},
    {"temperature", &World::temperature_c, -60, 120, nullptr, 0},
};

bool set_number(const NumberKey& row, const std::string& text, World* world) {
  float number = 0;
  if (row.word != nullptr && text == row.word) {
    world->*row.value = row.word_value;
    return true;
  }
  if (!parse_number(text, &number) || number < row.low || number > row.high) return false;
  world->*row.value = number;
  return true;
}

std::string number_text(float value) {
  char text[32];
  const auto [end, error] = std::to_chars(text, text + sizeof text, value);
  return error == std::errc() ? std::string(text, end) : "nan";
}

std::string three_text(const float (&value)[3]) {
  return number_text(value[0]) + "," + number_text(value[1]) + "," + number_text(value[2]);
}

}  // namespace

std::string set_world(World* world, const std::string& key, const std::string& value) {
  bool good = false;
  if (key == "up") {
    good = parse_up(value, world->up);
  } else if (key == "rotation") {
    float wanted[3];
    good = parse_three(value, wanted);
    for (int i = 0; good && i < 3; ++i) world->rotation_rad_s[i] = wanted[i];
  } else if (key == "dark-box") {
    good = value == "on" || value == "off";
    if (good) world->dark_box = value == "on";
  } else {
    const NumberKey* row = nullptr;
    for (const NumberKey& candidate : kNumberKeys) {
      if (key == candidate.key) row = &candidate;
    }
    if (row == nullptr) return "the world has no '" + key + "'";
    good = set_number(*row, value, world);
  }
  return good ? "" : "the world's '" + key + "' cannot be '" + value + "'";
}

std::map<std::string, std::string> describe(const World& world) {
  std::map<std::string, std::string> out;
  const bool flat = world.up[0] == 0 && world.up[1] == 0;
  out["up"] = !flat ? three_text(world.up) : world.up[2] > 0 ? "flat" : "face-down";
  out["rotation"] = three_text(world.rotation_rad_s);
  out["dark-box"] = world.dark_box ? "on" : "off";
  for (const NumberKey& row : kNumberKeys) {
    const bool is_word = row.word != nullptr && world.*row.value == row.word_value;
    out[row.key] = is_word ? row.word : number_text(world.*row.value);
  }
  return out;
}

}  // namespace phone
