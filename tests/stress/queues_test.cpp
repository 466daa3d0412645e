// Several event queues on one sensor: every event reaches every queue once and in order, and none comes late.
#include <atomic>

#include "load.h"
#include "open_phone.h"

namespace stress {
namespace {

using phone_test::Client;
using phone_test::Event;
using phone_test::IEventQueueCallback;
using phone_test::options;
using phone_test::sp;

constexpr int kAcc = 1;
constexpr int kFastUs = 2500;
constexpr int64_t kFastNs = 2500000;
constexpr size_t kPerEnabling = 24000;  // until the sensor falls silent, after a minute of its own time

// Notes the time of every event and how often the order was wrong; the first value, to compare.
class Times : public IEventQueueCallback {
 public:
  ::android::hardware::Return<void> onEvent(const Event& event) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    events_.push_back({event.timestamp, event.u.data[0]});
    changed_.notify_all();
    return ::android::hardware::Void();
  }
  using Note = std::pair<int64_t, float>;
  // All events, once there are `count` of them from `from_ns` on.
  std::vector<Note> wait_from(int64_t from_ns, size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    const auto enough = [&] {
      if (events_.size() < count) return false;
      return events_[events_.size() - count].first >= from_ns;
    };
    changed_.wait_for(lock, std::chrono::seconds(100), enough);
    return events_;
  }
  std::vector<Note> wait_for(size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(100), [&] { return events_.size() >= count; });
    return events_;
  }
  size_t count() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return events_.size();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Note> events_;  // guarded by mutex_
};

struct Watch {
  explicit Watch(const Client& client) {
    client.manager->createEventQueue(times, [this](const auto& made, auto) { queue = made; });
    handle = client.handles.at(kAcc);
  }
  void enable(int period_us) { ASSERT_EQ(queue->enableSensor(handle, period_us, 0), phone_test::Result::OK); }

  const sp<Times> times = new Times;
  sp<phone_test::IEventQueue> queue;
  int handle = 0;
};

// From the last enabling on all queues see the same samples: as many as the sensor has until it falls silent.
TEST(StressQueues, EveryEventReachesEveryQueueOnce) {
  const QuietLog quiet;
  const auto phone = phone::Phone::open(options());
  const Client client;
  constexpr size_t kQueues = 4;
  size_t delivered = 0;
  for (const size_t wanted = load(1000000); delivered < wanted;) {
    std::vector<std::unique_ptr<Watch>> watches;
    for (size_t i = 0; i < kQueues; ++i) {
      watches.push_back(std::make_unique<Watch>(client));
      watches.back()->enable(kFastUs);
    }
    const std::vector<Times::Note> last = watches.back()->times->wait_for(kPerEnabling);
    ASSERT_EQ(last.size(), kPerEnabling);
    for (size_t i = 1; i < last.size(); ++i) ASSERT_EQ(last[i].first - last[i - 1].first, kFastNs) << "event " << i;
    for (const auto& watch : watches) {
      const std::vector<Times::Note> all = watch->times->wait_from(last.front().first, kPerEnabling);
      ASSERT_GE(all.size(), kPerEnabling);
      ASSERT_TRUE(std::equal(last.begin(), last.end(), all.end() - static_cast<ptrdiff_t>(kPerEnabling)));
      for (size_t i = 1; i < all.size(); ++i) ASSERT_GT(all[i].first, all[i - 1].first);
      delivered += all.size();
    }
  }
}

// Switched off from outside, one event may be on its way; a queue that is gone has none.
TEST(StressQueues, NothingComesLate) {
  const QuietLog quiet;
  const auto phone = phone::Phone::open(options());
  const Client client;
  Watch beside(client);  // so that the sensor itself stays on
  for (size_t round = 0; round < load(20000); ++round) {
    if (round % 500 == 0) beside.enable(kFastUs);
    Watch watch(client);
    watch.enable(kFastUs);
    if (round % 2 == 0) {
      ASSERT_GE(watch.times->wait_for(1 + round % 7).size(), 1U);
    }
    watch.queue->disableSensor(watch.handle);
    const size_t at_disabling = watch.times->count();
    if (round % 3 == 0) std::this_thread::yield();
    watch.queue = nullptr;
    const size_t at_end = watch.times->count();
    ASSERT_LE(at_end, at_disabling + 1);
    std::this_thread::yield();
    ASSERT_EQ(watch.times->count(), at_end);
  }
}

}  // namespace
}  // namespace stress
