// The events of one sensor, through an event queue of the application's own.
#pragma once

#include <SensorCalibration.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <span>
#include <vector>

#include "record/why.h"

namespace factory {

inline constexpr char kServiceHint[] =
    "the sensor service refuses, or is gone: look at its log, restart it or reboot the phone, then repeat";
inline constexpr char kSilentHint[] = "the sensor is silent: look at its connection and its driver";
inline constexpr char kMixedUpHint[] =
    "the sensor service mixes its sensors up: restart it or reboot the phone, then repeat";

// What one event brought.
struct Sample {
  int64_t timestamp_ns = 0;                       // the event's own, on the phone's clock
  std::chrono::steady_clock::time_point arrival;  // on this process's clock
  std::array<float, 16> words{};
};

// How long the samples took, by their own time stamps.
double seconds_of(std::span<const Sample> samples);

class EventFeed {
 public:
  using Manager = ::android::sp<::android::frameworks::sensorservice::V1_0::ISensorManager>;
  using SensorInfo = ::android::hardware::sensors::V1_0::SensorInfo;

  // Enables the sensor; problem() says why it could not. With the sample that is the last the sensor goes off by
  // itself; without `is_last` it stays on until stop().
  EventFeed(const Manager& manager, const SensorInfo& sensor, double period_ms,
            std::function<bool(const Sample&)> is_last = {});
  ~EventFeed();
  EventFeed(const EventFeed&) = delete;
  EventFeed& operator=(const EventFeed&) = delete;

  const std::optional<record::Reason>& problem() const { return problem_; }
  std::chrono::steady_clock::time_point enabled_at() const { return enabled_at_; }
  // Takes what comes until `look` gives false, or somebody interrupts. It is told every few milliseconds what came
  // since the last look, and for how long nothing did.
  using Look = std::function<bool(const std::vector<Sample>& came, std::chrono::duration<double> quiet)>;
  void follow(const std::atomic<bool>& interrupted, const Look& look);
  // What came since the last look, without waiting.
  std::vector<Sample> take();
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
  ::android::sp<::android::frameworks::sensorservice::V1_0::IEventQueue> queue_;  // null: stopped
};

// Mean and standard deviation of a stream of values, in double precision.
class Statistics {
 public:
  void add(double value) {
    ++count_;
    const double delta = value - mean_;
    mean_ += delta / static_cast<double>(count_);
    squares_ += delta * (value - mean_);
  }
  size_t count() const { return count_; }
  double mean() const { return mean_; }
  // Of the population, as the sample window has it.
  double standard_deviation() const { return count_ == 0 ? 0 : std::sqrt(squares_ / static_cast<double>(count_)); }

 private:
  size_t count_ = 0;
  double mean_ = 0;
  double squares_ = 0;
};

// Where a value's mean and noise have to be in the end; infinite: anywhere.
struct Within {
  double low = -std::numeric_limits<double>::infinity();
  double high = std::numeric_limits<double>::infinity();
  double noise = std::numeric_limits<double>::infinity();  // standard deviation
};

struct FreshSamples {
  std::vector<Statistics> values;         // per value
  std::vector<std::vector<double>> rows;  // every sample taken
  int wanted = 0;
  int taken = 0;
  std::optional<record::Reason> problem;  // none when all wanted samples came, or no more were needed
  std::optional<size_t> hopeless;         // the value for which no more were needed

  void add(std::vector<double> row);
  void append(const FreshSamples& more);
  double error(size_t value) const;  // of its mean

  // Whether some value cannot come within its limits any more. Looked at after every tenth sample. Not a number stays
  // so, and a sum of squares only grows. Of a mean it takes more: the samples to come would have to be beyond the
  // opposite limit by twelve of their standard errors. Where samples scatter independently about a mean that is within
  // its limits, Student's t with nine degrees of freedom is beyond 12 once in 2.6 million: of phones with a hundred
  // such values less than one in 10,000 is lost.
  std::optional<size_t> find_hopeless(const std::vector<Within>& within) const;
};

// What came instead of all samples; `strangers`: events of other sensors came, too.
record::Reason too_few(const FreshSamples& samples, bool strangers);

struct SampleRequest {
  const EventFeed::SensorInfo& sensor;
  int values = 1;
  int first_word = 0;
  int period_ms = 100;
  int skip = 3;
  int count = 50;
  int timeout_s = 5;
  std::vector<Within> within{};  // per value; a look that cannot come within it any more is over. Empty: none is
};

// Samples that come by themselves from its construction on, beside those of others, until all are there or the time is
// over; which it counts from when it was enabled, whoever is waited for meanwhile. The sensor is off when it goes.
class FreshLook {
 public:
  using Time = std::chrono::steady_clock::time_point;

  FreshLook(const EventFeed::Manager& manager, const SampleRequest& request);

  const std::optional<record::Reason>& problem() const { return feed_.problem(); }
  Time began() const { return feed_.enabled_at(); }
  // When the last sample came, or nothing more was waited for. Once it is over.
  Time ended() const { return ended_.value_or(began()); }

  // Takes in what came. False: it is over, and the sensor is off.
  bool go_on() { return go_on(feed_.take()); }
  // Blocks until it is over, or `interrupted` is set; `meanwhile` is called every few milliseconds. Once.
  FreshSamples take(const std::atomic<bool>& interrupted, const std::function<void()>& meanwhile = {});

 private:
  // What was asked for, sample by sample: on the queue's thread, which ends the feed, and on the command's.
  struct Gathering {
    explicit Gathering(const SampleRequest& wanted) : request(wanted) { out.wanted = wanted.count; }
    bool is_over() const { return out.hopeless || out.taken >= out.wanted; }
    void add(const Sample& sample);
    SampleRequest request;
    FreshSamples out{};
    int seen = 0;
  };
  bool go_on(const std::vector<Sample>& came);

  EventFeed feed_;
  const Time deadline_;
  Gathering gathering_;
  std::optional<Time> ended_;
};

// A look that nothing runs beside.
FreshSamples take_samples(const EventFeed::Manager& manager, const SampleRequest& request,
                          const std::atomic<bool>& interrupted);

}  // namespace factory
