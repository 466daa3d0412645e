// A value that is not what was wanted does not pass, whoever lies: the sensor, the hub or the panel.
#include <map>
#include <sstream>

#include "files/json_text.h"
#include "files/whole_file.h"
#include "record/why.h"
#include "station.h"

namespace plan_test {
namespace {

using ::testing::Contains;
using ::testing::Field;

struct Row {
  const char* fault;
  const char* steps;  // pass without the fault
  const char* code;
  const char* text;
  const char* before = "";  // steps that make the phone as the factory has it by then; they pass
  const char* profile = "reference";
};

constexpr char kLampLit[] = R"({"fixture": {"lux": "200 lux", "dark-box": "off"}})";
constexpr char kColour[] = R"({"calibrate": "CCT_F_strm", "golden": [800, 1200, 600, 2000, 400, 300, 200]})";
constexpr char kDark[] = R"({"fixture": {"dark-box": "on"}})";
constexpr char kFull[] = R"({"calibrate": "Lux", "param": 13})";
constexpr char kAcc[] = R"({"calibrate": "Acc"})";
constexpr char kPrx[] = R"({"fixture": {"target": "none"}}, {"calibrate": "Prx"})";
constexpr char kLux[] = R"({"calibrate": "Lux"})";
constexpr char kLuxB[] = R"({"calibrate": "Lux_B"})";
constexpr char kSar[] = R"({"fixture": {"target": "none"}}, {"calibrate": "33171015"})";
constexpr char kTof[] = R"({"calibrate": "Tof", "param": 5}, {"fixture": {"target": "10 cm"}},
                           {"calibrate": "Tof", "param": 6})";
constexpr char kThresholds[] =
    R"({"fixture": {"target": "none"}}, {"calibrate": "Prx"}, {"fixture": {"target": "3 cm"}},
                                  {"calibrate": "Prx", "param": 2})";
constexpr char kPrxNear[] = R"({"fixture": {"target": "3 cm"}}, {"calibrate": "Prx", "param": 2})";

const Row kRows[] = {
    // What was written is what reads back, and the plan's golden values are the plan's.
    {"hub-word:29,1,1333.0", kColour, "stored.differs", "golden: 800 was written", kLampLit},
    {"hub-word:31,2,1.35", kColour, "stored.differs", "channel-scales: ", kLampLit},
    {"hub-word:1,1,0.0", kAcc, "stored.differs", "offset: "},
    {"hub-word:22,0,0.0", R"({"calibrate": "Bar"})", "stored.differs", "offset: "},
    {"hub-word:10,0,1.0", kLux, "stored.differs", "scale: ", kLampLit},
    {"hub-word:6,0,77", kPrxNear, "stored.differs", "near: ", kPrx},
    {"hub-word:6,1,77", kPrxNear, "stored.differs", "far: ", kPrx, "normal-proximity"},
    {"hub-word:6,2,5", kPrx, "stored.differs", "crosstalk: ", "", "normal-proximity"},
    // A sensor that scatters does so on every axis, in the run and afterwards, and is heard itself.
    {"stuck:Acc,9.81,2", kAcc, "sensor.stuck", "z: all samples are "},
    {"stuck:Gyr,0.01,1", R"({"verify": "Gyr", "limits": {"noise": "10 mrad/s"}})", "sensor.stuck",
     "y: all samples are "},
    {"stuck:Gyr,0.001", R"({"calibrate": "Gyr"})", "sensor.stuck", "x: "},
    {"silent:Gyr", R"({"calibrate": "Gyr"})", "sensor.silent", "not verified: Gyr: only 0 of"},
    {"nan:Gyr", R"({"calibrate": "Gyr"})", "value.outside", "Gyr itself, x: residual"},
    {"motion:Gyr,1", R"({"calibrate": "Gyr"})", "value.outside", "Gyr itself, "},
    // Whatever has a part in a calibration works: what was listened to, and what applications get.
    {"silent:Prx", kPrx, "sensor.silent", "the proximity sensor does not report"},
    {"nan:Prx", kPrx, "sensor.no_number", "the proximity sensor's state"},
    {"enable-refused:Prx", kPrx, "sensor.refused", "could not be enabled"},
    {"nan:Prx", R"({"calibrate": "Prx", "param": 5})", "sensor.no_number", "the proximity sensor's state", "", "tof"},
    {"out-of-range:Prx,900", kPrx, "near.wrong", "says near and should say far"},
    {"wrong-handle:Lux_B_strm", kLuxB, "sensor.silent", "not verified: Lux_B_strm: only 0 of", kLampLit},
    {"out-of-range:Lux_B_strm,98", R"({"calibrate": "Lux_B_strm"})", "value.outside", "Lux_B itself, light: residual",
     kLampLit},
    {"nan:CCT_F", kColour, "value.outside", "CCT_F itself, value: mean", kLampLit},
    {"nan:CCT_F", R"({"calibrate": "CCT_F_strm", "param": -1})", "value.outside", "CCT_F itself, value: mean nan",
     kLampLit},
    {"nan:33171007", R"({"calibrate": "Lux", "param": 9}, {"calibrate": "33171007", "param": 11})", "value.outside",
     "light stream itself, c1: mean nan", kDark},
    {"nan:33171015", kSar, "value.outside", "SAR 1 itself, c1: residual nan"},
    {"out-of-range:33171015,100", kSar, "value.outside", "SAR 1 itself, c1: residual"},
    {"hub-word:4,0,-5", kSar, "value.outside", "the hub, c1: offset nan"},
    {"out-of-range:Tof,50", kTof, "value.outside", "Tof itself, distance: residual"},
    {"wrong-fixture:lux=dark", R"({"calibrate": "Lux", "param": 12})", "value.outside", "Lux itself, light: mean",
     R"({"fixture": {"lux": "2000 lux"}})"},
    // Light that moves is seen whatever the plan leaves out.
    {"motion:Lux,5", kLux, "value.outside", "light: noise", kLampLit},
    // What the hub refuses is not taken, though the library asks no more and the value reads back.
    {"hub-word:21,0,-5", R"({"calibrate": "Bar"})", "hub.refused", "the hub answered -5 to set-bar-offset"},
    {"hub-word:9,0,-5", R"({"write": "Lux", "value": "scale", "to": "0.9"})", "hub.refused",
     "the hub answered -5 to set-lux-scale"},
    {"hub-word:5,0,-1", kPrxNear, "hub.refused", "the hub answered -1 to set-prx", kPrx, "normal-proximity"},
    // What is filed is what the chip measured.
    {"hub-word:7,0,500", kPrx, "stored.differs", "crosstalk: 500 was"},
    {"stuck:33171005", kPrx, "sensor.stuck", "reflection: all samples are 0 counts", "", "normal-proximity"},
    // The library goes on without the file that a step starts from.
    {"garbled:/mnt/vendor/persist/sensors/PSensor3cm_ct.txt", kPrx, "stored.unreadable",
     "PSensor3cm_ct.txt cannot be read", kThresholds, "normal-proximity"},
    {"persist-absent", R"({"fixture": {"target": "none"}}, {"calibrate": "Prx", "param": 19})", "stored.unreadable",
     "PSensor3cm_ct.txt cannot be read", kThresholds, "normal-proximity"},
    // A level belongs to the brightness that it is stored for.
    {"truncated:/sys/class/leds/lcd-backlight/max_brightness", kFull, "panel.refused",
     "the panel names 40 as its greatest brightness, and takes more: nothing was sent", kDark},
    {"garbled:/sys/class/leds/lcd-backlight/max_brightness", kFull, "panel.refused",
     "the panel's greatest brightness cannot be read", kDark},
};

TEST(FalsePass, WhatIsNotAsWantedFails) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.steps + std::string(" ") + row.fault);
    Station station(row.profile);
    const std::string steps = row.before + std::string(*row.before == '\0' ? "" : ", ") + row.steps;
    ASSERT_EQ(station.run(steps).outcome, Outcome::passed) << "without the fault";
    station.options.fault = {row.fault};
    const Station::Ran ran = station.run(steps);
    EXPECT_EQ(ran.outcome, Outcome::failed);
    const auto wrong = std::find_if(ran.steps.begin(), ran.steps.end(),
                                    [](const Step& step) { return step.outcome != Outcome::passed; });
    if (wrong == ran.steps.end()) continue;
    const Attempt& attempt = wrong->attempts.at(0);
    EXPECT_EQ(attempt.reasons[0].code, row.code);
    EXPECT_THAT(attempt.reasons[0].text, ::testing::HasSubstr(row.text));
    EXPECT_FALSE(attempt.hints.empty());
    if (row.code != std::string("stored.differs")) continue;
    // Nor is it known what it holds now.
    EXPECT_EQ(attempt.reasons.back().code, factory::record::Why::old_values_lost.code);
    EXPECT_FALSE(attempt.put_back);
  }
}

// Whether some look at the sensor itself, not at what another step left, failed.
bool fails_itself(const Station::Ran& ran, const std::string& tag) {
  return std::any_of(ran.steps.begin(), ran.steps.end(), [&](const Step& step) {
    return step.tag == tag && step.outcome == Outcome::failed &&
           step.attempts.back().reasons[0].code != factory::record::Why::not_calibrated.code;
  });
}

struct Shipped {
  std::string name;
  std::string text;
  factory::plan::Plan plan;
};

std::vector<Shipped> shipped_plans() {
  std::vector<Shipped> out;
  for (const auto& file : std::filesystem::directory_iterator(PROJECT_DIR "/plans")) {
    if (file.path().extension() != ".json") continue;
    std::vector<std::string> problems;
    out.push_back(
        {file.path().stem(), *factory::read_file(file.path()), factory::plan::read_plan(file.path(), &problems)});
    EXPECT_THAT(problems, ::testing::IsEmpty());
  }
  return out;
}

// The steps at the lit panel wait for a sensor that repeats a value, and say nothing new of it.
std::string without_panel(const std::string& text) {
  Json::Value plan;
  std::istringstream(text) >> plan;
  Json::Value steps(Json::arrayValue);
  for (const Json::Value& step : plan["steps"]) {
    if (step["group"].asString().rfind("panel", 0) != 0) steps.append(step);
  }
  plan["steps"] = steps;
  return factory::json_pretty(plan);
}

// What need not scatter shows that it repeats a value under a second stimulus alone: every shipped plan has one for
// each sensor that it calibrates.
TEST(FalsePass, ASensorThatRepeatsAValueFailsEveryShippedPlan) {
  const std::pair<const char*, const char*> kStuck[] = {
      {"Lux", "150"},       {"Lux_F", "150"},       {"Lux_B", "150"},    {"Lux_sec", "150"},
      {"Lux_pri2", "150"},  {"CCT_F_strm", "1000"}, {"33171007", "150"}, {"CCT_B_strm", "1000"},
      {"33171015", "5000"}, {"33171016", "5200"},   {"Tof", "115"},      {"Prx", "500"},
  };
  const std::vector<Shipped> plans = shipped_plans();
  ASSERT_GT(plans.size(), 9U);
  for (const Shipped& shipped : plans) {
    SCOPED_TRACE(shipped.name);
    EXPECT_THAT(shipped.plan.notes, ::testing::IsEmpty());
    if (shipped.plan.phones.empty()) continue;  // inertial sensors alone
    Station station(shipped.name);
    const std::string text = without_panel(shipped.text);
    // Its failure ends the group that Tof is looked at in.
    for (const bool proximity : {false, true}) {
      const auto is_tried = [&](const char* tag) { return (tag == std::string("Prx")) == proximity; };
      station.options.fault.clear();
      for (const auto& [tag, value] : kStuck) {
        if (is_tried(tag))
          station.options.fault.push_back(std::string("stuck:") + (proximity ? "33171005" : tag) + "," + value);
      }
      const Station::Ran ran = station.run(plan_from(text));
      for (const auto& [tag, value] : kStuck) EXPECT_TRUE(!is_tried(tag) || fails_itself(ran, tag)) << tag;
    }
  }
}

// A report that leaves out what the phone has, or calls calibrated what none can be, does not pass.
TEST(FalsePass, AReportIsHeldAgainstThePhone) {
  const std::pair<const char*, const char*> kReports[] = {
      {"no-property:persist.vendor.sensor.cali_sensor", "leaves it out: persist.vendor.sensor.cali_sensor is not set"},
      {"property:persist.vendor.sensor.cali_sensor=x0", "Gyr is not calibrated: "},
      {"property:persist.vendor.sensor.cali_sensor=0", "leaves it out: persist.vendor.sensor.cali_sensor is '0'"},
      {"hub-word:4,0,-5", "no offset can be so, whatever the report says: it goes from -65535 to 65535"},
      {"hub-word:31,0,-5", "the hub answered -5: the report then judges the value of the position before"},
  };
  constexpr char kReport[] = R"({"check": "report"})";
  Station station;
  ASSERT_EQ(station.run(plan_from(*factory::read_file(PROJECT_DIR "/plans/reference.json"))).outcome, Outcome::passed);
  ASSERT_EQ(station.run(kReport).outcome, Outcome::passed);
  for (const auto& [fault, reason] : kReports) {
    station.options.fault = {fault};
    const Station::Ran ran = station.run(kReport);
    EXPECT_EQ(ran.outcome, Outcome::failed) << fault;
    EXPECT_THAT(ran.attempt(0).reasons, Contains(::testing::HasSubstr(reason)));
  }
}

// An operator is asked where the fixture changes, and for all of it at once.
TEST(FalsePass, ShippedPlansAskSeldom) {
  for (const Shipped& shipped : shipped_plans()) {
    std::map<std::string, std::string> world;
    int asked = 0;
    for (const auto& block : shipped.plan.blocks) {
      for (const auto& step : block.steps) {
        const auto before = world;
        for (const auto& [key, value] : step.world) world[key] = value;
        if (world != before) ++asked;
      }
    }
    EXPECT_LE(asked, 8) << shipped.name;
  }
}

TEST(FalsePass, APlanIsToldWhatItCannotSee) {
  const std::pair<const char*, const char*> kPlans[] = {
      {R"({"calibrate": "Lux"})", "Lux is looked at under one lux only"},
      {R"({"fixture": {"lux": "200 lux"}}, {"calibrate": "Lux"}, {"fixture": {"lux": "2000 lux"}},
          {"verify": "Lux", "limits": {"residual": "5 %"}})",
       ""},
      {R"({"fixture": {"target": "none"}}, {"calibrate": "33171015"},
          {"verify": "33171015", "limits": {"high": "20 counts"}})",
       "SAR 1 is looked at under one target only"},
      {R"({"calibrate": "Tof", "param": 6})", "Tof is not looked at under any target"},
      {R"({"calibrate": "Acc"}, {"calibrate": "Lux", "param": 4})", ""},
  };
  for (const auto& [steps, told] : kPlans) {
    std::string notes;
    for (const std::string& note : plan_of(steps).notes) notes += note;
    EXPECT_EQ(notes.substr(0, notes.find(':')), told) << steps;
  }
}

// An old value that was put back, or none at all, is not the result of a calibration that came to nothing.
TEST(FalsePass, WhatWasNotCalibratedDoesNotLookGood) {
  const std::string stopped =
      R"({"group": "g", "on_failure": "go on", "steps": [{"calibrate": "Acc"}, {"calibrate": "Gyr"}]})";
  const char* const kLooks[] = {
      R"({"check": "Gyr", "value": "offset", "limits": {"low": "-6 deg/s", "high": "6 deg/s"}})",
      R"({"verify": "Gyr", "limits": {"noise": "10 mrad/s"}})",
      R"({"check": "report", "positions": ["Gyr"]})",
  };
  Station station;
  ASSERT_EQ(station.run(R"({"calibrate": "Gyr"})").outcome, Outcome::passed);  // an earlier day
  station.options.fault = {"nan:Acc"};
  for (const char* look : kLooks) {
    const Station::Ran ran = station.run(stopped + ", " + look);
    ASSERT_EQ(ran.steps[1].outcome, Outcome::skipped);
    EXPECT_EQ(ran.steps[2].outcome, Outcome::failed) << look;
    EXPECT_THAT(ran.attempt(2).reasons, Contains(::testing::HasSubstr("calibrate Gyr, step 2, did not pass")));
  }
  // Another sensor's failure, or what the look does not show, is none of its business.
  EXPECT_EQ(
      station.run(stopped + R"(, {"check": "Bar", "value": "offset", "limits": {"high": "3 hPa"}})").steps[2].outcome,
      Outcome::passed);
}

// A level at another brightness than the plan's panel has would be taken for its full light.
TEST(FalsePass, ThePlanSaysWhatFullBrightnessIs) {
  const auto level = [](const char* brightness) {
    return std::string(kDark) + R"(, {"calibrate": "Lux", "param": 13, "brightness": )" + brightness + "}";
  };
  Station station;
  EXPECT_EQ(station.run(level("4095")).outcome, Outcome::passed);
  const Station::Ran ran = station.run(level("2047"));
  EXPECT_EQ(ran.outcome, Outcome::failed);
  EXPECT_EQ(ran.attempt(1).reasons.at(0).text,
            "the panel names 4095 as its greatest brightness, and the plan 2047: nothing was sent to the hub");
  EXPECT_FALSE(ran.attempt(1).kept);
}

}  // namespace
}  // namespace plan_test
