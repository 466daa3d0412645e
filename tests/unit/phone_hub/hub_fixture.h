// A hub over raw values that a test sets.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <bit>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "phone/hub/hub.h"

namespace phone {

inline int32_t F(float value) { return std::bit_cast<int32_t>(value); }

inline HubRecord record(int32_t type, int32_t code, const std::vector<int32_t>& words = {}) {
  HubRecord out{.sensor_type = type, .msg_type = code};
  std::copy(words.begin(), words.end(), out.words.begin());
  return out;
}

struct FakeRaw : RawSource {
  std::map<std::pair<int, int>, float> values;  // what is not here reads 0
  bool dark = false;

  float raw(int sensor_type, int channel) override {
    const auto found = values.find({sensor_type, channel});
    return found == values.end() ? 0 : found->second;
  }
  bool dark_box() override { return dark; }
};

struct HubTest : testing::Test {
  FakeRaw raw;
  Hub hub{&raw, {}};

  HubRecord ask(int32_t type, int32_t code, const std::vector<int32_t>& words = {}) {
    return hub.handle(record(type, code, words), nullptr);
  }
};

}  // namespace phone
