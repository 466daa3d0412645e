// The way to the hub: what a client of the test service sees.
#include <chrono>
#include <thread>

#include "hub_fixture.h"
#include "phone/hub/test_service.h"

namespace phone {
namespace {

TEST_F(HubTest, TheServiceCarriesAMessageAndItsAnswer) {
  const ::android::sp<TestService> service(new TestService(&hub, nullptr));
  std::vector<HubExchange> heard;
  service->on_exchange([&](const HubExchange& exchange) { heard.push_back(exchange); });
  HubRecord reply;
  const auto send = [&](const HubRecord& request) {
    const auto caller = std::this_thread::get_id();
    const auto result = service->send_ssc_oem_test_msg(encode(request), [&](const HubMessage& message) {
      EXPECT_EQ(std::this_thread::get_id(), caller);
      reply = decode(message);
    });
    EXPECT_TRUE(result.isOk());
  };
  send(record(1, 0, {F(1), F(2), F(3), 9}));
  send(record(1, 1));
  EXPECT_EQ(reply, record(1, 1, {F(1), F(2), F(3)}));
  ASSERT_EQ(heard.size(), 2U);
  EXPECT_TRUE(heard[0].answered);
  EXPECT_EQ(heard[0].note, "unused word 3 is 0x00000009");
  EXPECT_EQ(heard[0].request[5], 9);
  EXPECT_EQ(heard[1].reply[0], 1);
  EXPECT_EQ(heard[1].reply[1], 1);
  EXPECT_EQ(heard[1].reply[4], F(3));
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  EXPECT_NEAR(static_cast<double>(heard[1].time_ns), static_cast<double>(std::chrono::nanoseconds(now).count()), 60e9);
}

// A raw value that takes its time, so that a message is known to be inside the hub.
struct SlowRaw : RawSource {
  std::atomic<bool> asked = false;
  float raw(int /*sensor_type*/, int /*channel*/) override {
    asked = true;
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    return 5;
  }
  bool dark_box() override { return false; }
};

TEST(TestServiceEnd, DisconnectWaitsForMessagesUnderWayAndFailsLaterOnes) {
  SlowRaw raw;
  Hub hub(&raw, {});
  const ::android::sp<TestService> service(new TestService(&hub, nullptr));
  std::atomic<int> heard = 0;
  service->on_exchange([&](const HubExchange&) { ++heard; });
  const auto send = [&] {
    return service->send_ssc_oem_test_msg(encode(record(8, 7)), [](const HubMessage&) {}).isOk();
  };
  std::thread client([&] { EXPECT_TRUE(send()); });
  while (!raw.asked) std::this_thread::yield();
  service->disconnect();
  EXPECT_EQ(heard, 1);
  EXPECT_EQ(hub.proximity().hardware_crosstalk, 5);
  client.join();
  EXPECT_FALSE(send());
  EXPECT_EQ(heard, 1);
}

}  // namespace
}  // namespace phone
