// The hub's record and its bytes, as docs/formats/hub-record.md lays them out.
#pragma once

#include <array>
#include <cstdint>

#include <vendor/corvane/sensor/kestsensorservice/1.1/types.h>

namespace phone {

// One message to the hub or from it: its 72 bytes as words.
struct HubRecord {
  int32_t sensor_type = 0;
  int32_t msg_type = 0;
  std::array<int32_t, 16> words{};

  float as_float(int word) const;
  void set_float(int word, float value);

  friend bool operator==(const HubRecord&, const HubRecord&) = default;
};

using HubMessage = ::vendor::corvane::sensor::kestsensorservice::V1_1::ssc_oem_test_msg;

HubRecord decode(const HubMessage& message);
HubMessage encode(const HubRecord& record);

// Truncates toward zero and saturates; NaN gives 0.
int32_t saturated_int(float value);

}  // namespace phone
