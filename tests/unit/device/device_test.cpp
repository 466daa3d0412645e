// A real phone's fixture, over the services that a simulated phone has in this process. The application knows nothing
// of that phone.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <host/property_store.h>
#include <host/rpc_threadpool.h>
#include <stdlib.h>
#include <unistd.h>

#include <limits>
#include <thread>

#include "folder.h"
#include "phone/core/phone.h"
#include "phone/fixture_settings.h"
#include "record/record_json.h"
#include "run/plan_run.h"

namespace {

using factory::AppError;
using factory::Options;
using factory::Session;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class DeviceTest : public ::testing::Test {
 protected:
  // Threads do not outlive a fork: the phone is made where it is used.
  void make_phone() {
    phone::PhoneOptions wanted;
    wanted.directory = folder_.path() + "/phone";
    wanted.seed = 7;
    wanted.speed = std::numeric_limits<double>::infinity();
    phone_ = phone::Phone::open(wanted);
    host::force_property("ro.serialno", "A1234");
  }

  Json::Value run(const std::string& steps) {
    std::vector<std::string> problems;
    const factory::plan::Plan plan = factory::plan::parse_plan(
        "test.json", R"({"format": "sensorcal.plan/1", "name": "test", "steps": [)" + steps + "]}", &problems);
    EXPECT_THAT(problems, IsEmpty());
    Session session(Options{});
    session.require_ready();
    factory::plan::Observer silent;
    factory::plan::PlanRun plan_run(session, plan, {{"S1", "station 4", "me"}}, silent);
    return to_json(plan_run.run());
  }

 private:
  const test::Folder folder_;
  std::unique_ptr<phone::Phone> phone_;
};

// In a process of its own, so that it can have another terminal, or none. Ends it.
[[noreturn]] void end_child() { _exit(testing::Test::HasFailure() ? 1 : 0); }
void leave_terminal() { ASSERT_GE(setsid(), 0); }

// At a terminal of this process's own somebody confirms the first question.
void meet_operator() {
  leave_terminal();
  const int master = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_EQ(0, grantpt(master) | unlockpt(master));
  ASSERT_GE(open(ptsname(master), O_RDWR), 0);  // becomes the terminal of the process
  std::thread([master] {
    std::string shown;
    for (char c = 0; c != '>' && read(master, &c, 1) == 1;) shown += c;
    EXPECT_THAT(shown, HasSubstr("Lay the phone flat, screen up."));
    EXPECT_EQ(1, write(master, "\n", 1));
  }).detach();
}

constexpr char kPlan[] = R"({"fixture": {"up": "flat"}}, {"calibrate": "Acc"})";

TEST_F(DeviceTest, TellsWhatAPhoneTellsAndNothingElse) {
  make_phone();
  Options options;
  options.world = {"up=flat"};
  Session session(options);
  EXPECT_FALSE(session.missing());
  EXPECT_NE(nullptr, session.sensor(1));
  EXPECT_EQ("/", session.fixture().device_root());
  EXPECT_THAT(session.fixture().facts(), Contains(std::make_pair("serial", "A1234")));
  EXPECT_THAT(session.fixture().world(), ElementsAre(std::make_pair("up", "flat")));
  EXPECT_EQ(1U, host::rpc_threads()) << "no event would arrive";

  factory::plan::Step step;
  step.type = 1;
  EXPECT_EQ(1, factory::plan::plan_of("calibrate", {step}, options.world).step_count()) << "flat, it was said";
}

TEST_F(DeviceTest, RunsAPlanOnTheOperatorsWord) {
  const auto body = [this] {
    make_phone();
    meet_operator();
    const Json::Value record = run(kPlan);
    EXPECT_EQ("passed", record["verdict"].asString()) << record;
    EXPECT_EQ("A1234", record["phone"]["serial"].asString()) << record["phone"];
    EXPECT_THAT(record["remarks"][0].asString(), HasSubstr("the sensor hub are not recorded"));
    EXPECT_THAT(record["steps"][0]["attempts"][0]["notes"][0].asString(), HasSubstr("the operator confirmed"));
    EXPECT_TRUE(record["steps"][1]["attempts"][0]["hub"].empty());
    end_child();
  };
  EXPECT_EXIT(body(), ::testing::ExitedWithCode(0), "");
}

TEST_F(DeviceTest, AsksNobodyWithoutATerminal) {
  const auto body = [this] {
    make_phone();
    leave_terminal();
    const Json::Value record = run(kPlan);
    EXPECT_EQ("error", record["verdict"].asString());
    EXPECT_THAT(record["steps"][0]["attempts"][0]["reasons"][0]["text"].asString(), HasSubstr("no terminal"));
    end_child();
  };
  EXPECT_EXIT(body(), ::testing::ExitedWithCode(0), "");
}

TEST(FixtureSettings, AreTheSimulatedWorldsAndItsNumbers) {
  const std::tuple<const char*, const char*, std::string> kRows[] = {
      // empty: no problem
      {"up", "tilted:30", ""},
      {"up", "0,0,-1", ""},
      {"up", "tilted:", "give flat"},
      {"up", "nan,0,1", "give flat"},
      {"rotation", "0.1,0,0", ""},
      {"rotation", "0.1,0", "give x,y,z"},
      {"dark-box", "maybe", "\"on\" or \"off\""},
      {"lux", "dark", ""},
      {"lux", "200", ""},
      {"lux", "2 klux", ""},
      {"lux", "2 hPa", "a number of lux from 0 to 200000, or \"dark\""},
      {"lux", "200001", "a number of lux from 0 to 200000"},
      {"pressure", "none", "a number of hPa"},
      {"smell", "1", "no setting 'smell'; known are up, rotation, dark-box, vibration, pressure, lux"},
  };
  for (const auto& [key, value, wanted] : kRows) {
    std::string setting;
    const std::string problem = factory::read_setting(key, value, factory::Bare::taken, &setting);
    EXPECT_EQ(wanted.empty(), problem.empty()) << key << "=" << value << ": " << problem;
    EXPECT_THAT(problem, HasSubstr(wanted)) << key << "=" << value;
  }
}

TEST(FixtureSettings, AreWordsForAnOperator) {
  const std::tuple<const char*, const char*, const char*> kRows[] = {
      {"up", "tilted:-2.5", "Lay the phone screen up and raise its right edge by -2.5 degrees"},
      {"up", "0,0,-1",
       "Hold the phone so that up is 0,0,-1, in the phone's own x (right), y (top) and z (out of the screen)"},
      {"vibration", "0", "Leave the phone still, with nothing that shakes the table"},
      {"vibration", "0.5", "Shake the phone with 0.5 m/s^2 (rms)"},
      {"smell", "1", "Set smell to 1"},
  };
  for (const auto& [key, value, words] : kRows) EXPECT_EQ(factory::instruction(key, value), words) << key;
}

}  // namespace
