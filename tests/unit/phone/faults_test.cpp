// What can go wrong with a phone, asked for by name: what the library makes of it, and so whether it goes wrong, is the
// fault matrix's matter (tests/faults).
#include "phone/faults/faults.h"

#include <gtest/gtest.h>
#include <stdio.h>

#include <cmath>
#include <fstream>
#include <future>
#include <thread>

#include "open_phone.h"

namespace phone_test {
namespace {

constexpr char kBrightness[] = "/sys/class/leds/lcd-backlight/brightness";

std::string parse_problem(const std::string& text) {
  try {
    phone::Faults::parse({text});
  } catch (const phone::PhoneError& error) {
    return error.what();
  }
  return "";
}

bool write_file(const std::string& path, const char* text) {
  return static_cast<bool>(std::ofstream(path) << text << std::flush);
}

TEST(FaultNames, ArgumentsAreChecked) {
  for (const char* good :
       {"silent", "silent:Acc", "motion:Acc,2.5", "motion:,2.5", "hub-word:0,0,-1", "hub-word:38,0,0.5", "hub-slow:20",
        "list-refused:3", "late:Gyr", "burst:16,8", "property:ro.x=", "garbled:/a/b", "wrong-fixture:up=tilted:3"}) {
    EXPECT_EQ(parse_problem(good), "") << good;
  }
  for (const char* bad : {"motion:Acc,much", "hub-word:0,16,1", "hub-word:0,0", "hub-slow", "hub-slow:-1",
                          "list-refused:256", "burst:Acc,1000", "property:=x", "garbled:a/b", "garbled:/../b",
                          "hub-absent:1", "wrong-fixture:up=x", "wrong-fixture:lux"}) {
    EXPECT_NE(parse_problem(bad).find(bad), std::string::npos) << bad;
  }
  EXPECT_EQ(parse_problem("silent:Axx"), "unknown sensor 'Axx'");
  EXPECT_EQ(parse_problem("slient"), "unknown fault 'slient'");
}

struct Faults : OpenPhone {
  std::vector<Event> events_with(const std::string& fault) {
    open(options({fault}));
    return client.collect(kAcc, 20000, 50);
  }
  std::string node() const { return phone->directory() + kBrightness; }
  int brightness() const { return std::stoi(test::content(node())); }
};

// A service that dies takes its queues along; one whose calls get lost keeps what is on, on.
TEST_F(Faults, OfAnEventQueueThatIsThereAlready) {
  for (const auto& [fault, goes_on] : {std::pair{"sensors-vanish:3", false}, {"sensors-fail:3", true}}) {
    SCOPED_TRACE(fault);
    phone::PhoneOptions slow = options({fault});
    slow.speed = 10;
    open(slow);
    ASSERT_EQ(client.enable(kAcc, 20000), Result::OK);
    ASSERT_GE(client.listener->wait_for(5).size(), 5U);
    EXPECT_FALSE(client.queue->disableSensor(client.handles.at(kAcc)).isOk());
    std::this_thread::sleep_for(std::chrono::milliseconds(5));  // one may have been under way
    client.listener->forget();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(!client.listener->events().empty(), goes_on);
    EXPECT_FALSE(client.queue->enableSensor(client.handles.at(kAcc), 20000, 0).isOk());
    EXPECT_EQ(ISensorManager::getService("default") != nullptr, goes_on);
  }
}

TEST_F(Faults, AWrongFixtureIsNotAsItSays) {
  open(options({"wrong-fixture:pressure=1000", "wrong-fixture:up=tilted:90"}));
  phone::World world;
  phone->set_world(world);
  EXPECT_EQ(phone->world().pressure_hpa, world.pressure_hpa);
  EXPECT_EQ(phone->truth(6)[0], 1000);
  EXPECT_NEAR(phone->truth(kAcc)[0], 9.80665, 1e-4);
  EXPECT_EQ(phone->disturb("pressure", ""), "");
  EXPECT_EQ(phone->truth(6)[0], world.pressure_hpa);
  EXPECT_NE(phone->disturb("up", "side"), "");
}

// A phone's manifest lists the service: who gets it waits until it comes or the phone goes.
TEST_F(Faults, OfServicesThatAreDeclaredAndDead) {
  for (const auto& [fault, calls] : {std::pair{"sensors-dead", 0}, {"sensors-dead:2", 2}, {"sensors-dead:0", 0}}) {
    SCOPED_TRACE(fault);
    phone.reset();
    phone = phone::Phone::open(options({fault}));
    if (calls > 0) {
      client = Client();  // both its calls
      EXPECT_EQ(client.list_result, Result::OK);
      EXPECT_FALSE(client.manager->getSensorList([](const auto&, Result) { FAIL(); }).isOk());
    }
    EXPECT_EQ(ISensorManager::tryGetService("default"), nullptr);
    EXPECT_FALSE(ask_hub(1, 1).empty());
    auto waits = std::async(std::launch::async, [] { return ISensorManager::getService("default"); });
    EXPECT_EQ(waits.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    phone.reset();
    EXPECT_EQ(waits.get(), nullptr);
  }
  phone = phone::Phone::open(options({"hub-dead:1"}));
  EXPECT_FALSE(ask_hub(1, 1).empty());
  EXPECT_TRUE(ask_hub(1, 1).empty());
  auto waits = std::async(std::launch::async, [] { return ask_hub(1, 1); });
  EXPECT_EQ(waits.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
  phone.reset();
  EXPECT_TRUE(waits.get().empty());
}

TEST_F(Faults, OfValues) {
  const std::vector<Event> stuck = events_with("stuck:Acc");
  for (const Event& event : stuck) EXPECT_EQ(event.u.data[1], stuck[0].u.data[1]);
  for (const Event& event : events_with("stuck:Acc,9.5")) EXPECT_NEAR(event.u.data[2], 9.5, 1e-6);
  const std::vector<Event> axis = events_with("stuck:Acc,9.5,1");
  EXPECT_NEAR(axis[3].u.data[1], 9.5, 1e-6);
  EXPECT_NE(axis[3].u.data[2], axis[4].u.data[2]);
  EXPECT_TRUE(std::isnan(events_with("nan")[3].u.data[0]));
  EXPECT_GT(std::abs(mean(events_with("out-of-range:Acc,30"), 0)), 29);
  const std::vector<Event> drifting = events_with("drift:Acc,2");
  EXPECT_NEAR(static_cast<double>(drifting[49].u.data[0] - drifting[0].u.data[0]), 2 * 0.98, 0.1);
  double largest = 0;
  for (const Event& event : events_with("motion:Acc,5")) {
    largest = std::max(largest, std::abs(static_cast<double>(event.u.data[0])));
  }
  EXPECT_GT(largest, 5);
  EXPECT_LT(std::abs(mean(events_with("out-of-range:Gyr,30"), 0)), 2) << "another sensor's fault";
}

TEST_F(Faults, OfEvents) {
  const std::vector<Event> twice = events_with("duplicate");
  EXPECT_EQ(twice[0].timestamp, twice[1].timestamp);
  EXPECT_NE(twice[1].timestamp, twice[2].timestamp);
  EXPECT_NE(events_with("wrong-handle")[0].sensorHandle, 1);
  EXPECT_NE(static_cast<int>(events_with("wrong-type")[0].sensorType), kAcc);

  open(options({"silent:Acc", "straggler:Bar"}));
  client.enable(kAcc, 2500);
  client.collect(kBar, 20000, 3);
  EXPECT_EQ(client.listener->wait_for(4).size(), 4U) << "one more after the disabling";
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  EXPECT_EQ(client.listener->events().size(), 4U);
}

// Late events and bursts show in when the others come.
TEST_F(Faults, OfTiming) {
  for (const auto& [fault, others_before] : {std::pair{"late:Acc,100", 5}, {"burst:Acc,6", 5}, {"late:Gyr", 0}}) {
    open(options({fault}));
    std::mutex start;
    int others = 0;
    int others_at_first = -1;
    client.listener->on_each = [&](const Event& event) {
      const std::lock_guard<std::mutex> lock(start);
      if (static_cast<int>(event.sensorType) == kBar) ++others;
      if (static_cast<int>(event.sensorType) == kAcc && others_at_first < 0) others_at_first = others;
    };
    {
      const std::lock_guard<std::mutex> lock(start);
      client.enable(kBar, 20000);
      client.enable(kAcc, 20000);
    }
    client.listener->wait_for(100);
    client.queue = nullptr;
    // The first one's event may be under way while the second is enabled, and both may fall due at one time.
    EXPECT_GE(others_at_first, others_before - 1) << fault;
    EXPECT_LE(others_at_first, others_before + 2) << fault;
  }
}

TEST_F(Faults, OfThePanel) {
  const Folder folder;
  open(options({}, "reference", folder.file("phone")));
  EXPECT_TRUE(write_file(node(), "0\n"));
  open(options({"brightness-missing"}, "reference", folder.file("phone")));
  EXPECT_EQ(fopen(node().c_str(), "r+"), nullptr);
  constexpr int kLightStream = 33171007;
  phone::World dark = phone->world();
  dark.dark_box = true;
  phone->set_world(dark);
  EXPECT_LT(mean(client.collect(kLightStream, 100000, 5), 0), 0.5) << "the panel stays as it was";

  open(options({"brightness-read-only"}));
  EXPECT_EQ(brightness(), 1024);
  EXPECT_FALSE(write_file(node(), "7\n"));
  EXPECT_EQ(brightness(), 1024);

  open(options({"brightness-clamped:2000"}));
  write_file(node(), "4095\n");
  phone->set_world(phone->world());
  EXPECT_EQ(brightness(), 2000);
}

// A write without line feed replaces what longer number was there, as on sysfs.
TEST_F(Faults, OfNoneThePanelTakesOneWriteAfterAnother) {
  for (const char* text : {"4095\n", "8", "2047\n", "300", "0"}) {
    FILE* const file = fopen(node().c_str(), "r+");
    ASSERT_NE(file, nullptr);
    fputs(text, file);
    fclose(file);
    EXPECT_EQ(brightness(), std::stoi(text));
    phone->set_world(phone->world());
    EXPECT_EQ(brightness(), std::stoi(text));
  }
}

}  // namespace
}  // namespace phone_test
