#include <cmath>

#include "bench_phone.h"
#include "device_dir.h"

namespace test {
namespace {

constexpr char kFlags[] = "persist.vendor.sensor.cali_sensor";
constexpr char kGoodix[] = "persist.vendor.goodix.cct_support";
constexpr char kUnderDisplay[] = "persist.vendor.display.under.cct";
const float kBelowOne = std::nextafter(1.0F, 0.0F);
const float kAboveOne = std::nextafter(1.0F, 2.0F);

using Words = std::vector<int32_t>;

Words words(std::initializer_list<float> values) {
  Words out;
  for (const float value : values) out.push_back(bits(value));
  return out;
}

TEST(Report, JudgesEachPosition) {
  const BenchPhone phone;
  host::force_property(kUnderDisplay, "1");
  const struct {
    size_t position;
    int32_t code;
    std::vector<Words> uncalibrated, calibrated;  // replies
  } cases[] = {
      // As a float 1e-7 lies above the limit.
      {0, 1, {{}, words({9.9e-8F, -9.9e-8F, 9.9e-8F})}, {words({0, 0, -2e-7F}), words({0, 1e-7F}), words({NAN})}},
      {1, 3, {{}}, {words({0, 0.01F})}},
      {2, 10, {words({1}), words({kBelowOne})}, {words({kAboveOne}), words({NAN})}},
      {3, 6, {{300, 400}, {}}, {{400, 300}, {0, 400}}},  // the near threshold lies in word 0
      {4, 38, {{}}, {words({1e-8F}), words({-1})}},
      {5, 10, {words({1})}, {words({0.5F})}},
      {6, 4, {words({0, 0, 0, 9, 9, 9})}, {words({0, 0, 0.5F})}},
      {7, 4, {{}}, {words({0, 0.5F})}},
      {8, 22, {{}}, {words({-0.5F})}},
      {9, 31, {words({0, 1, 1, 1, 2, 2})}, {words({0, 1, 1, kAboveOne})}},
      {10, 31, {words({0, 1, 1, 1})}, {words({0, 1, NAN, 1})}},
      {11, 31, {words({0, 1, 1, 1})}, {words({0, 2, 1, 1})}},
  };
  for (const auto& c : cases) {
    host::force_property(kFlags, std::string(16, '0').replace(c.position, 1, "1"));
    for (const auto& [replies, verdict] : {std::pair{c.uncalibrated, "0"}, std::pair{c.calibrated, "1"}}) {
      for (const Words& reply : replies) {
        phone.hub->reply(c.code, reply);
        EXPECT_EQ(phone.cal->GetCalibrated(), verdict) << c.position << " " << ::testing::PrintToString(reply);
      }
    }
  }
}

TEST(Report, FlagsComeOneCharacterEach) {
  const BenchPhone phone;
  const struct {
    const char* flags;
    const char* under_display;
    const char* verdicts;  // the fake hub answers zeros: calibrated are the scales alone
  } cases[] = {
      {"", "", "0010"},         {"0x0", "", "00"},          {"0000000000000000", "1", ""},     {"900009", "", "01"},
      {"/:+ /:+ ", "", "0010"}, {"000000000001", "0", "1"}, {"0000100000010000111", "1", "01"}};
  for (const auto& c : cases) {
    for (const char* property : {kGoodix, kUnderDisplay}) {
      host::open_properties("");
      host::force_property(kFlags, c.flags);
      host::force_property(property, c.under_display);
      EXPECT_EQ(phone.cal->GetCalibrated(), c.verdicts) << c.flags;
    }
  }
}

TEST(Report, AsksInOrderAndLogsItsVerdict) {
  const BenchPhone phone;
  host::force_property(kFlags, "111111111111");
  host::force_property(kGoodix, "yes");
  phone.hub->on(38, [](const Message& request, Message* reply) {
    (*reply)[2] = request[2] == bits(3) ? 0 : request[2];  // the third dark value is missing
  });
  phone.hub->reply(4, {0, 0, bits(0.5F)});  // the pressure after it is judged on one value alone
  LogCapture log;
  EXPECT_EQ(phone.cal->GetCalibrated(), "001001110111");
  const std::vector<Message> sent = {message(1, 1),
                                     message(4, 3),
                                     message(5, 10),
                                     message(8, 6, {-1, 0, -1}),
                                     message(8, 6, {0, -1, -1}),
                                     message(5, 38, {bits(1)}),
                                     message(5, 38, {bits(2)}),
                                     message(5, 38, {bits(3)}),
                                     message(33171055, 10),
                                     message(33171015, 4, {bits(5)}),
                                     message(33171016, 4, {bits(5)}),
                                     message(6, 22),
                                     message(33171089, 31, {bits(5)}),
                                     message(33171057, 31, {bits(5)}),
                                     message(33171007, 31, {bits(5)})};
  EXPECT_EQ(phone.hub->sent(), sent);
  EXPECT_EQ(library_lines(log),
            (Lines{"I GetCalibrated: enter sensor_GetCalibrated", "E GetCalibrated:  dark cali data miss =3",
                   "E anajson als_strm add 1\n", "I GetCalibrated calibrated result out string = 001001110111\n"}));

  // Without a service a read gives back its own request: the dark values then look measured, and an element count reads
  // as a failure. The failure lines name types that are not always those asked for.
  FakeHub::remove();
  log.clear();
  EXPECT_EQ(phone.cal->GetCalibrated(), "001011000111");
  EXPECT_EQ(library_lines(log),
            (Lines{"I GetCalibrated: enter sensor_GetCalibrated", "E GetCalibrated:   dark cali had done ret=7",
                   "E getSAROffset_api fail type=33171015, ret=1084227584",
                   "E getSAROffset_api fail type=33171015, ret=1084227584",
                   "E getLuxChannelScale_api fail type=33171088, ret=1084227584",
                   "E getLuxChannelScale_api fail type=33171058, ret=1084227584",
                   "E getLuxChannelScale_api fail type=33171007, ret=1084227584", "E anajson als_strm add 1\n",
                   "I GetCalibrated calibrated result out string = 001011000111\n"}));
}

}  // namespace
}  // namespace test
