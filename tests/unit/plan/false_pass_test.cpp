// A value that is not what was wanted does not pass, whoever lies: the sensor, the hub or the panel.
#include "station.h"

namespace plan_test {
namespace {

using ::testing::Contains;
using ::testing::Field;

struct Row {
  const char* what;
  const char* profile;
  const char* fault;
  const char* before;  // steps that make the phone as the factory has it by then; they pass
  const char* steps;   // pass without the fault
  const char* code;
  const char* text;
};

constexpr char kLampLit[] = R"({"fixture": {"lux": "200 lux", "dark-box": "off"}}, )";
constexpr char kColour[] = R"({"calibrate": "CCT_F_strm", "golden": [800, 1200, 600, 2000, 400, 300, 200]})";
constexpr char kDark[] = R"({"fixture": {"dark-box": "on"}})";
constexpr char kFull[] = R"({"calibrate": "Lux", "param": 13})";
constexpr char kAcc[] = R"({"calibrate": "Acc"})";
constexpr char kPrx[] = R"({"fixture": {"target": "none"}}, {"calibrate": "Prx"})";
constexpr char kPrxNear[] = R"({"fixture": {"target": "3 cm"}}, {"calibrate": "Prx", "param": 2})";

const Row kRows[] = {
    // What was written is what reads back, and the plan's golden values are the plan's.
    {"golden values", "reference", "hub-word:29,1,1333.0", kLampLit, kColour, "stored.differs",
     "golden: 800 was written"},
    {"channel scales", "reference", "hub-word:31,2,1.35", kLampLit, kColour, "stored.differs", "channel-scales: "},
    {"offsets", "reference", "hub-word:1,1,0.0", "", kAcc, "stored.differs", "offset: "},
    {"pressure offset", "reference", "hub-word:22,0,0.0", "", R"({"calibrate": "Bar"})", "stored.differs", "offset: "},
    {"scale", "reference", "hub-word:10,0,1.0", kLampLit, R"({"calibrate": "Lux"})", "stored.differs", "scale: "},
    {"near threshold", "reference", "hub-word:6,0,77", kPrx, kPrxNear, "stored.differs", "near: "},
    {"far threshold", "normal-proximity", "hub-word:6,1,77", kPrx, kPrxNear, "stored.differs", "far: "},
    {"crosstalk", "normal-proximity", "hub-word:6,2,5", "", kPrx, "stored.differs", "crosstalk: "},
    // A level belongs to the brightness that it is stored for.
    {"full brightness", "reference", "truncated:/sys/class/leds/lcd-backlight/max_brightness", kDark, kFull,
     "panel.refused", "the panel names 40 as its greatest brightness, and takes more: nothing was sent"},
    {"no full brightness", "reference", "garbled:/sys/class/leds/lcd-backlight/max_brightness", kDark, kFull,
     "panel.refused", "the panel's greatest brightness cannot be read"},
};

TEST(FalsePass, WhatIsNotAsWantedFails) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.what);
    Station station(row.profile);
    const std::string comma = *row.before != '\0' && row.before[strlen(row.before) - 2] != ',' ? ", " : "";
    const std::string steps = row.before + comma + row.steps;
    ASSERT_EQ(station.run(steps).verdict, Outcome::passed) << "without the fault";
    station.options.fault = {row.fault};
    const Station::Ran ran = station.run(steps);
    EXPECT_EQ(ran.verdict, Outcome::failed);
    const auto wrong = std::find_if(ran.steps.begin(), ran.steps.end(),
                                    [](const Step& step) { return step.outcome != Outcome::passed; });
    if (wrong == ran.steps.end()) continue;
    const Attempt& attempt = wrong->attempts.at(0);
    EXPECT_EQ(attempt.reasons[0].code, row.code);
    EXPECT_THAT(attempt.reasons[0].text, ::testing::HasSubstr(row.text));
    EXPECT_FALSE(attempt.hints.empty());
  }
}

// A level at another brightness than the plan's panel has would be taken for its full light.
TEST(FalsePass, ThePlanSaysWhatFullBrightnessIs) {
  const auto level = [](const char* brightness) {
    return std::string(kDark) + R"(, {"calibrate": "Lux", "param": 13, "brightness": )" + brightness + "}";
  };
  Station station;
  EXPECT_EQ(station.run(level("4095")).verdict, Outcome::passed);
  const Station::Ran ran = station.run(level("2047"));
  EXPECT_EQ(ran.verdict, Outcome::failed);
  EXPECT_EQ(ran.attempt(1).reasons.at(0).text,
            "the panel names 4095 as its greatest brightness, and the plan 2047: nothing was sent to the hub");
  EXPECT_FALSE(ran.attempt(1).kept);
}

}  // namespace
}  // namespace plan_test
