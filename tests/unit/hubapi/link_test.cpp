#include <limits.h>
#include <stdio.h>

#include "hub_test.h"

namespace test {
namespace {

std::string first_line(const void* record) {
  char text[128];
  snprintf(text, sizeof text, "D/libsensor_calapi: send_ssc_oem_test_msg: send_ssc_oem_test_msg: %p", record);
  return text;
}

TEST(Link, TellsAtConstructionWhetherTheServiceIsThere) {
  FakeHub::remove();
  {
    LogCapture log;
    {
      const SensorCalibrationAPI api;
      EXPECT_EQ(api.initCheck(), -19);
      EXPECT_EQ(api.service.get(), nullptr);
    }
    EXPECT_EQ(log.all(), (Lines{"I/libsensor_calapi: SensorCalibrationAPI: struct init",
                                "I/libsensor_calapi: SensorCalibrationAPI: get IKestSensorService interface fail",
                                "I/libsensor_calapi: SensorCalibrationAPI: struct deinit"}));
  }
  const ::android::sp<FakeHub> hub = FakeHub::install();
  const int32_t references = hub->getStrongCount();
  {
    const SensorCalibrationAPI api;
    EXPECT_EQ(api.initCheck(), 0);
    EXPECT_EQ(hub->getStrongCount(), references + 1);
  }
  EXPECT_EQ(hub->getStrongCount(), references);
  FakeHub::remove();
}

class LinkSend : public HubTest {
 protected:
  // Every word differs, and so do the hub's.
  const Message request = message(1, 77, {INT_MIN, -1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, INT_MAX});
  _ssc_oem_test_msg record = std::bit_cast<_ssc_oem_test_msg>(request);
};

TEST_F(LinkSend, SwapsAll72BytesForTheReply) {
  const Message reply = message(
      5, 78,
      {bits(1.5f), bits(-2.0f), bits(3.25f), bits(-4.0f), bits(5.0f), bits(6.0f), 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
  hub->on(77, [&](const Message&, Message* out) { *out = reply; });
  const int32_t references = hub->getStrongCount();
  log.clear();
  EXPECT_EQ(api.send_ssc_oem_test_msg(&record), 0);
  EXPECT_EQ(hub->sent(), std::vector<Message>{request});
  EXPECT_EQ(std::bit_cast<Message>(record), reply);
  EXPECT_EQ(hub->getStrongCount(), references);
  EXPECT_EQ(log.all(),
            (Lines{first_line(&record),
                   "I/libsensor_calapi: send_ssc_oem_test_msg return msg: type: 5, value:(1069547520, -1073741824)",
                   "I/libsensor_calapi: send_ssc_oem_test_msg return msg: type: 5, value:(1.500000, "
                   "-2.000000, 3.250000, -4.000000, 5.000000, 6.000000)"}));
}

TEST_F(LinkSend, LeavesTheRequestWithoutService) {
  FakeHub::remove();  // the object still holds the service it found: that one is not to be used
  log.clear();
  EXPECT_EQ(api.send_ssc_oem_test_msg(&record), 0);
  EXPECT_EQ(std::bit_cast<Message>(record), request);
  EXPECT_TRUE(hub->sent().empty());
  EXPECT_EQ(log.all(), Lines{first_line(&record)});
}

TEST_F(LinkSend, FindsAServiceThatCameLater) {
  const ::android::sp<FakeHub> second = FakeHub::install();
  api.send_ssc_oem_test_msg(&record);
  EXPECT_TRUE(hub->sent().empty());
  EXPECT_EQ(second->sent(), std::vector<Message>{request});
}

TEST_F(LinkSend, LeavesZerosWhenTheCallNeverAnswers) {
  hub->transport_fails = true;
  log.clear();
  EXPECT_EQ(api.send_ssc_oem_test_msg(&record), 0);
  EXPECT_EQ(std::bit_cast<Message>(record), message(0, 0));
  EXPECT_EQ(log.all().size(), 3u);
}

}  // namespace
}  // namespace test
