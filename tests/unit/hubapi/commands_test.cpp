#include <limits.h>

#include <algorithm>
#include <limits>

#include "hub_test.h"

namespace test {
namespace {

using Api = SensorCalibrationAPI;

struct Call {
  const char* text;
  std::function<int(Api&, Buffers&)> run;
};
#define CALL(operation)                                                            \
  Call {                                                                           \
#operation, [&](Api & a, [[maybe_unused]] Buffers & b) { return a.operation; } \
  }

constexpr int kAcc2 = 268369921;
constexpr int kGyr2 = 268369924;
constexpr int kSar = 33171015;
constexpr int kSar2 = 33171016;
constexpr int kLuxSec = 33171081;
constexpr int kCct = 33171088;
constexpr int kTof = 33171040;

class Commands : public HubTest {
 protected:
  using Words = std::vector<int32_t>;

  // What is sent for a call, and its outcome when the hub answers with the words `reply`. `floats` and `ints` are what
  // the first of the caller's variables then hold; the others stay.
  void check(const Call& call, const Message& request, const Words& reply, int result, const Lines& written,
             const std::vector<float>& floats = {}, const std::vector<int>& ints = {}) {
    hub->reply(request[1], reply);
    run(call, {request}, result, written, floats, ints);
  }
  void unsent(const Call& call, int result, const Lines& written) { run(call, {}, result, written, {}, {}); }

 private:
  void run(const Call& call, const std::vector<Message>& sent, int result, const Lines& written,
           const std::vector<float>& floats, const std::vector<int>& ints) {
    SCOPED_TRACE(call.text);
    hub->forget();
    log.clear();
    Buffers b;
    EXPECT_EQ(call.run(api, b), result);
    EXPECT_EQ(hub->sent(), sent);
    EXPECT_EQ(lines(), written);
    Buffers expected;
    std::copy(floats.begin(), floats.end(), expected.f);
    std::copy(ints.begin(), ints.end(), expected.i);
    EXPECT_THAT(b.f, ::testing::ElementsAreArray(expected.f));
    EXPECT_THAT(b.i, ::testing::ElementsAreArray(expected.i));
  }
};

const std::vector<int32_t> kAxes = {bits(1.5f), bits(-2.5f), bits(3.5f), bits(4.5f)};
const std::vector<float> kRead = {1.5f, -2.5f, 3.5f};
const std::vector<int32_t> kOffset = {bits(0.25f), bits(1.25f), bits(2.25f)};

TEST_F(Commands, Inertial) {
  const struct {
    int type;
    int32_t set;  // codes; -1: refused
    int32_t get;
    int32_t set_result;
    bool resets;
  } rows[] = {{1, 0, 1, 0, false},     {kAcc2, 0, 1, -5, false}, {4, 2, 3, 7, true},
              {kGyr2, 2, 3, -5, true}, {2, -1, -1, -1, false},   {16, -1, -1, -1, false}};
  for (const auto& row : rows) {
    const std::string shown = "type=" + std::to_string(row.type);
    const std::string before = shown + ", offset= 0.250000,1.250000,2.250000";
    const std::string enter_get = "D getAMGOffset_api: enter getAMGOffset_api " + before;
    const std::string enter_set = "D enter setAMGOffset_api " + before;
    const Call get = CALL(getAMGOffset_api(row.type, b.f)), set = CALL(setAMGOffset_api(row.type, b.f));
    const Call reset = CALL(reset_gyro_cal_api(row.type));
    if (row.set < 0) {
      unsent(get, -1, {enter_get});
      unsent(set, -1, {enter_set});
    } else {
      const std::string exit = "AMGOffset_api " + shown + " ret = 0, offset = {";
      check(get, message(row.type, row.get), kAxes, 0,
            {enter_get, "<sent>", "E getAMGOffset_api: exit get" + exit + "1.500000, -2.500000, 3.500000}"}, kRead);
      Lines written = {enter_set, "<sent>"};
      if (row.set_result != 0) written.push_back("E setAMGOffset_api fail ret=" + std::to_string(row.set_result));
      written.push_back("E setAMGOffset_api: exit set" + exit + "0.250000, 1.250000, 2.250000}");
      check(set, message(row.type, row.set, kOffset), {row.set_result, 9}, row.set_result, written);
    }
    if (row.resets) {
      check(reset, message(row.type, 33), {-7}, 0, {"<sent>"});
    } else {
      unsent(reset, 0, {});
    }
  }
}

TEST_F(Commands, Version) {
  const struct {
    int type;
    unsigned judgeHB;
    const char* lcd;
    int32_t code;  // -1: refused
    float panel;
  } rows[] = {{1, 0, "", 24, -1},         {5, 0, "highlcd", 24, 13},
              {5, 1, "lowlcd", 32, 14},   {kLuxSec, 1, "lowlcd", 0, 14},
              {5, 2, "Lowlcd", 25, -1},   {kLuxSec, 2, "highlcd", 25, 13},
              {1, 2, "highlcd", 0, 13},   {5, 3, "lowlcd", -1, 0},
              {5, 0xffffffffu, "", -1, 0}};
  for (const auto& row : rows) {
    const std::string of_type = "getAMGversion_api type=" + std::to_string(row.type);
    const Call call = CALL(getAMGversion_api(row.type, b.f, row.judgeHB, row.lcd));
    Lines written = {"D getAMGversion_api: enter " + of_type +
                     ", judgeHB = " + std::to_string(static_cast<int>(row.judgeHB))};
    if (row.code < 0) {
      unsent(call, -1, written);
      continue;
    }
    if (row.panel < 0) written.push_back("E getAMGversion_api: msg.threshold[0]=-1.000000");
    written.push_back("E getAMGversion_api: msg.msg_type=" + std::to_string(row.code));
    written.push_back("<sent>");
    written.push_back("E getAMGversion_api: exit " + of_type + " msg.offset_ct[0] = -3, version = {2.500000}");
    check(call, message(row.type, row.code, {bits(1.0f), bits(row.panel)}), {-3, bits(8.5f), bits(2.5f)}, -3, written,
          {2.5f});
  }
}

TEST_F(Commands, Light) {
  check(CALL(getLuxDark_api(b.f, 3)), message(5, 38, {bits(3.0f)}), {bits(6.5f), 9}, 0,
        {"D getLuxScale_api dark 1, dark = 0.250000, type = 3", "<sent>",
         "D getLuxScale_api dark 2, dark = 6.500000, type = 3"},
        {6.5f});
  check(CALL(getLuxScale_api(b.f, true, 33171054)), message(33171054, 10), {bits(6.5f)}, 0,
        {"D getLuxScale_api scale, scale = 0.250000, is_rgb = 1", "<sent>"}, {6.5f});
  check(CALL(setLuxScale_api(1.75f, false, 5)), message(5, 9, {bits(1.75f)}), {-7}, 0,
        {"D setLuxScale_api scale:1.750000, is_rgb = 0", "<sent>"});
  check(CALL(setAlsHighLuxCali_api(5, 17)), message(5, 15, {17}), {1, -2, 3}, -2,
        {"D enter setAlsHighLuxCali_api para=17", "<sent>", "D setAlsHighLuxCali_api return val=0xfffffffe"});
  check(CALL(setAlsChannelDataCali_api(5, 3, 400.5f)), message(5, 23, {bits(3.0f), bits(400.5f)}), {1, 2, bits(-2.9f)},
        -2,
        {"E enter setAlsChannelDataCali_api sensor_type=5, channel=3, target=400.500000", "<sent>",
         "E setAlsChannelDataCali_api return val=-2.900000"});
  check(CALL(postScreenChannelData_api(kLuxSec, 4, 0.5f)), message(kLuxSec, 200, {bits(4.0f), bits(0.5f)}),
        {1, 2, bits(1.0f)}, 1,
        {"E enter setAlsChannelDataCali_api sensor_type=33171081, channel=4, target=0.500000", "<sent>",
         "E setAlsChannelDataCali_api return val=1.000000"});
  check(CALL(setAlsBacklightLuxCali_api(5, 1, 2, 300)), message(5, 26, {1, 2, 300}), {7, 31, 8}, 31,
        {"D enter setAlsBacklightLuxCali_api para=1, backlight=2, lux=300", "<sent>",
         "D setAlsBacklightLuxCali_api return val=0x1f"});
}

TEST_F(Commands, AFloatResultThatIsNoIntSaturates) {
  for (const auto& [word, result] : std::vector<std::pair<float, int>>{
           {1e20f, INT_MAX}, {-1e20f, INT_MIN}, {std::numeric_limits<float>::quiet_NaN(), 0}}) {
    hub->reply(23, {0, 0, bits(word)});
    EXPECT_EQ(api.setAlsChannelDataCali_api(5, 0, 1), result) << word;
  }
}

TEST_F(Commands, Colour) {
  check(CALL(setCctChannelBacklight_api(kCct, 3, 2047, b.f)),
        message(kCct, 27, {bits(3.0f), bits(2047.0f), bits(0.25f), bits(1.25f), bits(2.25f), bits(3.25f)}), {-5, 6}, -5,
        {"E enter setCctChannelBacklight_api sensor_type=33171088", "<sent>",
         "E setCctChannelBacklight_api return val=-5"});
  // The words are read although the result says that they are none.
  check(CALL(getLuxChannelRawGolden_api(5, b.f, 2)), message(5, 29, {bits(2.0f)}),
        {-9, bits(5.5f), bits(6.5f), bits(7.5f)}, -1,
        {"E enter getLuxChannelRawGolden_api sensor_type=5", "<sent>",
         "E getLuxChannelRawGolden_api return offset_ct[0]=-9", "E getLuxChannelRawGolden_api return raw=5.500000",
         "E getLuxChannelRawGolden_api return raw=6.500000"},
        {5.5f, 6.5f});
  check(CALL(getLuxChannelRawGolden_api(5, b.f, 0)), message(5, 29), {4}, 0,
        {"E enter getLuxChannelRawGolden_api sensor_type=5", "<sent>",
         "E getLuxChannelRawGolden_api return offset_ct[0]=4"});
  check(CALL(setLuxChannelRawGolden_api(5, b.f, 2)), message(5, 28, {bits(2.0f), bits(0.25f), bits(1.25f)}), {4}, 4,
        {"E enter setLuxChannelRawGolden_api sensor_type=5", "E setLuxChannelRawGolden_api raw[0] = 0.250000",
         "E setLuxChannelRawGolden_api raw[1] = 1.250000", "<sent>", "E setLuxChannelRawGolden_api return val=4"});
  check(CALL(setLuxChannelScale_api(5, b.f, 1)), message(5, 30, {bits(1.0f), bits(0.25f)}), {-4}, -4,
        {"E enter setLuxChannelScale_api sensor_type=5", "E setLuxChannelScale_api scale[0] = 0.250000", "<sent>",
         "E setLuxChannelScale_api return val=-4"});
  check(CALL(getLuxChannelScale_api(5, b.f, 1)), message(5, 31, {bits(1.0f)}), {3, bits(5.5f)}, 3,
        {"E enter getLuxChannelScale_api sensor_type=5, length: 1", "<sent>",
         "E getLuxChannelScale_api return val=3, length: 1", "D getLuxChannelScale_api scale[0]=5.500000"},
        {5.5f});
  check(CALL(setCCTCaliCmd_api(kCct, 20)), message(kCct, 39, {bits(20.0f)}), {-1, 8}, -1,
        {"D enter [setCCTCaliCmd_api] sensor_type=33171088, cmd_id=20", "<sent>"});
  check(CALL(getCCTCaliRet_api(kCct, -3)), message(kCct, 40, {bits(-3.0f), bits(92.0f)}), {6, 8}, 6,
        {"D enter [getCCTCaliRet_api] sensor_type=33171088, cmd_id=-3", "<sent>"});
}

TEST_F(Commands, SixteenthElementStaysHome) {
  using Operation = int (Api::*)(int, float*, int);
  struct Row {
    Operation operation;
    int32_t code;
    bool reads;
  };
  const Row rows[] = {{static_cast<Operation>(&Api::getSAROffset_api), 4, true},
                      {&Api::setLuxChannelRawGolden_api, 28, false},
                      {&Api::getLuxChannelRawGolden_api, 29, true},
                      {&Api::setLuxChannelScale_api, 30, false},
                      {&Api::getLuxChannelScale_api, 31, true}};
  std::vector<int32_t> reply = {0};
  for (int i = 0; i < 15; ++i) reply.push_back(bits(static_cast<float>(100 + i)));
  for (const Row& row : rows) {
    for (const int length : {-1, 0, 5, 15, 16, INT_MAX}) {
      SCOPED_TRACE(std::to_string(row.code) + " length " + std::to_string(length));
      const int moved = length < 0 ? 0 : std::min(length, 15);
      hub->forget();
      hub->reply(row.code, reply);
      Buffers b;
      EXPECT_EQ((api.*row.operation)(kSar, b.f, length), 0);
      std::vector<int32_t> words = {bits(static_cast<float>(length))};
      for (int i = 0; i < moved && !row.reads; ++i) words.push_back(bits(Buffers::before(i)));
      EXPECT_EQ(hub->sent(), std::vector<Message>{message(kSar, row.code, words)});
      for (int i = 0; i < Buffers::kFloats; ++i) {
        EXPECT_EQ(b.f[i], row.reads && i < moved ? static_cast<float>(100 + i) : Buffers::before(i)) << i;
      }
    }
  }
}

TEST_F(Commands, PressureAndSelfTest) {
  check(CALL(setBarOffset_api(-1.5f)), message(6, 21, {bits(-1.5f)}), {-7}, 0,
        {"D setBarDiff_api diff:-1.500000", "<sent>"});
  check(CALL(getBarOffset_api(b.f)), message(6, 22), {bits(6.5f)}, 0, {"<sent>", "D getBarOffset_api diff = 6.500000"},
        {6.5f});
  check(CALL(setSelftest_api(4)), message(4, 8), {-7, 1}, -7,
        {"<sent>", "I setSelftest_api: SENSOR_SELFTEST sensor_type=4 ret = -7"});
}

TEST_F(Commands, Sar) {
  const std::string enter = "D getSAROffset_api: enter getSAROffset_api type=";
  check(CALL(getSAROffset_api(kSar, b.f)), message(kSar, 4), kAxes, 0,
        {enter + "33171015, offset= 0.250000,1.250000,2.250000", "<sent>",
         "E getSAROffset_api: exit getSAROffset_api type=33171015 ret = 0, offset = {1.500000, -2.500000, 3.500000}"},
        kRead);
  unsent(CALL(getSAROffset_api(8, b.f)), -1, {enter + "8, offset= 0.250000,1.250000,2.250000"});
  check(CALL(getSAROffset_api(kSar2, b.f, 2)), message(kSar2, 4, {bits(2.0f)}), {-6, bits(5.5f), bits(6.5f)}, -6,
        {"E enter getSAROffset_api sensor_type=33171016, length: 2", "<sent>",
         "E getSAROffset_api return val=-6, length: 2", "D getSAROffset_api scale[0]=5.500000",
         "D getSAROffset_api scale[1]=6.500000"},
        {5.5f, 6.5f});
  unsent(CALL(getSAROffset_api(33171017, b.f, 2)), -1, {"E enter getSAROffset_api sensor_type=33171017, length: 2"});
  check(CALL(setSarCal_api(kSar)), message(kSar, 11), {-5}, -5,
        {"<sent>", "E setSarCal_api fail ret=-5", "I setSarCal_api: setSarCal_api sensor_type=33171015 ret = -5"});
  check(CALL(setSarCal_api(kSar)), message(kSar, 11), {0}, 0,
        {"<sent>", "I setSarCal_api: setSarCal_api sensor_type=33171015 ret = 0"});
  check(CALL(setSarSoftCal_api(9)), message(9, 11, {bits(-1.0f)}), {5}, 5,
        {"<sent>", "E setSarCal_api fail ret=5", "I setSarSoftCal_api: setSarCal_api sensor_type=9 ret = 5"});
  check(CALL(setSARreg(kSar, b.i)), message(kSar, 43, {40, 41}), {1, -1}, -1,
        {"E enter setSARreg para1=40, para2=41", "<sent>", "E setSARreg return val=0xffffffff"});
  check(CALL(setSARSECreg(kSar2, b.i)), message(kSar2, 44, {40, 41}), {1, 16}, 16,
        {"E enter setSARSECreg para1=40, para2=41", "<sent>", "E setSARSECreg return val=0x10"});
}

TEST_F(Commands, TimeOfFlight) {
  const std::string done = "I setTofPrxCal_api: tof proxmity type ";
  unsent(CALL(setTofPrxCal_api(kTof, 4)), -1, {});
  unsent(CALL(setTofPrxCal_api(kTof, 8)), -1, {});
  check(CALL(setTofPrxCal_api(kTof, 5)), message(kTof, 12), {-5}, -5,
        {"<sent>", "E setTofPrxCal_api fail ret=-5", done + "33171040 calibration para=12 ret = 0"});
  check(CALL(setTofPrxCal_api(kTof, 6)), message(kTof, 13), {0}, 0,
        {"<sent>", done + "33171040 calibration para=13 ret = 0"});
  check(CALL(setTofPrxCal_api(8, 7)), message(8, 14), {3}, 3,
        {"<sent>", "E setTofPrxCal_api fail ret=3", done + "8 calibration para=14 ret = 0"});
  check(CALL(getTofOffset_api(b.i, 0)), message(kTof, 6, {-1, -1, 0}), {7, 8, -9}, 0,
        {"D enter getTofOffset_api para=0, offset = 40", "<sent>", "D enter getTofOffset_api para=0, offset = -9"}, {},
        {-9});
  unsent(CALL(getTofOffset_api(b.i, 2)), 0,
         {"D enter getTofOffset_api para=2, offset = 40", "E getTofOffset_api para=2 not support"});
}

TEST_F(Commands, ProximityInTheHub) {
  const std::string get = "D enter getPrxOffset_api para=";
  const Words words = {7, 8, -9, 10};
  check(CALL(getPrxOffset_api(b.i, 0, 0)), message(8, 6, {-1, -1, 0}), words, 0,
        {get + "0, offset = 40, supporthwcal 0", "<sent>"}, {}, {-9});
  check(CALL(getPrxOffset_api(b.i, 1, 0)), message(8, 6, {-1, 0, -1}), words, 0,
        {get + "1, offset = 40, supporthwcal 0", "<sent>"}, {}, {8});
  check(CALL(getPrxOffset_api(b.i, 2, 1)), message(8, 6, {0, -1, -1}), words, 0,
        {get + "2, offset = 40, supporthwcal 1", "<sent>"}, {}, {7});
  check(CALL(getPrxOffset_api(b.i, 0, 2)), message(8, 6), words, 0,
        {get + "0, offset = 40, supporthwcal 2", "E getPrxOffset_api para=0 not support", "<sent>"}, {}, {-9});
  check(CALL(getPrxOffset_api(b.i, 4, 0)), message(8, 6), words, 0,
        {get + "4, offset = 40, supporthwcal 0", "E getPrxOffset_api para=4 not support", "<sent>"});
  const std::string set = "D enter setPrxOffset_api offset=55, para=";
  check(CALL(setPrxOffset_api(55, 0, 0)), message(8, 5, {-1, -1, 55}), {-7}, 0,
        {set + "0, supporthwcal=0", "D SensorCalibrationAPI::setPrxOffset_api  msg.threshold[2] = 55\n", "<sent>"});
  check(CALL(setPrxOffset_api(55, 1, 1)), message(8, 5, {-1, 55, -1}), {-7}, 0, {set + "1, supporthwcal=1", "<sent>"});
  check(CALL(setPrxOffset_api(55, 2, 0)), message(8, 5, {55, -1, -1}), {-7}, 0, {set + "2, supporthwcal=0", "<sent>"});
  check(CALL(setPrxOffset_api(55, 0, 2)), message(8, 5), {-7}, 0,
        {set + "0, supporthwcal=2", "E setPrxOffset_api para=0 not support", "<sent>"});
  check(CALL(setPrxOffset_api(55, -1, 0)), message(8, 5), {-7}, 0,
        {set + "-1, supporthwcal=0", "E setPrxOffset_api para=-1 not support", "<sent>"});
  check(CALL(setPrxThreshold_api(-1, 0, 9)), message(8, 5, {-1, 0, 9}), {-7}, 0, {"<sent>"});
  check(CALL(setPrxFroceCal_api(8, &b.i[0], &b.i[1])), message(8, 7), words, 0, {"<sent>"}, {}, {7, 8});
}

}  // namespace
}  // namespace test
