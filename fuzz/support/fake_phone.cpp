#include "support/fake_phone.h"

#include <algorithm>

namespace fuzz {

bool ScriptedHub::answer(const Message& request, Message* reply) {
  const auto* row = std::find_if(std::begin(oem_test_msg::kCodes), std::end(oem_test_msg::kCodes),
                                 [&](const oem_test_msg::CodeRow& r) { return r.code == request[1]; });
  HOLDS(row != std::end(oem_test_msg::kCodes));
  // "*" stands for as many elements as word 0 counts.
  const std::string words = row->request_words;
  size_t used = words.size();
  if (words.ends_with('*')) used = 1 + static_cast<size_t>(std::clamp(std::bit_cast<float>(request[2]), 0.0F, 15.0F));
  for (size_t i = 2 + used; i < request.size(); ++i) HOLDS(request[i] == 0);
  return script(reply);
}

Return<Result> ScriptedQueue::enableSensor(int32_t sensorHandle, int32_t /*samplingPeriodUs*/, int64_t latency_us) {
  HOLDS(latency_us == 0);
  Return<Result> result = on_enable();
  if (result.isOk() && result == Result::OK) enabled.insert(sensorHandle);
  return result;
}

Return<Result> ScriptedQueue::disableSensor(int32_t sensorHandle) {
  ++disablings;
  return enabled.erase(sensorHandle) == 0 ? Result::INVALID_OPERATION : Result::OK;
}

}  // namespace fuzz
