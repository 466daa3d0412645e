#include <host/wall_clock.h>
#include <limits.h>

#include <cmath>
#include <future>

#include "backlight/steps.h"
#include "lit_phone.h"

namespace test {
namespace {

using Messages = std::vector<Message>;

constexpr char kLux[] = "sys.backlight.lux";
constexpr char kHubFailed[] = "E setAlsBacklightLuxCali_api failed\n";

std::string text(float value) { return std::to_string(value); }

Lines high_lux_line(const std::string& lux) { return {"D test_nusensor_backlight get sys_back_lux = " + lux}; }

TEST(BacklightLux, HighRun) {
  const struct {
    int type;
    float lux;
    const char* text;
    int sent;
    int result;
  } cases[] = {{5, 120.4F, "120.000000", 120, 0},
               {33171080, 119.5F, "120.000000", 120, -4},
               {33171084, -0.7F, "0.000000", 0, 0},
               {5, -1.6F, "-1.000000", -1, 0},
               {5, NAN, "0.000000", 0, 5}};
  for (const auto& c : cases) {
    LitPhone lit;
    lit.see(c.type, {c.lux});
    lit.phone.hub->reply(26, {0, c.result});
    _sensor_info& record = lit.record(c.type);
    record.in_calibrate = record.backlight_retry = 1;
    record.bias_threshold[1] = 3;
    const LogCapture log;
    EXPECT_EQ(lit.phone.cal->lcdbacklight_lux_calibrate(c.type, 13), c.result);
    const std::string lux = c.text;
    const Lines found = {"D test_nusensor_backlight in CAL_STATE_SUCCESS \n", "D test_nusensor_backlight " + lux,
                         "D test_nusensor_backlight set ok", "D test_nusensor_backlight get sys_back_lux_1 = " + lux};
    EXPECT_EQ(library_lines(log),
              maximum_lines() + set_lines(4095, false) + found + (c.result == 0 ? Lines() : Lines{kHubFailed}));
    EXPECT_EQ(lit.phone.hub->sent(), Messages{message(c.type, 26, {13, 4095, c.sent})});
    EXPECT_EQ(host::all_properties().at(kLux), lux);
    EXPECT_EQ(lit.phone.queue->enabled(), (std::vector<Enabling>{{c.type == 5 ? 109 : 115, 200000, 0}}));
    EXPECT_EQ(record.event_count, 15);
    EXPECT_EQ(record.mean[0], static_cast<float>(c.sent));
    EXPECT_EQ(record.bias_threshold[1], 3.0F);
    EXPECT_EQ(record.in_calibrate + record.backlight_retry + record.in_backlight_calibrate, 0);
  }
  LitPhone lit;
  lit.refuse_runs();
  lit.light().mean[0] = 7.4F;
  EXPECT_EQ(lit.phone.cal->lcdbacklight_lux_calibrate(5, 13), -1);
  EXPECT_EQ(lit.light().mean[0], 7.4F);  // not rounded
  EXPECT_EQ(host::all_properties().count(kLux), 0U);
  EXPECT_TRUE(lit.phone.hub->sent().empty());
  EXPECT_EQ(half_up(0.49999997F), 0.0F);  // a sum in single precision would be 1
}

TEST(BacklightLux, TypesAndLevels) {
  SensorCalibration lost;  // no services at all
  LitPhone lit;
  lit.see(5, {3});
  for (const int type : {33171007, 1, 33171054, 33171055, 33171089}) {
    const LogCapture log;
    EXPECT_EQ(lit.phone.cal->lcdbacklight_lux_calibrate(type, 13), -1);
    EXPECT_TRUE(log.all().empty());
  }
  lit.light().event_count = lit.light().zero_variance_check = 1;
  EXPECT_EQ(lit.phone.cal->lcdbacklight_lux_calibrate(5, 12), -1);  // prepared all the same
  EXPECT_EQ(settings(lit.light()), std::tuple(200, 1, 10, 10, 10000.0F, 0, 10000.0F, 5, 0));
  EXPECT_EQ(lit.device.read(kBrightness), "1");
  for (const int level : {13, 14}) EXPECT_EQ(lost.lcdbacklight_lux_calibrate(5, level), -1);
  // Called directly, a level takes every type that has a record, and runs it as it stands.
  EXPECT_EQ(lit.phone.cal->lcdbacklight_high_calibrate(33171007), 0);
  EXPECT_EQ(lit.phone.hub->sent(), Messages{message(33171007, 26, {13, 4095, 3})});
  EXPECT_EQ(lit.phone.cal->lcdbacklight_high_calibrate(8), -1);
  EXPECT_EQ(lit.phone.cal->lcdbacklight_low_calibrate(33171054), -1);
  EXPECT_EQ(lit.phone.cal->lcdbacklightcct_high_calibrate(8), -1);
  EXPECT_EQ(lit.phone.cal->lcdbacklightcct_low_calibrate(33171054), -1);
}

TEST(BacklightLux, SingleLowRun) {
  constexpr int kNothing = -1000;
  const struct {
    const char* high;   // property
    float high_value;   // of it, as the lines show it
    float lux;          // seen; in a refused run the record's old mean
    const char* limit;  // property
    const char* limit_value;
    int max_equal;
    int sent;
    int result;
    const char* outcome;  // lines that follow: = equal, > higher, 0 forced to zero, ! hub failed, as + with a positive
                          // result; R: refused run
    int type = 5;
  } cases[] = {
      {"20", 20, 12, "", "0.000000", 5, 12, 0, ""},
      {"29.9999", 29.9999F, 10, "", "0.000000", 5, 10, 0, ""},
      {"-5", -5, 7, "", "0.000000", 5, 7, 0, ""},
      {"20", 20, 12, "", "0.000000", 5, 12, -4, "!"},
      {"20", 20, 12, "", "0.000000", 5, 12, 5, "+"},
      // Equal above the limit; up to the limit the low value goes one below the high one.
      {"20", 20, 20, "", "0.000000", 5, kNothing, -1, "="},
      {"6.9", 6.9F, 6, "", "0.000000", 5, kNothing, -1, "="},
      {"20", 20, 20, "20", "20.000000", 20, 19, 0, ">"},
      {"20", 20, 20, "1e30", "1000000015047466219876688855040.000000", INT_MAX, 19, 0, ">"},
      {"5", 5, 5, "0.9", "0.900000", 5, 4, 0, ">"},
      {"5", 5, 5, "1", "1.000000", 1, kNothing, -1, "="},
      {"5", 5, 5, "nan", "nan", 5, 4, 0, ">"},
      {"20.7", 20.7F, 90, "text", "0.000000", 5, 19, 0, ">"},
      // Forced to zero: without a high run, with a garbled one, and where one less is zero. Always sent for type 5.
      {"", 0, 3, "", "0.000000", 5, 0, 0, ">0", 33171080},
      {"nan", NAN, 3, "", "0.000000", 5, 0, 0, ">0"},
      {"1", 1, 1, "", "0.000000", 5, 0, 0, ">0"},
      // Not forced: 0.5 is sent as 0.
      {"1.5", 1.5F, 2, "", "0.000000", 5, 0, 0, ">", 33171080},
      {"20", 20, 0, "", "0.000000", 5, 0, -1, "0!"},
      // A run that failed leaves the record's old mean, which is judged.
      {"20", 20, 7, "", "0.000000", 5, kNothing, -1, "R"},
      {"20", 20, 0, "", "0.000000", 5, 0, 0, "R0"},
  };
  for (const auto& c : cases) {
    LitPhone lit;
    const std::string outcome = c.outcome;
    const auto expects = [&](char mark) { return outcome.find(mark) != std::string::npos; };
    host::force_property(kLux, c.high);
    host::force_property("sys.backlight.max_equal_spec", c.limit);
    lit.phone.hub->reply(26, {0, expects('!') ? -4 : expects('+') ? 5 : 0});
    lit.see(c.type, {c.lux});
    if (expects('R')) lit.refuse_runs();
    lit.record(c.type).mean[0] = c.lux;
    lit.record(c.type).backlight_retry = 1;

    const std::string limit = std::to_string(c.max_equal), lux = text(c.lux);
    Lines lines = maximum_lines() + high_lux_line(c.high) + set_lines(3072);
    if (expects('R')) lines.push_back("E Fail to enable sensor light");
    const std::string seen = "E test_nusensor_backlight get max equal spec = ";
    lines = lines + Lines{seen + c.limit + ", lux  = " + lux + " (in low cal) ",
                          "E test_nusensor_backlight max_equal_spec_float = " + std::string(c.limit_value) +
                              ",default_equal_spec = " + limit};
    const std::string low = "E lcdbacklight_low_calibrate ", values = "(" + text(c.high_value) + ", " + lux + ")\n";
    if (expects('=')) lines.push_back(low + "high equal low and than default_equal_spec(" + limit + ") lux: " + values);
    if (expects('>')) lines.push_back(low + "low is higher than high: " + values);
    if (expects('0')) lines.push_back(low + "set low force to 0\n");
    if (expects('!') || expects('+')) lines.push_back(kHubFailed);

    const LogCapture log;
    EXPECT_EQ(lit.phone.cal->lcdbacklight_lux_calibrate(c.type, 14), c.result) << c.high << " " << c.limit;
    EXPECT_EQ(library_lines(log), lines);
    const Messages sent = {message(expects('0') ? 5 : c.type, 26, {14, 3072, c.sent})};
    EXPECT_EQ(lit.phone.hub->sent(), c.sent == kNothing ? Messages() : sent) << c.high;
    EXPECT_EQ(lit.record(c.type).mean[0], expects('0') ? 0 : expects('>') ? c.high_value - 1 : c.lux);
    EXPECT_EQ(lit.record(c.type).backlight_retry + lit.record(c.type).in_backlight_calibrate, 0);
  }
}

TEST(BacklightLux, SteppedLowRun) {
  const struct {
    const char* high;
    float lux;
    int sent;
    std::vector<int> levels;
    int result;
  } cases[] = {
      {"40", 3, 3, {2047}, 0},
      {"30", 9.4F, 9, {2047}, 0},
      {"1e30", 0.6F, 1, {2047}, -4},
      // Announced by the event side but outside the target once rounded: one more measurement, whatever it finds.
      {"inf", 0.3F, 0, {2047, 2559}, 5},
      {"40", 9.6F, 10, {2047, 1535}, 0},
  };
  for (const auto& c : cases) {
    LitPhone lit;
    host::force_property(kLux, c.high);
    lit.see(5, {c.lux});
    lit.phone.hub->reply(26, {0, c.result});
    const LogCapture log;
    EXPECT_EQ(lit.phone.cal->lcdbacklight_lux_calibrate(5, 14), c.result) << c.lux;
    Lines lines = maximum_lines() + high_lux_line(c.high);
    for (const int level : c.levels) lines = lines + set_lines(level);
    EXPECT_EQ(library_lines(log), lines + (c.result == 0 ? Lines() : Lines{kHubFailed}));
    EXPECT_EQ(lit.phone.hub->sent(), Messages{message(5, 26, {14, c.levels.back(), c.sent})});
    EXPECT_EQ(lit.light().retry_count, static_cast<int>(c.levels.size()));
    // Events are counted anew in each measurement.
    EXPECT_EQ(settings(lit.light()), std::tuple(200, 1, 10, 5, 10000.0F, 0, 10000.0F, 5, 10));
    EXPECT_EQ(lit.light().backlight_retry + lit.light().in_backlight_calibrate, 0);
  }
  LitPhone lit;
  host::force_property(kLux, "40");
  lit.refuse_runs();
  lit.light().mean[0] = 3;
  EXPECT_EQ(lit.phone.cal->lcdbacklight_low_calibrate(5), -1);
  EXPECT_TRUE(lit.phone.hub->sent().empty());
}

// The event side keeps a first mean outside (0, 10) to itself, so that the flow waits its time out.
TEST(BacklightLux, SteppedLowRunCannotLeaveBrightLight) {
  LitPhone lit;
  host::force_property(kLux, "40");
  lit.see(5, {50});
  constexpr int64_t kSecond = 1'000'000'000;
  host::step_wall_clock(0);  // waits look at the clock from now on
  auto result = std::async(std::launch::async, [&] { return lit.phone.cal->lcdbacklight_lux_calibrate(5, 14); });
  while (lit.phone.queue->disabled().empty() &&
         result.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
  }
  host::step_wall_clock(8 * kSecond);
  EXPECT_EQ(result.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  host::step_wall_clock(2 * kSecond);
  EXPECT_EQ(result.get(), -1);
  host::step_wall_clock(-10 * kSecond);
  EXPECT_TRUE(lit.phone.hub->sent().empty());
  EXPECT_EQ(lit.light().backlight_retry, 1);  // cleared by the next run only
  EXPECT_EQ(lit.light().in_backlight_calibrate, 0);
}

// Does something between two steps of a flow: when a log line that contains the text comes by.
struct Hook {
  Hook(const char* in_line, std::function<void()> what) : part(in_line), action(std::move(what)) {
    current = this;
    __android_log_set_logger([](const __android_log_message* m) {
      if (strstr(m->message, current->part) != nullptr) current->action();
    });
  }
  ~Hook() {
    __android_log_set_logger([](const __android_log_message*) {});
  }
  static inline Hook* current = nullptr;
  const char* part;
  std::function<void()> action;
};

TEST(BacklightLux, ThingsThatChangeInMidRun) {
  LitPhone lit;
  host::force_property(kLux, "40");
  lit.see(5, {0.3F});
  {
    const Hook hook("setbrightness = 2559", [&] { lit.see(5, {-3}); });  // a second measurement below zero
    EXPECT_EQ(lit.phone.cal->lcdbacklight_lux_calibrate(5, 14), -1);
  }
  const Hook hook("write_int open fd", [&] { lit.device.remove(kBrightness); });  // the read-back fails
  EXPECT_EQ(lit.phone.cal->lcdbacklight_lux_calibrate(5, 13), -1);
  EXPECT_TRUE(lit.phone.hub->sent().empty());
}

TEST(BacklightPanel, Levels) {
  const struct {
    const char* maximum;
    const char* high;  // property of the low run
    int high_level;
    int low_level;
  } cases[] = {{"255\n", "", 255, 192},
               {"", "", 4095, 3072},  // no number: the default
               {"2147483647", "40", INT_MAX, 1073741823},
               {"9999999999", "", INT_MAX, 1610612736},
               {"-9", "40", -9, -4},
               {"0", "", 0, 0}};
  for (const auto& c : cases) {
    LitPhone lit;
    lit.device.write(kMaximum, c.maximum);
    lit.see(5, {3});
    EXPECT_EQ(lit.phone.cal->lcdbacklight_lux_calibrate(5, 13), 0);
    host::force_property(kLux, c.high);
    EXPECT_EQ(lit.phone.cal->lcdbacklight_lux_calibrate(5, 14), 0);
    const Messages sent = lit.phone.hub->sent();
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ((std::vector{sent[0][3], sent[1][3]}), (std::vector{c.high_level, c.low_level})) << c.maximum;
  }
}

TEST(BacklightPanel, Failures) {
  const std::string maximum = kMaximum, write_line = std::string("D write 4095 to ") + kBrightness;
  const std::string read_failed = "E lcdbacklight_calibrate_read_backlight failed\n";
  const std::string write_failed = "E lcdbacklight_calibrate_write_backlight failed\n";
  const Lines not_opened = {write_line, "D write_int open fd=-1\n", write_failed};
  const struct {
    std::string node;
    const char* like;  // the file it is like; null: it is missing
    int result;
    Lines lines;
  } cases[] = {
      {kMaximum, nullptr, -1, {"E read_int failed to open " + maximum + ", error: 2\n", read_failed}},
      {kMaximum, "/sys", -1, {"E read_int success to open " + maximum + "\n", read_failed}},
      {kBrightness, nullptr, -1, maximum_lines() + not_opened},
      {kBrightness, "/dev/full", -1, maximum_lines() + Lines{write_line, "D write_int open fd=N\n", write_failed}},
      // A panel that holds no number counts as 0: a mismatch, which is no failure.
      {kBrightness, "/dev/null", 0,
       maximum_lines() + set_lines(4095, false) +
           Lines{"E lcdbacklight_high_calibrate brightness matching check failed\n"}},
  };
  for (const auto& c : cases) {
    for (const char* colour : {"", "1"}) {
      LitPhone lit;
      host::force_property("persist.vendor.sensor.cct_need_lcdbacklight_cali", colour);
      lit.device.remove(c.node);
      if (c.like != nullptr) lit.device.link(c.node, c.like);
      const LogCapture log;
      EXPECT_EQ(lit.phone.cal->lcdbacklight_lux_calibrate(5, 13), c.result);
      EXPECT_EQ(library_lines(log), c.lines);
      EXPECT_TRUE(lit.phone.hub->sent().empty());
      lit.light().backlight_retry = 1;
      EXPECT_EQ(lit.phone.cal->lcdbacklight_lux_calibrate(5, 14), c.result);
      // The lux run clears it before it sets the panel.
      EXPECT_EQ(lit.light().backlight_retry, *colour == '\0' && c.node == kBrightness ? 0 : 1);
      EXPECT_TRUE(lit.phone.queue->enabled().empty());
    }
  }
}

}  // namespace
}  // namespace test
