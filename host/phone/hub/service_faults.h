// What may go wrong between a client and the hub.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <utility>

#include "phone/hub/record.h"

namespace phone {

// Any thread may call; a change is seen by the next message.
class ServiceFaults {
 public:
  // Every call takes this much longer.
  void set_delay(std::chrono::milliseconds delay);
  // Messages get lost: the hub never sees them, and the caller is not called back.
  void set_fail_transport(bool fails);
  // Answers to this code carry this data word (0 to 15), whatever the hub says. What the hub does is unchanged.
  void force_reply(int32_t code, int word, int32_t value);
  void clear();

  std::chrono::milliseconds delay() const;
  bool transport_fails() const;
  void apply(HubRecord* reply) const;

 private:
  mutable std::mutex mutex_;
  std::chrono::milliseconds delay_{0};                          // guarded by mutex_
  bool transport_fails_ = false;                                // guarded by mutex_
  std::map<std::pair<int32_t, size_t>, int32_t> forced_words_;  // by code and word; guarded by mutex_
};

}  // namespace phone
