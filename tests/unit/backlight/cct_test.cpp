#include <cmath>

#include "lit_phone.h"

namespace test {
namespace {

using Messages = std::vector<Message>;

constexpr char kWanted[] = "persist.vendor.sensor.cct_need_lcdbacklight_cali";
constexpr char kChannel[] = "persist.vendor.sensor.cct_lcdbacklight_b";
constexpr char kLuxFailed[] = "E setAlsBacklightLuxCali_api failed\n";

const Message kScales = message(33171089, 31, {bits(5)});

// Channels as the sensor gives them; the hub's scales are all 2. Its result for them may be positive.
struct ColourPhone : LitPhone {
  explicit ColourPhone(int result = 0) {
    host::force_property(kWanted, "0");  // any text asks for the colour runs
    phone.hub->reply(31, {result, bits(2), bits(2), bits(2), bits(2), bits(2)});
  }
};

Message channels(int type, int level, int brightness, std::array<float, 4> values) {
  return message(type, 27,
                 {bits(static_cast<float>(level)), bits(static_cast<float>(brightness)), bits(values[0]),
                  bits(values[1]), bits(values[2]), bits(values[3])});
}

TEST(BacklightColour, HighRun) {
  for (const int hub : {0, 3, -9}) {
    ColourPhone lit(hub > 0 ? hub : 0);
    lit.phone.hub->reply(27, {hub});
    lit.see(33171080, {0, 10, 20, 31, 41, 50});
    _sensor_info& record = lit.light_pri2();
    record.in_backlight_calibrate = record.backlight_retry = record.in_calibrate = 1;
    const LogCapture log;
    EXPECT_EQ(lit.phone.cal->lcdbacklight_lux_calibrate(33171080, 13), hub);
    const Lines found = {"D test_nusensor_backlight in CAL_STATE_SUCCESS \n", "D test_nusensor_backlight 21.000000",
                         "D test_nusensor_backlight set ok",
                         "D test_nusensor_backlight get sys_back_cct_check = 21.000000"};
    EXPECT_EQ(library_lines(log),
              maximum_lines() + set_lines(4095, false) + found + (hub == 0 ? Lines{} : Lines{kLuxFailed}));
    const Messages sent = {kScales, channels(33171080, 13, 4095, {5, 10, 16, 21})};
    EXPECT_EQ(lit.phone.hub->sent(), sent);
    EXPECT_EQ(host::all_properties().at(kChannel), "21.000000");
    EXPECT_EQ(record.mean[4], 25.0F);
    EXPECT_EQ(record.bias_threshold[4], 10000.0F);
    EXPECT_EQ(record.in_backlight_calibrate + record.backlight_retry + record.in_calibrate, 0);
    EXPECT_EQ(record.in_lcd_cct_calibrate, 1);  // stays set
  }
}

TEST(BacklightColour, NeedsScalesAndARun) {
  for (const int level : {13, 14}) {
    ColourPhone lit;
    lit.phone.hub->reply(31, {-6, bits(3)});
    const LogCapture log;
    EXPECT_EQ(lit.phone.cal->lcdbacklight_lux_calibrate(5, level), -6);
    // The high run sets the panel before it asks for the scales, the low run after.
    EXPECT_EQ(library_lines(log), maximum_lines() + (level == 13 ? set_lines(4095, false) : Lines{}) +
                                      Lines{"E lightsensor_calibrate getLuxScale fail ret = -6"});
    EXPECT_EQ(lit.light().scale[0], 3.0F);  // what the hub answered is kept
    EXPECT_EQ(lit.light().axis_num, 5);
    EXPECT_TRUE(lit.phone.queue->enabled().empty());
  }
  ColourPhone lit;
  lit.refuse_runs();
  lit.light().mean[0] = lit.light().mean[3] = 7.4F;
  EXPECT_EQ(lit.phone.cal->lcdbacklight_lux_calibrate(5, 13), -1);
  EXPECT_EQ((std::vector{lit.light().mean[0], lit.light().mean[3]}), (std::vector{7.4F, 7.4F}));  // not rounded
  EXPECT_EQ(lit.light().in_lcd_cct_calibrate, 1);
  EXPECT_EQ(host::all_properties().count(kChannel), 0U);
}

TEST(BacklightColour, LowRun) {
  const struct {
    const char* high;  // property
    float low;         // fourth channel; in a refused run the record's old mean
    int result;
    const char* outcome;  // lines that follow: > higher, s success, f failed, 0 "forced", ! failed; R: refused run
    int hub = 0;
    int type = 5;
    float shown = low;  // in the line
  } cases[] = {
      {"30.000000", 20.25F, 0, "s"},  // not rounded
      {"30", 5, 0, "s"},
      {"30", 4.75F, 0, "0"},
      {"30", NAN, 0, "0"},
      {"20", 20, 0, "s"},
      {"20", 22.75F, 0, ">s"},
      {"20", 23, -1, ">"},
      {"-1", 90, 0, "s"},  // below zero there is nothing to compare with
      {"nan", 90, 0, "s"},
      {"", 2, 0, ">0"},
      {"", 3, -1, ">"},
      // Sent for type 5, with record 9's value in the line, whichever record ran.
      {"20", 22, 0, ">s", 0, 33171084, 77},
      // A run that failed leaves the record's old means, which are judged.
      {"30", 6, -1, "R"},
      {"30", 5, 0, "R0"},
      {"30", 20, -1, "f", 7},
      {"30", 1, -1, "0!", 5},
  };
  for (const auto& c : cases) {
    ColourPhone lit(c.hub > 0 ? c.hub : 0);
    const std::string outcome = c.outcome;
    const auto expects = [&](char mark) { return outcome.find(mark) != std::string::npos; };
    lit.phone.hub->reply(27, {c.hub});
    host::force_property(kChannel, c.high);
    lit.see(c.type, {0, 1, 1, 1, c.low * 2, 1});
    if (expects('R')) lit.refuse_runs();
    lit.light().mean[3] = 77;
    _sensor_info& record = lit.record(c.type);
    record.in_backlight_calibrate = record.backlight_retry = record.in_calibrate = 1;
    const std::array<float, 4> means = {0.5F, 0.5F, 0.5F, c.low};
    if (expects('R')) std::copy(means.begin(), means.end(), record.mean);

    Lines lines = maximum_lines() + set_lines(3072);
    if (expects('R')) lines.push_back("E Fail to enable sensor light");
    lines.push_back(std::string("D test_nusensor_backlight get sys_back_lux = ") + c.high);
    const std::string low = "E lcdbacklight_low_calibrate ";
    if (expects('>')) lines.push_back(low + "low is higher than high: ( " + std::to_string(c.shown) + ")\n");
    if (expects('s')) lines.push_back("E setCctChannelBacklight_api success\n");
    if (expects('f')) lines.push_back("E setCctChannelBacklight_api failed\n");
    if (expects('0')) lines.push_back(low + "set low force to 0\n");
    if (expects('!')) lines.push_back(kLuxFailed);

    const LogCapture log;
    EXPECT_EQ(lit.phone.cal->lcdbacklight_lux_calibrate(c.type, 14), c.result) << c.high << " " << c.low;
    EXPECT_EQ(library_lines(log), lines);
    Messages sent = {kScales};
    if (expects('s') || expects('f') || expects('0')) sent.push_back(channels(5, 14, 3072, means));
    EXPECT_EQ(lit.phone.hub->sent(), sent) << c.high << " " << c.low;
    EXPECT_EQ(record.in_lcd_cct_calibrate + record.in_backlight_calibrate + record.backlight_retry, 0);
    EXPECT_EQ(record.in_calibrate, 0);
  }
}

TEST(UnderOled, AsksTheServiceItself) {
  SensorCalibration lost;  // no services at all
  EXPECT_EQ(lost.underoled_lux_calibrate(5, 8), -1);
  const struct {
    int type;
    int arg;
    bool sends;
  } cases[] = {{5, 8, true}, {5, -3, true}, {8, 11, true}, {8, 10, false}, {33171007, 9, false}};
  const BenchPhone phone;
  phone.hub->reply(0, {bits(-41.5F)});
  for (const auto& c : cases) {
    phone.hub->forget();
    const LogCapture log;
    EXPECT_EQ(phone.cal->underoled_lux_calibrate(c.type, c.arg), c.sends ? -41 : -1);
    const Messages request = {message(0, 0, {bits(1), bits(-11), bits(static_cast<float>(c.arg))})};
    EXPECT_EQ(phone.hub->sent(), c.sends ? request : Messages());
    Lines lines = {"E qvx underoled_lux_calibrate collectCRGB enter\n",
                   "E qvx underoled_lux_calibrate colletCRGB send \n",
                   "E qvx underoled_lux_calibrate collectCRGB return is -41.500000 \n"};
    if (!c.sends) lines.resize(1);
    EXPECT_EQ(library_lines(log), lines);
  }
  phone.hub->transport_fails = true;
  EXPECT_EQ(phone.cal->underoled_lux_calibrate(5, 8), 1);  // its own request
}

}  // namespace
}  // namespace test
