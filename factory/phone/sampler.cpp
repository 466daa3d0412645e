#include "phone/sampler.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace factory {
namespace {

using ::android::frameworks::sensorservice::V1_0::IEventQueue;
using ::android::frameworks::sensorservice::V1_0::IEventQueueCallback;
using QueueResult = ::android::frameworks::sensorservice::V1_0::Result;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::android::hardware::sensors::V1_0::Event;
using record::Why;
using Steady = std::chrono::steady_clock;

std::optional<record::Reason> refusal(bool answered, bool granted, record::Ground why, const char* text) {
  if (!answered) return record::Reason{Why::service_gone, "the sensor service does not answer", kServiceHint};
  if (granted) return {};
  return record::Reason{why, text, kServiceHint};
}

}  // namespace

record::Reason too_few(const FreshSamples& samples, bool strangers) {
  const std::string taken = std::to_string(samples.taken);
  const std::string wanted = std::to_string(samples.wanted);
  return {
      samples.taken == 0 ? Why::sensor_silent : Why::sensor_slow,
      "only " + taken + " of " + wanted + " fresh samples came" + (strangers ? ", and events of other sensors" : ""),
      strangers ? kMixedUpHint : kSilentHint,
      {taken, wanted}};
}

double seconds_of(std::span<const Sample> samples) {
  constexpr double kNsPerS = 1e9;
  return samples.empty() ? 0 : static_cast<double>(samples.back().timestamp_ns - samples[0].timestamp_ns) / kNsPerS;
}

// Events come on the queue's thread and leave on the command's.
class EventFeed::Inbox : public IEventQueueCallback {
 public:
  Inbox(int handle, int type, std::function<bool(const Sample&)> is_last)
      : handle_(handle), type_(type), is_last_(std::move(is_last)) {}

  // The queue to end the feed on; null: no more. Not owned.
  void set_queue(IEventQueue* queue) {
    const std::lock_guard<std::mutex> lock(mutex_);
    queue_ = queue;
  }

  Return<void> onEvent(const Event& event) override {
    Sample sample;
    sample.timestamp_ns = event.timestamp;
    sample.arrival = Steady::now();
    for (size_t i = 0; i < sample.words.size(); ++i) sample.words[i] = event.u.data[i];
    const std::lock_guard<std::mutex> lock(mutex_);
    if (event.sensorHandle != handle_ || static_cast<int>(event.sensorType) != type_) {
      ++strangers_;
      return Void();
    }
    samples_.push_back(sample);
    came_.notify_all();
    // Off from within the delivery: nothing comes after it, so that what a run sees next does not depend on how soon
    // the command's thread wakes; and at full speed a recording would be over before that looked.
    if (queue_ != nullptr && is_last_ && is_last_(sample))
      (void)std::exchange(queue_, nullptr)->disableSensor(handle_).isOk();
    return Void();
  }

  std::vector<Sample> take(std::chrono::milliseconds longest) {
    std::unique_lock<std::mutex> lock(mutex_);
    came_.wait_for(lock, longest, [this] { return !samples_.empty(); });
    return std::exchange(samples_, {});
  }

  int strangers() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return strangers_;
  }

 private:
  const int handle_;
  const int type_;
  const std::function<bool(const Sample&)> is_last_;
  mutable std::mutex mutex_;
  std::condition_variable came_;
  std::vector<Sample> samples_;   // guarded by mutex_
  int strangers_ = 0;             // guarded by mutex_
  IEventQueue* queue_ = nullptr;  // guarded by mutex_
};

EventFeed::EventFeed(const Manager& manager, const SensorInfo& sensor, double period_ms,
                     std::function<bool(const Sample&)> is_last)
    : handle_(sensor.sensorHandle), inbox_(new Inbox(handle_, static_cast<int>(sensor.type), std::move(is_last))) {
  constexpr double kUsPerMs = 1000;
  ::android::sp<IEventQueue> queue;
  const auto created =
      manager->createEventQueue(inbox_, [&](const ::android::sp<IEventQueue>& made, QueueResult result) {
        if (result == QueueResult::OK) queue = made;
      });
  problem_ = refusal(created.isOk(), queue != nullptr, Why::service_refuses, "the sensor service gave no event queue");
  if (problem_) return;
  inbox_->set_queue(queue.get());
  enabled_at_ = Steady::now();
  const auto enabled = queue->enableSensor(handle_, static_cast<int>(period_ms * kUsPerMs), 0);
  problem_ = refusal(enabled.isOk(), enabled.isOk() && enabled == QueueResult::OK, Why::sensor_refused,
                     "the sensor could not be enabled");
  if (problem_) {
    inbox_->set_queue(nullptr);
  } else {
    queue_ = queue;
  }
}

EventFeed::~EventFeed() { stop(); }

void EventFeed::stop() {
  if (queue_ == nullptr) return;
  inbox_->set_queue(nullptr);
  (void)queue_->disableSensor(handle_).isOk();  // off already where the last sample came
  queue_ = nullptr;                             // waits for a delivery under way
}

void EventFeed::follow(const std::atomic<bool>& interrupted, const Look& look) {
  constexpr std::chrono::milliseconds kLook{20};
  auto last = enabled_at_;
  for (bool wanted = !problem_; wanted && !interrupted;) {
    const std::vector<Sample> came = inbox_->take(kLook);
    const auto now = Steady::now();
    if (!came.empty()) last = now;
    wanted = look(came, now - last);
  }
}

std::vector<Sample> EventFeed::take() { return inbox_->take({}); }

int EventFeed::strangers() const { return inbox_->strangers(); }

void FreshSamples::add(std::vector<double> row) {
  values.resize(row.size());
  for (size_t i = 0; i < row.size(); ++i) values[i].add(row[i]);
  rows.push_back(std::move(row));
  ++taken;
}

void FreshSamples::append(const FreshSamples& more) {
  wanted += more.wanted;
  if (!problem) problem = more.problem;
  if (!hopeless) hopeless = more.hopeless;
  for (const std::vector<double>& row : more.rows) add(row);
}

double FreshSamples::error(size_t value) const {
  return values[value].standard_deviation() / std::sqrt(std::max(1, taken));
}

std::optional<size_t> FreshSamples::find_hopeless(const std::vector<Within>& within) const {
  constexpr int kEvery = 10;
  constexpr double kErrors = 12;
  if (taken >= wanted || taken % kEvery != 0) return {};
  const double left = wanted - taken;
  for (size_t i = 0; i < values.size() && i < within.size(); ++i) {
    const auto& [low, high, noise] = within[i];
    const double mean = values[i].mean();
    const double deviation = values[i].standard_deviation();
    const double margin = kErrors * deviation * std::sqrt(left * taken / (taken - 1.0));
    const bool above = taken * mean + left * low - margin > wanted * high;
    const bool below = taken * mean + left * high + margin < wanted * low;
    const bool noisy = taken * deviation * deviation > wanted * noise * noise;
    if (above || below || noisy || std::isnan(mean)) return i;
  }
  return {};
}

void FreshLook::Gathering::add(const Sample& sample) {
  if (seen++ < request.skip || is_over()) return;
  const auto* const first = sample.words.begin() + request.first_word;
  out.add({first, first + request.values});
  out.hopeless = out.find_hopeless(request.within);
}

FreshLook::FreshLook(const EventFeed::Manager& manager, const SampleRequest& request)
    : feed_(manager, request.sensor, request.period_ms,
            [gathering = Gathering(request)](const Sample& sample) mutable {
              gathering.add(sample);
              return gathering.is_over();
            }),
      deadline_(feed_.enabled_at() + std::chrono::seconds(request.timeout_s)),
      gathering_(request) {
  gathering_.out.problem = feed_.problem();
}

// A sample that came after the time was over does not count, however late it is looked for.
bool FreshLook::go_on(const std::vector<Sample>& came) {
  if (ended_) return false;
  const Time now = Steady::now();
  Time last = now;
  for (const Sample& sample : came) {
    if (sample.arrival > deadline_ || gathering_.is_over()) continue;
    gathering_.add(sample);
    last = sample.arrival;
  }
  const bool all = gathering_.is_over();
  if (!all && now < deadline_) return true;
  ended_ = all ? last : now;
  feed_.stop();
  return false;
}

FreshSamples FreshLook::take(const std::atomic<bool>& interrupted, const std::function<void()>& meanwhile) {
  if (!problem() && go_on()) {
    feed_.follow(interrupted, [&](const std::vector<Sample>& came, auto /*quiet*/) {
      if (meanwhile) meanwhile();
      return go_on(came);
    });
  }
  if (!ended_) ended_ = Steady::now();
  feed_.stop();
  FreshSamples& out = gathering_.out;
  if (!out.problem && !gathering_.is_over())
    out.problem = interrupted ? record::Reason{Why::interrupted, "interrupted"} : too_few(out, feed_.strangers() > 0);
  return std::move(out);
}

FreshSamples take_samples(const EventFeed::Manager& manager, const SampleRequest& request,
                          const std::atomic<bool>& interrupted) {
  return FreshLook(manager, request).take(interrupted);
}

}  // namespace factory
