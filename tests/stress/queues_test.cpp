// Several event queues on one sensor: every event reaches every queue once and in order, and none comes late.
#include <atomic>

#include "load.h"
#include "open_phone.h"

namespace stress {
namespace {

using phone_test::Client;
using phone_test::Event;
using phone_test::kAcc;
using phone_test::options;
using phone_test::Result;

constexpr int kFastUs = 2500;
constexpr int64_t kFastNs = 2500000;
constexpr size_t kPerEnabling = 24000;  // until the sensor falls silent, after a minute of its own time

bool same(const Event& a, const Event& b) { return a.timestamp == b.timestamp && a.u.data[0] == b.u.data[0]; }

// From the last enabling on all queues see the same samples: as many as the sensor has until it falls silent.
TEST(StressQueues, EveryEventReachesEveryQueueOnce) {
  const QuietLog quiet;
  const auto phone = phone::Phone::open(options());
  constexpr size_t kQueues = 4;
  size_t delivered = 0;
  for (const size_t wanted = load(1000000); delivered < wanted;) {
    std::vector<std::unique_ptr<Client>> watches;
    for (size_t i = 0; i < kQueues; ++i) {
      watches.push_back(std::make_unique<Client>());
      ASSERT_EQ(watches.back()->enable(kAcc, kFastUs), Result::OK);
    }
    const std::vector<Event> last = watches.back()->listener->wait_for(kPerEnabling);
    ASSERT_EQ(last.size(), kPerEnabling);
    for (size_t i = 1; i < last.size(); ++i) ASSERT_EQ(last[i].timestamp - last[i - 1].timestamp, kFastNs) << i;
    for (const auto& watch : watches) {
      const std::vector<Event> all = watch->listener->wait([&](const std::vector<Event>& events) {
        return events.size() >= kPerEnabling && events.back().timestamp >= last.back().timestamp;
      });
      ASSERT_GE(all.size(), kPerEnabling);
      ASSERT_TRUE(std::equal(last.begin(), last.end(), all.end() - static_cast<ptrdiff_t>(kPerEnabling), same));
      for (size_t i = 1; i < all.size(); ++i) ASSERT_GT(all[i].timestamp, all[i - 1].timestamp);
      delivered += all.size();
    }
  }
}

// Switched off from outside, one event may be on its way; a queue that is gone has none.
TEST(StressQueues, NothingComesLate) {
  const QuietLog quiet;
  const auto phone = phone::Phone::open(options());
  Client beside;  // so that the sensor itself stays on
  for (size_t round = 0; round < load(20000); ++round) {
    if (round % 500 == 0) beside.enable(kAcc, kFastUs);
    Client watch;
    ASSERT_EQ(watch.enable(kAcc, kFastUs), Result::OK);
    if (round % 2 == 0) {
      ASSERT_GE(watch.listener->wait_for(1 + round % 7).size(), 1U);
    }
    watch.disable(kAcc);
    const size_t at_disabling = watch.listener->events().size();
    if (round % 3 == 0) std::this_thread::yield();
    watch.queue = nullptr;
    const size_t at_end = watch.listener->events().size();
    ASSERT_LE(at_end, at_disabling + 1);
    std::this_thread::yield();
    ASSERT_EQ(watch.listener->events().size(), at_end);
  }
}

}  // namespace
}  // namespace stress
