// When events come, in which order, and what disabling and destroying promise.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <thread>

#include "open_phone.h"

namespace phone_test {
namespace {

constexpr int64_t kMs = 1000000;
constexpr size_t kWords = 16;

using Delivery = OpenPhone;

bool same_values(const Event& a, const Event& b) {
  return std::equal(a.u.data.data(), a.u.data.data() + kWords, b.u.data.data());
}

TEST_F(Delivery, PeriodCountsFromTheEnablingAndHasALimit) {
  Event last{};
  for (const auto& [asked_us, got_us] : {std::pair{20000, 20000}, {7777, 7777}, {100, 2500}, {0, 2500}, {-5, 2500}}) {
    for (const Event& event : client.collect(kAcc, asked_us, 20)) {
      EXPECT_TRUE(last.timestamp == 0 || event.timestamp - last.timestamp == got_us * 1000) << asked_us;
      EXPECT_EQ(event.sensorHandle, client.handles[kAcc]);
      EXPECT_EQ(static_cast<int>(event.sensorType), kAcc);
      EXPECT_FALSE(same_values(event, last)) << "without noise";
      last = event;
    }
  }
}

TEST_F(Delivery, SilentSixtySecondsAfterEachEnabling) {
  for (size_t round = 1; round <= 2; ++round) {
    client.enable(kBar, 1000000);
    client.listener->wait_for(60 * round);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    const std::vector<Event> events = client.listener->events();
    ASSERT_EQ(events.size(), 60 * round);
    EXPECT_EQ(events.back().timestamp - events[60 * (round - 1)].timestamp, 59000 * kMs);
    client.disable(kBar);
  }
}

// Bit for bit, whatever the threads do.
TEST_F(Delivery, RunsAtUnlimitedSpeedAreReproducible) {
  std::vector<Event> runs[2];
  for (std::vector<Event>& run : runs) {
    open(options());
    for (int i = 0; i < 3; ++i) {
      const std::vector<Event> events = client.collect(kAcc, 20000, 40);
      run.insert(run.end(), events.begin(), events.end());
    }
  }
  for (size_t i = 0; i < 120; ++i) {
    EXPECT_EQ(runs[0][i].timestamp, runs[1][i].timestamp);
    EXPECT_TRUE(same_values(runs[0][i], runs[1][i])) << i;
  }
  EXPECT_FALSE(same_values(runs[0][0], runs[0][40])) << "two enablings with the same noise";
}

TEST_F(Delivery, NoiseDiffersFromOpeningToOpening) {
  const Folder folder;
  std::vector<Event> runs[2];
  for (std::vector<Event>& run : runs) {
    open(options({}, "reference", folder.file("phone")));
    run = client.collect(kAcc, 20000, 50);
  }
  EXPECT_FALSE(same_values(runs[0][0], runs[1][0]));
  for (size_t axis = 0; axis < 3; ++axis)
    EXPECT_NEAR(mean(runs[0], axis), mean(runs[1], axis), 0.02) << "the same phone";
}

TEST_F(Delivery, QueuesGoOnInPhoneTimeOrderAndSeeTheSameSamples) {
  Client second;
  std::atomic<int64_t> newest{0};
  std::atomic<int> out_of_order{0};
  for (const Client* each : {&client, &second}) {
    each->listener->on_each = [&](const Event& event) {
      if (newest.exchange(event.timestamp) > event.timestamp) ++out_of_order;
    };
  }
  client.enable(kGyr, 10000);
  second.enable(kAcc, 40000);
  client.enable(kAcc, 20000);
  second.listener->wait_for(500);
  client.listener->wait_for(1500);
  client.queue = nullptr;
  second.queue = nullptr;
  EXPECT_EQ(out_of_order, 0);

  const std::vector<Event> slow = second.listener->events();
  for (size_t i = 100; i < 400; ++i) ASSERT_EQ(slow[i].timestamp - slow[i - 1].timestamp, 40 * kMs) << i;
  std::map<int64_t, Event> seen;
  for (const Event& event : slow) seen[event.timestamp] = event;
  size_t shared = 0;
  for (const Event& event : client.listener->events()) {
    if (static_cast<int>(event.sensorType) != kAcc) continue;
    const auto other = seen.find(event.timestamp);
    if (other == seen.end()) continue;
    ++shared;
    EXPECT_TRUE(same_values(event, other->second));
  }
  EXPECT_GE(shared, 400U);
}

TEST_F(Delivery, EnablingAndDisablingInsideTheCallback) {
  std::atomic<bool> acc_off{false};
  std::atomic<int> after_disable{0};
  client.listener->on_each = [&](const Event& event) {
    if (static_cast<int>(event.sensorType) == kAcc && acc_off) ++after_disable;
    if (static_cast<int>(event.sensorType) == kAcc && !acc_off) {
      EXPECT_EQ(client.disable(kAcc), Result::OK);
      EXPECT_NE(client.disable(kAcc), Result::OK);
      EXPECT_EQ(client.enable(kGyr, 20000), Result::OK);
      acc_off = true;
    }
  };
  client.enable(kAcc, 5000);
  const std::vector<Event> events = client.listener->wait_for(100);
  ASSERT_GE(events.size(), 100U);
  EXPECT_EQ(after_disable, 0);
  EXPECT_EQ(static_cast<int>(events[1].sensorType), kGyr);
  client.queue = nullptr;
}

// The callback waits for the mutex that the enabling side holds.
TEST_F(Delivery, EnablingNeverWaitsForACallback) {
  std::mutex application;
  client.listener->on_each = [&](const Event&) { const std::lock_guard<std::mutex> lock(application); };
  for (int i = 0; i < 200; ++i) {
    const std::lock_guard<std::mutex> lock(application);
    ASSERT_EQ(client.enable(kAcc, 5000), Result::OK);
    std::this_thread::yield();
    ASSERT_EQ(client.disable(kAcc), Result::OK);
  }
  client.queue = nullptr;
}

TEST_F(Delivery, RefusesUnknownHandlesAndSensorsThatAreOff) {
  EXPECT_EQ(static_cast<Result>(client.queue->enableSensor(4711, 20000, 0)), Result::BAD_VALUE);
  EXPECT_EQ(static_cast<Result>(client.queue->disableSensor(4711)), Result::BAD_VALUE);
  EXPECT_EQ(client.disable(kAcc), Result::INVALID_OPERATION);
  EXPECT_EQ(client.collect(kAcc, 20000, 5).size(), 5U);
}

TEST_F(Delivery, QueueDestroyedOnItsOwnThread) {
  for (int i = 0; i < 20; ++i) {
    client = Client();
    sp<IEventQueue> last = client.queue;
    std::mutex mutex;
    std::atomic<bool> gone{false};
    client.listener->on_each = [&](const Event&) {
      {
        const std::lock_guard<std::mutex> lock(mutex);
        last = nullptr;
      }
      gone = true;
    };
    {
      const std::lock_guard<std::mutex> lock(mutex);
      client.enable(kAcc, 2500);
      client.queue = nullptr;
    }
    while (!gone) std::this_thread::yield();
    EXPECT_EQ(client.listener->wait_for(1).size(), 1U);
  }
}

TEST_F(Delivery, ThePhoneGoesFirst) {
  client.enable(kAcc, 2500);
  client.listener->wait_for(1);
  phone.reset();
  EXPECT_EQ(ISensorManager::getService("default"), nullptr);
  EXPECT_FALSE(client.queue->enableSensor(client.handles.at(kAcc), 2500, 0).isOk());
  EXPECT_FALSE(client.manager->getSensorList([](const auto&, Result) {}).isOk());
}

TEST_F(Delivery, RealTimeAtAFactor) {
  phone::PhoneOptions factor = options();
  factor.speed = 20;
  open(factor);
  const auto start = std::chrono::steady_clock::now();
  const std::vector<Event> events = client.collect(kAcc, 20000, 100);
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  EXPECT_EQ(events.back().timestamp - events.front().timestamp, 99 * 20 * kMs);
  EXPECT_GE(took.count(), 0.1);
  EXPECT_LT(took.count(), 2);
}

}  // namespace
}  // namespace phone_test
