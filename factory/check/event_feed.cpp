#include "check/event_feed.h"

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
using Steady = std::chrono::steady_clock;

}  // namespace

// Events come on the queue's thread and leave on the command's.
class EventFeed::Inbox : public IEventQueueCallback {
 public:
  Inbox(int handle, int type) : handle_(handle), type_(type) {}

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
    return Void();
  }

  std::vector<Sample> take(std::chrono::milliseconds at_most) {
    std::unique_lock<std::mutex> lock(mutex_);
    came_.wait_for(lock, at_most, [this] { return !samples_.empty(); });
    return std::exchange(samples_, {});
  }

  int strangers() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return strangers_;
  }

 private:
  const int handle_;
  const int type_;
  mutable std::mutex mutex_;
  std::condition_variable came_;
  std::vector<Sample> samples_;  // guarded by mutex_
  int strangers_ = 0;            // guarded by mutex_
};

EventFeed::EventFeed(const Manager& manager, int handle, int type, int period_us)
    : handle_(handle), inbox_(new Inbox(handle, type)) {
  ::android::sp<IEventQueue> queue;
  const auto created =
      manager->createEventQueue(inbox_, [&](const ::android::sp<IEventQueue>& made, QueueResult result) {
        if (result == QueueResult::OK) queue = made;
      });
  if (!created.isOk() || queue == nullptr) {
    problem_ = "the sensor service gave no event queue";
    return;
  }
  enabled_at_ = Steady::now();
  const auto enabled = queue->enableSensor(handle, period_us, 0);
  if (!enabled.isOk() || enabled != QueueResult::OK) {
    problem_ = "the sensor could not be enabled";
    return;
  }
  queue_ = queue;
}

EventFeed::~EventFeed() { stop(); }

void EventFeed::stop() {
  if (queue_ == nullptr) return;
  (void)queue_->disableSensor(handle_).isOk();
  queue_ = nullptr;  // waits for a delivery under way
}

std::vector<Sample> EventFeed::take(std::chrono::milliseconds at_most) { return inbox_->take(at_most); }

int EventFeed::strangers() const { return inbox_->strangers(); }

}  // namespace factory
