#include "phone/hub/service_faults.h"

namespace phone {

void ServiceFaults::set_delay(std::chrono::milliseconds delay) {
  const std::lock_guard<std::mutex> lock(mutex_);
  delay_ = delay;
}

void ServiceFaults::set_fail_transport(bool fails) {
  const std::lock_guard<std::mutex> lock(mutex_);
  transport_fails_ = fails;
}

void ServiceFaults::force_reply(int32_t code, int word, int32_t value) {
  if (word < 0 || word >= static_cast<int>(HubRecord{}.words.size())) return;
  const std::lock_guard<std::mutex> lock(mutex_);
  forced_words_[{code, static_cast<size_t>(word)}] = value;
}

void ServiceFaults::clear() {
  const std::lock_guard<std::mutex> lock(mutex_);
  delay_ = {};
  transport_fails_ = false;
  forced_words_.clear();
}

std::chrono::milliseconds ServiceFaults::delay() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return delay_;
}

bool ServiceFaults::transport_fails() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return transport_fails_;
}

void ServiceFaults::apply(HubRecord* reply) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (const auto& [where, value] : forced_words_) {
    if (where.first == reply->msg_type) reply->words[where.second] = value;
  }
}

}  // namespace phone
