// The store on the disk and in people's words.
#include <cfloat>
#include <cmath>
#include <thread>

#include "folder.h"
#include "hub_fixture.h"
#include "phone/hub/registry.h"

namespace phone {
namespace {

namespace fs = std::filesystem;

struct RegistryTest : HubTest {
  std::string content() const { return test::content(folder + "/hub_registry.json"); }
  void write(const std::string& text) { std::ofstream(folder + "/hub_registry.json") << text; }

  const test::Folder made;
  const std::string folder = made.path();
};

TEST_F(RegistryTest, EverythingComesBackBitForBit) {
  raw.values = {{{33171015, 0}, 0.1F}, {{33171040, 0}, 131}, {{8, 0}, 12.5F}, {{5, 0}, 9}, {{33171007, 1}, 0.3F}};
  raw.dark = true;
  ask(1, 0, {F(0.1F), F(-0.0F), F(FLT_TRUE_MIN)});
  ask(268369921, 0, {F(NAN), F(INFINITY), F(-INFINITY)});
  ask(4, 2, {F(FLT_MAX), F(1.0F + FLT_EPSILON), F(3)});
  ask(268369924, 2, {F(1), F(2), F(3)});
  ask(6, 21, {F(-1.7F)});
  ask(33171081, 9, {F(NAN)});
  ask(5, 9, {F(1.1F)});
  ask(5, 38, {F(2)});
  ask(5, 15, {16});
  ask(5, 200, {F(3), F(0.7F)});
  ask(0, 0, {F(1), F(-11), F(9)});
  ask(5, 26, {13, 4095, 35});
  ask(33171080, 27, {F(13), F(4095), F(1.1F), F(2.2F), F(3.3F), F(4.4F)});
  ask(33171089, 28, {F(2), F(0.1F), F(0.2F)});
  ask(33171057, 30, {F(2), F(0.3F), F(0.4F)});
  ask(8, 5, {INT32_MIN, INT32_MAX, 5});
  ask(8, 7);
  ask(33171015, 11);
  ask(33171016, 11, {F(-1)});
  ask(33171015, 43, {-16, 7});
  ask(8, 12);
  ask(8, 13);
  HubRegistry registry(&hub, folder);
  ASSERT_EQ(registry.save(), "");
  const std::string saved = content();

  Hub other(&raw, {});
  HubRegistry again(&other, folder);
  ASSERT_EQ(again.load(), "");
  ASSERT_EQ(again.save(), "");
  EXPECT_EQ(content(), saved);

  // With the steps that are done, and which chip's high level came last.
  const std::tuple<int, int, std::vector<int32_t>> kReads[] = {
      {1, 1, {}},
      {268369921, 1, {}},
      {4, 3, {}},
      {6, 22, {}},
      {33171082, 10, {}},
      {8, 6, {}},
      {33171089, 29, {F(2)}},
      {33171057, 31, {F(2)}},
      {5, 38, {F(2)}},
      {33171015, 4, {}},
      {8, 14, {}},
      {5, 27, {F(14), F(2000), F(0.5F), F(0.5F), F(0.5F), F(0.5F)}}};
  for (const auto& [type, code, words] : kReads) {
    EXPECT_EQ(other.handle(record(type, code, words), nullptr).words, ask(type, code, words).words) << code;
  }
  EXPECT_EQ(other.panel_channels(33171080, 2000), hub.panel_channels(33171080, 2000));
}

TEST_F(RegistryTest, AGarbledFileIsNamedAndLeftAlone) {
  struct {
    const char* text;
    const char* complaint;
  } const cases[] = {
      {"", "hub_registry.json: "},
      {"{\"format\": 1, \"sensors\": {\"Acc\"", "hub_registry.json: "},
      {"[]", "hub_registry.json: not an object"},
      {"{}", "hub_registry.json: format: missing"},
      {"{\"format\": 2}", "hub_registry.json: format: not 1"},
      {"{\"format\": 1, \"sensors\": {\"Acc\": {\"offset\": [1, 2]}}}", "sensors.Acc.offset: "},
      {"{\"format\": 1, \"sensors\": {\"Acc\": {\"ofset\": [1, 2, 3]}}}", "sensors.Acc.ofset: not known"},
      {"{\"format\": 1, \"sensors\": {\"acc\": {}}}", "sensors.acc: not known"},
      {"{\"format\": 1, \"sensors\": {\"Acc\": 5}}", "sensors.Acc: not an object"},
      {"{\"format\": 1, \"sensors\": {\"Lux\": {\"scale\": \"2\"}}}", "sensors.Lux.scale: "},
      {"{\"format\": 1, \"sensors\": {\"Lux\": {\"scale\": 1e39}}}", "sensors.Lux.scale: "},
      {"{\"format\": 1, \"sensors\": {\"Lux\": {\"dark\": {\"01\": 2}}}}", "sensors.Lux.dark: "},
      {"{\"format\": 1, \"sensors\": {\"Prx\": {\"near\": 1.5}}}", "sensors.Prx.near: "},
      {"{\"format\": 1, \"sensors\": {\"Lux\": {\"backlight\": {\"13\": {\"lux\": 2}}}}}", "sensors.Lux.backlight: "},
  };
  ask(6, 21, {F(2)});
  const Json::Value before = hub.save();
  HubRegistry registry(&hub, folder);
  for (const auto& row : cases) {
    SCOPED_TRACE(row.text);
    write(row.text);
    const std::string error = registry.load();
    EXPECT_THAT(error, testing::StartsWith(registry.path() + ": "));
    EXPECT_THAT(error, testing::HasSubstr(row.complaint));
    EXPECT_EQ(content(), row.text);
    EXPECT_EQ(hub.save(), before);
  }
  // Nested so deep that the reader gives up.
  write(std::string(100000, '['));
  EXPECT_THAT(registry.load(), testing::HasSubstr("hub_registry.json: "));
}

TEST_F(RegistryTest, NoFileIsAnEmptyStore) {
  ask(6, 21, {F(2)});
  EXPECT_EQ(HubRegistry(&hub, folder).load(), "");
  EXPECT_EQ(hub.pressure_offset(), 0);
}

TEST_F(RegistryTest, AFailedSaveNamesTheFileAndLeavesNoRest) {
  HubRegistry registry(&hub, folder + "/absent");
  EXPECT_THAT(registry.save(), testing::HasSubstr("absent/hub_registry.json"));
  fs::create_directories(folder + "/hub_registry.json/in_the_way");
  EXPECT_NE(HubRegistry(&hub, folder).save(), "");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 1);
}

// Every change is written by the thread that made it, and no lock is held then; the last file must hold the last
// values, and a reader never finds a part. Run under a thread sanitizer this also checks the locking.
TEST_F(RegistryTest, ConcurrentChangesEndInTheNewestFile) {
  HubRegistry registry(&hub, folder, true);
  std::atomic<int> changes = 0;
  hub.on_change([&] {
    ++changes;
    EXPECT_EQ(registry.save(), "");
    return true;
  });
  std::atomic<bool> done = false;
  ask(6, 21, {F(0)});
  std::thread reader([&] {
    FakeRaw none;
    Hub other(&none, {});
    HubRegistry read_only(&other, folder);
    while (!done) {
      EXPECT_EQ(read_only.load(), "");
      (void)hub.panel_lux(5, 100);
      (void)hub.offset(1);
      const HubRecord reply = ask(1, 1);
      EXPECT_EQ(reply.words[0], reply.words[2]) << "two messages mixed";
    }
  });
  std::vector<std::thread> threads;
  for (const float first : {0.0F, 1000.0F}) {
    threads.emplace_back([this, first] {
      for (int i = 0; i < 40; ++i) {
        const int32_t value = F(first + static_cast<float>(i));
        ask(1, 0, {value, value, value});
        ask(first == 0 ? 6 : 5, first == 0 ? 21 : 9, {F(static_cast<float>(i))});
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  done = true;
  reader.join();
  EXPECT_EQ(changes, 1 + 4 * 40);
  Hub other(&raw, {});
  ASSERT_EQ(HubRegistry(&other, folder).load(), "");
  EXPECT_EQ(other.pressure_offset(), 39);
  EXPECT_EQ(other.lux_scale(5), 39);
}

// A full disk: the old values stay, and whichever word the library takes for the result tells of it.
TEST_F(RegistryTest, WhatCannotBeKeptIsUndoneAndRefused) {
  ask(6, 21, {F(7)});
  hub.on_change([] { return false; });
  const Json::Value before = hub.save();
  const std::pair<int32_t, std::vector<int32_t>> changes[] = {{21, {F(1)}}, {26, {13, 4095, 35}}, {9, {F(2)}}};
  for (const auto& [code, words] : changes) {
    const HubRecord reply = ask(code == 21 ? 6 : 5, code, words);
    EXPECT_EQ(reply.words[0], -1) << code;
    EXPECT_EQ(reply.words[1], -1) << code;
    EXPECT_EQ(reply.words[2], F(-1)) << code;
    EXPECT_EQ(hub.save(), before) << code;
  }
}

TEST_F(RegistryTest, ResetAndReboot) {
  ask(1, 0, {F(1), F(1), F(1)});
  ask(33171015, 43, {1, 2});
  int changes = 0;
  hub.on_change([&] { return ++changes > 0; });
  const uint32_t epoch = hub.gyroscope_bias_epoch(4).relearn;
  hub.reboot();
  EXPECT_EQ(hub.offset(1)[0], 1);
  EXPECT_FALSE(hub.save()["sensors"].isMember("33171015"));
  EXPECT_EQ(hub.gyroscope_bias_epoch(4).relearn, epoch + 1);
  hub.factory_reset();
  EXPECT_EQ(hub.gyroscope_bias_epoch(4).relearn, epoch + 2);
  EXPECT_EQ(hub.save(), Hub(&raw, {}).save());
  EXPECT_EQ(changes, 2);
}

TEST_F(HubTest, DescribesValuesWithUnitsAndWhetherTheyWereSet) {
  ask(4, 2, {F(0.5F), F(0), F(0)});
  ask(5, 26, {13, 4095, 35});
  const Json::Value all = hub.describe();
  EXPECT_TRUE(all["Gyr"]["offset"]["set"].asBool());
  EXPECT_EQ(all["Gyr"]["offset"]["value"][0].asDouble(), 0.5);
  EXPECT_EQ(all["Gyr"]["offset"]["unit"], "rad/s");
  EXPECT_FALSE(all["Prx"]["far"]["set"].asBool());
  EXPECT_EQ(all["Prx"]["far"]["value"], 400);
  EXPECT_EQ(all["CCT_F"]["channel_scales"]["value"].size(), 8U);
  EXPECT_FALSE(all["CCT_F"].isMember("golden_channels")) << "has no default";
  EXPECT_EQ(all["Lux"]["backlight"]["value"]["13"]["lux"], 35);
}

}  // namespace
}  // namespace phone
