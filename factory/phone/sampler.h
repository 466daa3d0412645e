// Takes fresh samples of one sensor through an event queue of the application's own.
#pragma once

#include <SensorCalibration.h>

#include <atomic>
#include <optional>
#include <vector>

#include "record/why.h"
#include "sensors/statistics.h"

namespace factory {

inline constexpr char kServiceHint[] =
    "the sensor service refuses, or is gone: look at its log, restart it or reboot the phone, then repeat";
inline constexpr char kSilentHint[] = "the sensor is silent: look at its connection and its driver";

struct FreshSamples {
  std::vector<Statistics> values;         // per value
  std::vector<std::vector<double>> rows;  // every sample taken
  int wanted = 0;
  int taken = 0;
  int strangers = 0;                      // events under another handle or type
  std::optional<record::Reason> problem;  // none when all wanted samples came

  void append(const FreshSamples& more);
  double error(size_t value) const;  // of its mean
};

struct SampleRequest {
  int handle = 0;
  int type = 0;
  int values = 1;
  int first_word = 0;
  int period_ms = 20;
  int skip = 3;
  int count = 50;
  int timeout_s = 5;
};

// An event queue of the application's own, and a sensor of it switched on. Nothing, or why it could not be done.
std::optional<record::Reason> open_queue(
    const ::android::sp<::android::frameworks::sensorservice::V1_0::ISensorManager>& manager,
    const ::android::sp<::android::frameworks::sensorservice::V1_0::IEventQueueCallback>& callback,
    ::android::sp<::android::frameworks::sensorservice::V1_0::IEventQueue>* queue);
std::optional<record::Reason> enable_sensor(::android::frameworks::sensorservice::V1_0::IEventQueue& queue, int handle,
                                            int period_us);

// Blocks until the samples are in, the time is over, or `interrupted` is set. The sensor is off afterwards.
FreshSamples take_samples(const ::android::sp<::android::frameworks::sensorservice::V1_0::ISensorManager>& manager,
                          const SampleRequest& request, const std::atomic<bool>& interrupted);

}  // namespace factory
