// The events of one sensor, as they come through an event queue of the application's own.
#pragma once

#include <SensorCalibration.h>

#include <chrono>
#include <optional>
#include <vector>

#include "check/sample.h"
#include "phone/sampler.h"

namespace factory {

class EventFeed {
 public:
  using Manager = ::android::sp<::android::frameworks::sensorservice::V1_0::ISensorManager>;

  // Enables the sensor; problem() says why it could not. Once time stamps span `span_s` the sensor goes off by itself;
  // negative: it stays on until stop().
  EventFeed(const Manager& manager, int handle, int type, int period_us, double span_s = -1);
  ~EventFeed();
  EventFeed(const EventFeed&) = delete;
  EventFeed& operator=(const EventFeed&) = delete;

  const std::optional<record::Reason>& problem() const { return problem_; }
  std::chrono::steady_clock::time_point enabled_at() const { return enabled_at_; }
  // What came since the last call; waits for the first of it, but no longer than `at_most`.
  std::vector<Sample> take(std::chrono::milliseconds at_most);
  // The sensor is off afterwards; what came before can still be taken.
  void stop();
  // Events that came but named another sensor.
  int strangers() const;

 private:
  class Inbox;

  const int handle_;
  std::optional<record::Reason> problem_;
  std::chrono::steady_clock::time_point enabled_at_;
  ::android::sp<Inbox> inbox_;
  ::android::sp<::android::frameworks::sensorservice::V1_0::IEventQueue> queue_;
};

}  // namespace factory
