#include "check/event_feed.h"

#include <condition_variable>
#include <mutex>
#include <utility>

namespace factory {
namespace {

using ::android::frameworks::sensorservice::V1_0::IEventQueue;
using ::android::frameworks::sensorservice::V1_0::IEventQueueCallback;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::android::hardware::sensors::V1_0::Event;
using Steady = std::chrono::steady_clock;

}  // namespace

// Events come on the queue's thread and leave on the command's.
class EventFeed::Inbox : public IEventQueueCallback {
 public:
  Inbox(int handle, int type, int64_t span_ns) : handle_(handle), type_(type), span_ns_(span_ns) {}

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
    if (first_ns_ == 0) first_ns_ = sample.timestamp_ns;
    // Off from within the delivery: at full speed a recording would be over before the command's thread looked.
    if (span_ns_ >= 0 && sample.timestamp_ns - first_ns_ >= span_ns_ && queue_ != nullptr) {
      (void)std::exchange(queue_, nullptr)->disableSensor(handle_).isOk();
    }
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
  const int64_t span_ns_;  // negative: no end
  mutable std::mutex mutex_;
  std::condition_variable came_;
  std::vector<Sample> samples_;   // guarded by mutex_
  int strangers_ = 0;             // guarded by mutex_
  int64_t first_ns_ = 0;          // guarded by mutex_
  IEventQueue* queue_ = nullptr;  // guarded by mutex_
};

EventFeed::EventFeed(const Manager& manager, int handle, int type, int period_us, double span_s)
    : handle_(handle), inbox_(new Inbox(handle, type, static_cast<int64_t>(span_s * 1e9))) {
  ::android::sp<IEventQueue> queue;
  problem_ = open_queue(manager, inbox_, &queue);
  if (problem_) return;
  inbox_->set_queue(queue.get());
  enabled_at_ = Steady::now();
  problem_ = enable_sensor(*queue, handle, period_us);
  if (problem_) {
    inbox_->set_queue(nullptr);
    return;
  }
  queue_ = queue;
}

EventFeed::~EventFeed() { stop(); }

void EventFeed::stop() {
  if (queue_ == nullptr) return;
  inbox_->set_queue(nullptr);
  (void)queue_->disableSensor(handle_).isOk();
  queue_ = nullptr;  // waits for a delivery under way
}

std::vector<Sample> EventFeed::take(std::chrono::milliseconds at_most) { return inbox_->take(at_most); }

int EventFeed::strangers() const { return inbox_->strangers(); }

}  // namespace factory
