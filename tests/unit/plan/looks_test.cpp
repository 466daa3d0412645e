// Verifications next to each other look at their sensors together, and judge what each would have seen alone.
#include <random>

#include "station.h"

namespace plan_test {
namespace {

using ::testing::IsEmpty;
namespace record = factory::record;

std::string group(const std::string& steps, const std::string& more = "") {
  return R"({"group": "g", "on_failure": "go on")" + more + R"(, "steps": [)" + steps + "]}";
}

constexpr char kLooks[] =
    R"({"verify": "Acc", "samples": 30, "limits": {"residual": "1 m/s^2", "noise": "0.05 m/s^2"}, "on_failure": "go on"},
       {"verify": "Acc2", "samples": 20, "limits": {"residual": "1 m/s^2", "noise": "0.05 m/s^2"}, "on_failure": "go on"},
       {"verify": "Gyr", "samples": 40, "limits": {"residual": "0.1 rad/s", "noise": "5 mrad/s"}, "on_failure": "go on"},
       {"verify": "Lux", "samples": 5, "limits": {"residual": "60 %", "noise": "5 %"}, "on_failure": "go on"})";

double end_of(const record::Attempt& attempt, const record::Run& run) {
  return std::chrono::duration<double>(attempt.started - run.started).count() + attempt.seconds;
}

bool begins_before_the_end_of(const record::Step& later, const record::Step& earlier, const record::Run& run) {
  return std::chrono::duration<double>(later.attempts[0].started - run.started).count() <
         end_of(earlier.attempts[0], run) - 0.002;  // told in milliseconds: a start goes down, a duration may go up
}

TEST(Looks, ArePlannedByTheSensorsThatTheyAreAt) {
  const auto verify = [](const char* tag) {
    return std::string(R"({"verify": ")") + tag + R"(", "limits": {"marginal": "1 %"}})";
  };
  const std::string near = R"({"verify": "Prx", "expect": "near"})";
  const std::string inertial = verify("Acc") + "," + verify("Acc2") + "," + verify("Gyr") + "," + verify("Bar");
  const struct {
    std::string steps;
    size_t together;
    const char* group = "";
    const char* plan = "";
  } kRows[] = {
      {inertial, 4},
      {inertial, 1, R"(, "overlap": false)"},
      {inertial, 1, "", R"(, "overlap": false)"},
      {inertial, 1, R"(, "overlap": true)", R"(, "overlap": false)"},
      {verify("Acc") + "," + R"({"probe": "tof", "expect": true})" + "," + verify("Gyr"), 1},
      {verify("Acc") + "," + verify("Acc2") + "," + verify("Acc"), 2},
      // Two types of one chip.
      {verify("Acc") + "," + verify("Gyr") + "," + verify("16"), 2},
      {verify("Lux") + "," + verify("Lux_B") + "," + verify("Lux_B_strm"), 2},
      {verify("CCT_F_strm") + "," + verify("33171007") + "," + verify("Lux"), 2},
      // Those that others would see.
      {verify("33171015") + "," + verify("33171016"), 1},
      {verify("Acc") + "," + verify("Tof") + "," + verify("Lux"), 1},
      {verify("Acc") + "," + near, 1},
      {near + "," + verify("Acc"), 1},
  };
  for (const auto& row : kRows) {
    const auto plan = plan_of(group(row.steps, row.group), row.plan);
    EXPECT_EQ(looks_together(plan.blocks.at(0), 0), row.together) << row.steps << row.group << row.plan;
  }
}

// The same measurements, as far as their samples' noise lets them.
void expect_alike(const record::Step& a, const record::Step& b) {
  const auto& one = a.attempts.at(0).measurements;
  const auto& other = b.attempts.at(0).measurements;
  ASSERT_EQ(one.size(), other.size());
  for (size_t m = 0; m < one.size(); ++m) {
    EXPECT_EQ(one[m].name, other[m].name);
    if (!one[m].standard_error) continue;
    EXPECT_NEAR(one[m].value, other[m].value, 6 * *one[m].standard_error + 1e-9)
        << a.name << " " << one[m].name << " " << one[m].axis;
  }
}

TEST(Looks, FindWhatTheyFindOneByOne) {
  Station together, alone;
  together.options.speed = alone.options.speed = "20";
  const record::Run a = together.record(group(kLooks));
  const record::Run b = alone.record(group(kLooks, R"(, "overlap": false)"));
  EXPECT_EQ(a.outcome, record::Outcome::passed);
  ASSERT_EQ(b.outcome, a.outcome);
  for (size_t i = 0; i < a.steps.size(); ++i) {
    const record::Attempt& one = a.steps[i].attempts.at(0);
    const record::Attempt& other = b.steps[i].attempts.at(0);
    EXPECT_EQ(a.steps[i].outcome, b.steps[i].outcome);
    EXPECT_EQ(one.window->samples.size(), other.window->samples.size());
    expect_alike(a.steps[i], b.steps[i]);
    if (i == 0) continue;
    EXPECT_TRUE(begins_before_the_end_of(a.steps[i], a.steps[0], a)) << a.steps[i].name;
    EXPECT_FALSE(begins_before_the_end_of(b.steps[i], b.steps[i - 1], b)) << b.steps[i].name;
  }
}

constexpr char kCalibrations[] =
    R"({"calibrate": "Acc", "on_failure": "go on"}, {"calibrate": "Acc2", "on_failure": "go on"},
       {"calibrate": "Gyr", "on_failure": "go on"}, {"calibrate": "Lux", "on_failure": "go on"})";

double span_of(const record::Step& step, const char* what, bool end) {
  double out = 0;
  for (const record::Span& span : step.attempts.back().spans) {
    if (span.what == what) out = end ? span.to_s : span.from_s;
  }
  return out;
}

TEST(Looks, OfACalibrationComeBesideTheNextOne) {
  Station together, alone;
  together.options.speed = alone.options.speed = "20";
  const record::Run a = together.record(group(kCalibrations));
  const record::Run b = alone.record(group(kCalibrations, R"(, "overlap": false)"));
  EXPECT_EQ(a.outcome, record::Outcome::passed);
  ASSERT_EQ(b.outcome, a.outcome);
  EXPECT_EQ(together.on(), 0);
  for (size_t i = 0; i < a.steps.size(); ++i) {
    const record::Attempt& one = a.steps[i].attempts.at(0);
    const record::Attempt& other = b.steps[i].attempts.at(0);
    EXPECT_TRUE(one.kept);
    EXPECT_THAT(one.log, ::testing::Not(IsEmpty()));
    expect_alike(a.steps[i], b.steps[i]);
    if (i == 0) continue;
    EXPECT_LT(span_of(a.steps[i], "sample", false), span_of(a.steps[i - 1], "verify", true));
    EXPECT_GE(span_of(b.steps[i], "sample", false), span_of(b.steps[i - 1], "verify", true));
    // What the library says and sends is its own step's.
    EXPECT_EQ(one.hub.size(), other.hub.size()) << a.steps[i].name;
  }
  EXPECT_THAT(factory::differences(a, together.replay()), IsEmpty());
}

TEST(Looks, OfACalibrationAreAloneWhereTheyMustBe) {
  const std::pair<const char*, bool> kRows[] = {
      {R"({"calibrate": "Acc"}, {"calibrate": "Gyr"})", true},
      {R"({"calibrate": "Acc"}, {"calibrate": "Acc"})", false},
      {R"({"calibrate": "Acc"}, {"verify": "Gyr", "limits": {"noise": "1 rad/s"}})", false},
      {R"({"calibrate": "Acc"}, {"fixture": {"up": "flat"}})", false},
      {R"({"calibrate": "Acc"}, {"fixture": {"lux": "300 lux", "target": "3 cm", "pressure": "990 hPa"}})", true},
      {R"({"calibrate": "Acc"}, {"fixture": {"lux": "300 lux", "vibration": "none"}})", false},
      {R"({"calibrate": "Bar"}, {"fixture": {"pressure": "990 hPa"}})", false},
      {R"({"calibrate": "Lux"}, {"fixture": {"pressure": "990 hPa"}})", true},
      {R"({"calibrate": "Lux"}, {"fixture": {"dark-box": "on"}})", false},
      {R"({"fixture": {"lux": "300 lux"}}, {"fixture": {"lux": "200 lux"}})", false},
      {R"({"calibrate": "Acc"}, {"calibrate": "Prx"})", false},
      {R"({"calibrate": "Lux"}, {"calibrate": "Lux", "param": 12})", false},
      {R"({"calibrate": "Lux"}, {"calibrate": "Lux_F"})", true},
      {R"({"calibrate": "Acc"}, {"calibrate": "Lux", "param": 13})", false},
      {R"({"calibrate": "Acc"}, {"calibrate": "Lux_B", "channel": 0, "target": "1000 counts"})", false},
      // Their scales are in one file.
      {R"({"calibrate": "CCT_F_strm"}, {"calibrate": "CCT_B_strm"})", false},
      {R"({"calibrate": "Lux"}, {"calibrate": "CCT_F_strm"})", true},
      {R"({"calibrate": "CCT_F_strm"}, {"calibrate": "Lux"})", true},
      {R"({"calibrate": "Acc"})", false},
  };
  for (const auto& [steps, beside] : kRows)
    EXPECT_EQ(next_runs_beside(plan_of(group(steps)).blocks.at(0), 0), beside) << steps;
}

// The lamp is set while a sensor that does not see it is looked at, and the next one is calibrated under it; one that
// fails then is put back and repeated as ever.
TEST(Looks, OfACalibrationGoOnWhileWhatItDoesNotNoticeIsSet) {
  const std::string lamp = R"({"fixture": {"lux": "200 lux"}}, {"calibrate": "Lux"})";
  const auto acc = [](const char* more) { return std::string(R"({"calibrate": "Acc")") + more + "}, "; };
  for (const bool fails : {false, true}) {
    Station run;
    run.options.speed = "20";
    run.options.world = {"lux=1000"};
    const std::string never = R"(, "repeat": 2, "on_failure": "go on", "limits": {"residual": "0.000001 m/s^2"})";
    const record::Run ran = run.record(group(acc(fails ? never.c_str() : "") + lamp));
    EXPECT_EQ(record::passes(ran.steps[0].outcome), !fails);
    EXPECT_EQ(ran.steps[0].attempts.size(), fails ? 2U : 1U);
    EXPECT_TRUE(begins_before_the_end_of(ran.steps[1], ran.steps[0], ran));
    EXPECT_EQ(ran.steps[1].outcome, record::Outcome::passed);
    EXPECT_TRUE(ran.steps[2].attempts.at(0).kept);
    EXPECT_EQ(ran.world.at("lux"), "200");
    EXPECT_EQ(run.on(), 0);
    EXPECT_THAT(factory::differences(ran, run.replay()), IsEmpty());
  }
}

// A movement that ends in the fresh samples is seen while the next sensor is calibrated: the old value comes back, and
// the calibration is repeated where it may be. Without that the block ends where it is to.
TEST(Looks, ThatFailLaterPutBackThen) {
  const std::string gyr = R"({"calibrate": "Gyr"}, {"probe": "tof", "expect": true})";
  for (const bool again : {true, false}) {
    Station station;
    station.options.speed = "5";
    ASSERT_EQ(station.run(R"({"calibrate": "Acc"})").outcome, Outcome::passed);
    const std::vector<float> before = station.offset(sensor_type::accelerometer);
    constexpr int kRun = 53;
    station.movements = {{"up", "tilted:5", kRun + 5, 60}};
    const Station::Ran ran =
        station.run(group(std::string(R"({"calibrate": "Acc")") + (again ? R"(, "repeat": 2)" : "") + "}," + gyr));
    EXPECT_EQ(ran.attempt(0).outcome, Outcome::failed);
    EXPECT_EQ(ran.attempt(0).reasons.at(0).code, "value.outside");
    EXPECT_TRUE(ran.attempt(0).put_back);
    EXPECT_EQ(ran.attempt(1).outcome, Outcome::passed);
    EXPECT_TRUE(ran.attempt(1).kept);
    EXPECT_EQ(ran.steps[0].attempts.size(), again ? 2U : 1U);
    EXPECT_EQ(ran.steps[2].outcome, again ? Outcome::passed : Outcome::skipped);
    EXPECT_EQ(ran.outcome, again ? Outcome::passed : Outcome::failed);
    if (!again) {
      EXPECT_EQ(station.offset(sensor_type::accelerometer), before);
    }
  }
}

// Whether the step behind it began before the failure was seen is chance, and a replay goes by what it was.
TEST(Looks, ThatFailLaterAreReplayed) {
  const std::string fails = R"({"calibrate": "Acc", "limits": {"residual": "0.000001 m/s^2"}, "repeat": 2}, )";
  const std::string last_fails = R"(, {"calibrate": "Lux_F", "limits": {"low": "5", "high": "6"}})";
  for (const char* speed : {"max", "max", "20"}) {
    Station run;
    run.options.speed = speed;
    const record::Run ran = run.record(group(fails + R"({"calibrate": "Gyr"}, {"calibrate": "Lux"})") + "," +
                                       group(R"({"calibrate": "Lux"})" + last_fails));
    EXPECT_EQ(ran.steps[0].outcome, record::Outcome::failed);
    EXPECT_EQ(ran.steps[0].attempts.size(), 2U);
    EXPECT_EQ(ran.steps[4].outcome, record::Outcome::failed);
    EXPECT_EQ(run.on(), 0);
    EXPECT_THAT(factory::differences(ran, run.replay()), IsEmpty()) << speed;
  }
}

struct FaultRow {
  const char* name;
  const char* fault;
  const char* code;
  bool quick = true;  // no time-out is waited for, once more in the replay
};

class FaultBeside : public ::testing::TestWithParam<FaultRow> {};

TEST_P(FaultBeside, TouchesItsOwnStepAlone) {
  for (const char* steps : {kLooks, kCalibrations}) {
    if (steps == kCalibrations && !GetParam().quick) continue;
    Station run;
    run.options.fault = {GetParam().fault};
    const record::Run ran = run.record(group(steps));
    for (const record::Step& step : ran.steps) {
      EXPECT_EQ(record::passes(step.outcome), step.tag != "Acc2") << step.name;
      if (step.kind == "calibrate") {
        EXPECT_EQ(step.attempts.at(0).kept, step.tag != "Acc2");
      }
    }
    if (steps == kLooks) {
      EXPECT_EQ(ran.steps[1].attempts[0].reasons.at(0).code, GetParam().code);
    }
    EXPECT_EQ(run.on(), 0);
    if (!GetParam().quick) continue;
    EXPECT_THAT(factory::differences(ran, run.replay()), IsEmpty());
  }
}

INSTANTIATE_TEST_SUITE_P(Sensor, FaultBeside,
                         ::testing::Values(FaultRow{"silent", "silent:Acc2", "sensor.silent", false},
                                           FaultRow{"nan", "nan:Acc2", "value.outside"},
                                           FaultRow{"motion", "motion:Acc2,1", "value.outside"},
                                           FaultRow{"stuck", "stuck:Acc2", "sensor.stuck", false},
                                           FaultRow{"wrong_handle", "wrong-handle:Acc2", "sensor.silent", false},
                                           FaultRow{"enable_refused", "enable-refused:Acc2,3", "sensor.refused"}),
                         [](const auto& test) { return test.param.name; });

// What was not taken goes off before anything else begins; a block that is tried again looks anew.
TEST(Looks, EndWithTheirBlock) {
  Station run;
  run.options.speed = "1";
  const std::string fails = R"({"verify": "Acc", "samples": 2, "limits": {"noise": "0.0001 m/s^2"}})";
  const std::string long_looks = R"({"verify": "Acc2", "samples": 1000, "limits": {"noise": "1 m/s^2"}},
      {"verify": "Gyr", "samples": 1000, "limits": {"noise": "1 rad/s"}})";
  const record::Run ran =
      run.record(group(fails + "," + long_looks, R"(, "repeat": 2)") + "," + R"({"probe": "tof", "expect": true})");
  EXPECT_EQ(ran.steps[0].attempts.size(), 2U);
  EXPECT_EQ(ran.steps[1].outcome, record::Outcome::skipped);
  EXPECT_EQ(ran.steps[3].outcome, record::Outcome::passed);
  EXPECT_LT(ran.seconds, 5);
  EXPECT_EQ(run.on("1.1"), 2);
  EXPECT_EQ(run.on("2.2"), 0);  // its look is what the second attempt begins with
  EXPECT_EQ(run.on("4.1"), 0);
}

// A look's time is its own, from when it could deliver until its samples were there, whoever is waited for meanwhile.
TEST(Looks, AreJudgedByTheirOwnTime) {
  Station run;
  run.options.speed = "20";
  const record::Run fast = run.record(group(
      R"({"verify": "Acc", "samples": 200, "limits": {"noise": "1 m/s^2"}},
         {"verify": "Acc2", "samples": 50, "limits": {"noise": "1 m/s^2", "seconds": "20 ms"}, "on_failure": "go on"},
         {"verify": "Lux_F", "samples": 2, "limits": {"low": "0 lux", "seconds": "150 ms"}})"));
  EXPECT_EQ(fast.steps[1].outcome, record::Outcome::failed) << "53 events of 20 ms were there at once";
  EXPECT_EQ(fast.steps[2].outcome, record::Outcome::passed) << "5 events of 100 ms took the 203 of the first step";
  for (const record::Step& step : fast.steps) {
    const record::Attempt& attempt = step.attempts[0];
    EXPECT_NEAR(attempt.spans.at(0).to_s, end_of(attempt, fast), 0.05) << step.name;
    EXPECT_NEAR(attempt.spans[0].to_s - attempt.spans[0].from_s, attempt.seconds, 0.05) << step.name;
  }
  EXPECT_THAT(factory::differences(fast, run.replay()), IsEmpty());
}

TEST(Looks, EndInTimeWhoeverIsWaitedFor) {
  Station run;
  run.options.speed = "1";
  run.options.fault = {"silent:Acc", "late:Bar,5600"};  // Acc is waited for until then
  const record::Run ran =
      run.record(group(R"({"verify": "Acc", "samples": 30, "limits": {"noise": "1 m/s^2"}, "on_failure": "go on"},
               {"verify": "Bar", "samples": 2, "settle": 0, "limits": {"noise": "1 hPa"}})"));
  EXPECT_EQ(ran.steps[1].attempts.at(0).reasons.at(0).code, "sensor.silent");
  EXPECT_EQ(run.on(), 0);
}

// Of a million looks at phones that are good, most of them just so, at the limit of their mean and with noise of up to
// thirty times it, none that would pass is given up; a mean that is far out is, within the first samples.
TEST(Looks, AreGivenUpWhereNoGoodPhoneWouldPass) {
  constexpr int kMillion = 1000000;
  constexpr size_t kDraws = 1U << 16U;
  std::mt19937_64 draw(1);
  std::normal_distribution<double> normal;
  std::vector<double> noise(kDraws);
  for (double& one : noise) one = normal(draw);
  const std::vector<factory::Within> within = {{-1, 1}};
  int lost = 0, passed = 0, far_ones = 0;
  for (int i = 0; i < kMillion; ++i) {
    const uint64_t chance = draw();
    const bool far_out = i % 100 == 0;
    const double mean = far_out ? 20 : i % 3 == 0 ? 0.9 : 1;
    const double deviation = far_out ? 0.5 : std::exp2(static_cast<double>(i % 11) - 5);
    factory::FreshSamples samples;
    samples.wanted = i % 5 == 0 ? 50 : 20;
    samples.values.resize(1);
    bool given_up = false;
    while (samples.taken < samples.wanted) {
      const size_t at = chance + static_cast<size_t>(samples.taken) * (2 * (chance >> 40U) + 1);
      samples.values[0].add(mean + deviation * noise[at % kDraws]);
      ++samples.taken;
      given_up = given_up || samples.find_hopeless(within).has_value();
      if (far_out && given_up) break;
    }
    far_ones += far_out && samples.taken == 10 ? 1 : 0;
    if (far_out || std::fabs(samples.values[0].mean()) > 1) continue;
    ++passed;
    lost += given_up ? 1 : 0;
  }
  EXPECT_GT(passed, 400000);
  EXPECT_EQ(lost, 0);
  EXPECT_EQ(far_ones, kMillion / 100);
}

TEST(Looks, EndWhereTheyCannotPassAnyMore) {
  const std::tuple<const char*, const char*, size_t, const char*> kRows[] = {
      {"", R"("residual": "1 m/s^2", "noise": "0.05 m/s^2")", 100, ""},
      {"motion:Acc", R"("noise": "0.05 m/s^2")", 10, "value.outside"},
      {"nan:Acc", R"("noise": "0.05 m/s^2")", 10, "value.outside"},
      {"", R"("low": "3 m/s^2", "high": "4 m/s^2")", 20, "value.outside"},
      {"", R"("low": "3 m/s^2")", 100, "value.outside"},  // what comes could be as high as you like
  };
  for (const auto& [fault, limits, taken, reason] : kRows) {
    Station run;
    if (*fault != '\0') run.options.fault = {fault};
    const record::Run ran =
        run.record(group(std::string(R"({"verify": "Acc", "samples": 100, "limits": {)") + limits + "}}"));
    const record::Attempt& attempt = ran.steps[0].attempts.at(0);
    ASSERT_TRUE(attempt.window);
    EXPECT_EQ(attempt.window->samples.size(), taken) << limits;
    EXPECT_EQ(attempt.reasons.empty() ? "" : attempt.reasons[0].code, reason) << limits;
    const bool told = ::testing::Matches(::testing::Contains(::testing::HasSubstr("the look was over")))(attempt.notes);
    EXPECT_EQ(told, taken < 100);
    EXPECT_EQ(run.on(), 0);
    EXPECT_THAT(factory::differences(ran, run.replay()), IsEmpty());
  }
}

// A calibration may take eight times as many samples as its first look, which can make up for a shake at its beginning,
// not for one that lasts; and a coarse axis that repeats a value meanwhile is not stuck.
TEST(Looks, OfACalibrationEndWhereNoneOfItsSamplesCouldPass) {
  constexpr int kRun = 53;
  const std::string acc = R"({"calibrate": "Acc", "limits": {"residual": "0.02 m/s^2", "noise": "0.05 m/s^2"}})";
  const std::tuple<const char*, int, Outcome, const char*> kRows[] = {
      {"0.13", 13, Outcome::passed, ""},
      {"0.5", 1000, Outcome::failed, "the look was over after 10 of 50 samples: the others could not have brought x "},
      {"0.3", 1000, Outcome::failed, "the look was over after 20 of 50 samples: the others could not have brought x "},
  };
  for (const auto& [vibration, events, outcome, note] : kRows) {
    Station station;
    station.movements = {{"vibration", vibration, kRun, events}};
    const Station::Ran ran = station.run(acc);
    EXPECT_EQ(ran.outcome, outcome) << vibration;
    const std::vector<std::string> notes = {ran.attempt(0).notes.begin(), ran.attempt(0).notes.end()};
    EXPECT_THAT(notes.empty() ? "" : notes[0], ::testing::StartsWith(note));
    EXPECT_EQ(notes.empty(), *note == '\0');
    for (const record::Text& reason : ran.attempt(0).reasons) EXPECT_EQ(reason.code, "value.outside") << reason.text;
  }
}

}  // namespace
}  // namespace plan_test
