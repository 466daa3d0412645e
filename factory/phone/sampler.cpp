#include "phone/sampler.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <mutex>

namespace factory {
namespace {

using ::android::frameworks::sensorservice::V1_0::IEventQueue;
using ::android::frameworks::sensorservice::V1_0::IEventQueueCallback;
using ::android::frameworks::sensorservice::V1_0::ISensorManager;
using QueueResult = ::android::frameworks::sensorservice::V1_0::Result;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::android::hardware::sensors::V1_0::Event;
using record::Why;

// Collects until it has enough, and switches the sensor off with the last sample: nothing comes after it, so that what
// a run sees next does not depend on how soon the waiting thread wakes.
class Collector : public IEventQueueCallback {
 public:
  explicit Collector(const SampleRequest& request) : request_(request), values_(static_cast<size_t>(request.values)) {}

  Return<void> onEvent(const Event& event) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (event.sensorHandle != request_.handle || static_cast<int>(event.sensorType) != request_.type) {
      ++strangers_;
      return Void();
    }
    if (seen_++ < request_.skip || taken_ >= request_.count) return Void();
    std::vector<double>& row = rows_.emplace_back();
    for (size_t i = 0; i < values_.size(); ++i) {
      row.push_back(static_cast<double>(event.u.data[static_cast<size_t>(request_.first_word) + i]));
      values_[i].add(row.back());
    }
    if (++taken_ < request_.count) return Void();
    enough_.notify_all();
    if (queue_ != nullptr) (void)queue_->disableSensor(request_.handle).isOk();
    return Void();
  }

  // The queue holds this object: null breaks the ring.
  void use(::android::sp<IEventQueue> queue) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::swap(queue_, queue);
  }

  // Until enough samples are in, the time is over, or somebody interrupts.
  void wait(const std::atomic<bool>& interrupted) {
    constexpr auto kLook = std::chrono::milliseconds(20);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(request_.timeout_s);
    std::unique_lock<std::mutex> lock(mutex_);
    while (taken_ < request_.count && !interrupted && std::chrono::steady_clock::now() < deadline)
      enough_.wait_for(lock, kLook);
  }

  FreshSamples result() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    FreshSamples out;
    out.values = values_;
    out.rows = rows_;
    out.wanted = request_.count;
    out.taken = taken_;
    out.strangers = strangers_;
    return out;
  }

 private:
  const SampleRequest request_;
  mutable std::mutex mutex_;
  std::condition_variable enough_;
  ::android::sp<IEventQueue> queue_;  // guarded by mutex_, and so are the following
  std::vector<Statistics> values_;
  std::vector<std::vector<double>> rows_;
  int seen_ = 0;
  int taken_ = 0;
  int strangers_ = 0;
};

record::Reason no_answer() { return {Why::service_gone, "the sensor service does not answer", kServiceHint}; }

// What came instead of all samples.
record::Reason too_few(const FreshSamples& samples) {
  const std::string text = "only " + std::to_string(samples.taken) + " of " + std::to_string(samples.wanted) +
                           " fresh samples came" + (samples.strangers > 0 ? ", and events of other sensors" : "");
  return {samples.taken == 0 ? Why::sensor_silent : Why::sensor_slow,
          text,
          samples.strangers > 0 ? "the sensor service mixes its sensors up: restart it or reboot the phone, then repeat"
                                : kSilentHint,
          {std::to_string(samples.taken), std::to_string(samples.wanted)}};
}

}  // namespace

void FreshSamples::append(const FreshSamples& more) {
  wanted += more.wanted;
  taken += more.taken;
  if (!problem) problem = more.problem;
  for (const std::vector<double>& row : more.rows) {
    rows.push_back(row);
    for (size_t i = 0; i < row.size(); ++i) values[i].add(row[i]);
  }
}

double FreshSamples::error(size_t value) const {
  return values[value].standard_deviation() / std::sqrt(std::max(1, taken));
}

std::optional<record::Reason> open_queue(const ::android::sp<ISensorManager>& manager,
                                         const ::android::sp<IEventQueueCallback>& callback,
                                         ::android::sp<IEventQueue>* queue) {
  const auto created =
      manager->createEventQueue(callback, [&](const ::android::sp<IEventQueue>& made, QueueResult result) {
        if (result == QueueResult::OK) *queue = made;
      });
  if (!created.isOk()) return no_answer();
  if (*queue != nullptr) return {};
  return record::Reason{Why::service_refuses, "the sensor service gave no event queue", kServiceHint};
}

std::optional<record::Reason> enable_sensor(IEventQueue& queue, int handle, int period_us) {
  const auto enabled = queue.enableSensor(handle, period_us, 0);
  if (!enabled.isOk()) return no_answer();
  if (enabled == QueueResult::OK) return {};
  return record::Reason{Why::sensor_refused, "the sensor could not be enabled", kServiceHint};
}

FreshSamples take_samples(const ::android::sp<ISensorManager>& manager, const SampleRequest& request,
                          const std::atomic<bool>& interrupted) {
  const ::android::sp<Collector> collector = new Collector(request);
  FreshSamples none;
  none.wanted = request.count;
  ::android::sp<IEventQueue> queue;
  none.problem = open_queue(manager, collector, &queue);
  if (none.problem) return none;
  constexpr int kMicroseconds = 1000;
  collector->use(queue);
  none.problem = enable_sensor(*queue, request.handle, request.period_ms * kMicroseconds);
  if (none.problem) {
    collector->use(nullptr);
    return none;
  }
  collector->wait(interrupted);
  collector->use(nullptr);
  (void)queue->disableSensor(request.handle).isOk();  // off already where all samples came
  FreshSamples out = collector->result();
  if (out.taken < out.wanted)
    out.problem = interrupted ? record::Reason{Why::interrupted, "interrupted"} : too_few(out);
  return out;
}

}  // namespace factory
