#include "phone/hub/record.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

namespace phone {

static_assert(sizeof(HubMessage) == 72 && std::endian::native == std::endian::little);

namespace {

constexpr size_t kTypeAt = 0;
constexpr size_t kCodeAt = 4;
constexpr size_t kWordsAt = 8;

}  // namespace

float HubRecord::as_float(int word) const { return std::bit_cast<float>(words.at(static_cast<size_t>(word))); }

void HubRecord::set_float(int word, float value) {
  words.at(static_cast<size_t>(word)) = std::bit_cast<int32_t>(value);
}

HubRecord decode(const HubMessage& message) {
  unsigned char bytes[sizeof message];
  std::memcpy(bytes, &message, sizeof bytes);
  HubRecord record;
  std::memcpy(&record.sensor_type, bytes + kTypeAt, sizeof record.sensor_type);
  std::memcpy(&record.msg_type, bytes + kCodeAt, sizeof record.msg_type);
  std::memcpy(record.words.data(), bytes + kWordsAt, sizeof record.words);
  return record;
}

HubMessage encode(const HubRecord& record) {
  unsigned char bytes[sizeof(HubMessage)];
  std::memcpy(bytes + kTypeAt, &record.sensor_type, sizeof record.sensor_type);
  std::memcpy(bytes + kCodeAt, &record.msg_type, sizeof record.msg_type);
  std::memcpy(bytes + kWordsAt, record.words.data(), sizeof record.words);
  HubMessage message;
  std::memcpy(&message, bytes, sizeof message);
  return message;
}

int32_t saturated_int(float value) {
  if (std::isnan(value)) return 0;
  // 2^31 is a float, the largest int32 is not.
  if (value >= 2147483648.0F) return std::numeric_limits<int32_t>::max();
  if (value < -2147483648.0F) return std::numeric_limits<int32_t>::min();
  return static_cast<int32_t>(value);
}

}  // namespace phone
