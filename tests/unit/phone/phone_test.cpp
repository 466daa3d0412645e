// A phone's directory, profile and world.
#include <cutils/properties.h>
#include <gtest/gtest.h>
#include <host/device_root.h>
#include <host/property_store.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "open_phone.h"
#include "phone/core/phone_directory.h"

namespace phone_test {
namespace {

namespace fs = std::filesystem;
using test::content;

void write(const std::string& path, const std::string& text) { std::ofstream(path) << text; }

// What opening says when it fails; empty when it does not.
std::string problem(const phone::PhoneOptions& options) {
  try {
    phone::Phone::open(options);
  } catch (const phone::PhoneError& error) {
    return error.what();
  }
  return "";
}

phone::PhoneOptions in(const std::string& directory) { return options({}, "reference", directory); }

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

TEST(PhoneDirectory, ALaidOutDeviceThatStays) {
  const Folder folder;
  const std::string path = folder.path() + "/new/phone";
  {
    const auto phone = phone::Phone::open(in(path));
    EXPECT_EQ(phone->directory(), path);
    EXPECT_EQ(phone->profile_name(), "reference");
    EXPECT_EQ(phone->seed(), 7U);
    EXPECT_TRUE(phone->remarks().empty());
    EXPECT_EQ(host::device_root(), path);
    char value[PROPERTY_VALUE_MAX];
    EXPECT_EQ(property_get("ro.build.product", value, ""), 9);
    for (const char* file : {"mnt/vendor/persist/sensors", "mnt/vendor/nvcfg/sensor/lightSensorCali.json",
                             "vendor/etc/sensors/judge_calibrated.json"}) {
      EXPECT_TRUE(fs::exists(path + "/" + file)) << file;
    }
    EXPECT_EQ(content(path + "/sys/class/leds/lcd-backlight/max_brightness"), "4095\n");
    EXPECT_EQ(ask_hub(1, 0, {bits(0.5F), 0, 0}).at(0), 0);
    property_set("sys.backlight.lux", "12.0");
    write(path + "/mnt/vendor/persist/sensors/PSensor_ct1.txt", "offset=3\n");
  }
  EXPECT_EQ(host::device_root(), "");
  EXPECT_TRUE(host::all_properties().empty());

  phone::PhoneOptions again = in(path);
  again.seed = 99;
  again.profile = "tof";
  const auto phone = phone::Phone::open(again);
  EXPECT_EQ(phone->profile_name(), "reference") << "a phone keeps its make";
  EXPECT_EQ(phone->seed(), 7U) << "and its errors";
  EXPECT_EQ(ask_hub(1, 1).at(0), bits(0.5F));
  EXPECT_EQ(host::all_properties().at("sys.backlight.lux"), "12.0") << "this was no reboot";

  phone->factory_reset();
  EXPECT_EQ(ask_hub(1, 1).at(0), 0);
  EXPECT_TRUE(fs::is_empty(path + "/mnt/vendor/persist/sensors"));
  EXPECT_TRUE(fs::exists(path + "/mnt/vendor/nvcfg/sensor/lightSensorCali.json"));
}

TEST(PhoneDirectory, ATemporaryOneGoesWithThePhone) {
  std::string path;
  {
    const auto phone = phone::Phone::open(options());
    path = phone->directory();
    EXPECT_TRUE(fs::exists(path + "/profile.json"));
  }
  EXPECT_FALSE(fs::exists(path));

  // Also the one that was never finished.
  const Folder folder;
  setenv("TMPDIR", folder.path().c_str(), 1);
  EXPECT_TRUE(contains(problem(options({}, "no-such")), "no profile 'no-such'"));
  EXPECT_NE(problem(options({"no-such"})), "");
  unsetenv("TMPDIR");
  EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST(PhoneDirectory, PropertiesKeepAndroidsNamesAndTexts) {
  const Folder folder;
  write(folder.path() + "/build.prop",
        std::string("ro.made=by\0us\n", 14) + "a=no\nro.long=" + std::string(PROPERTY_VALUE_MAX, '\\') + "\n");
  host::open_properties(folder.path());
  for (const char* name : {"", "a=b", "a\nb", "#a", "a b", ".a", "a.", "a..b"}) {
    EXPECT_EQ(property_set(name, "1"), -1) << name;
  }
  EXPECT_EQ(property_set("ro.made", "again"), -1);
  EXPECT_EQ(property_set("persist.long", std::string(PROPERTY_VALUE_MAX, 'x').c_str()), -1);
  for (int times = 0; times < 2; ++times) EXPECT_EQ(property_set("persist.a-b_c:d@e", "1\n\\"), 0);
  host::open_properties(folder.path());
  char value[PROPERTY_VALUE_MAX];
  EXPECT_EQ(property_get("ro.made", value, ""), 2) << "a text ends at its first NUL";
  EXPECT_EQ(property_get("ro.long", value, ""), PROPERTY_VALUE_MAX - 1);
  EXPECT_EQ(property_get_bool("a", 1), 0);
  EXPECT_EQ(host::all_properties().at("persist.a-b_c:d@e"), "1\n\\");
  EXPECT_EQ(host::all_properties().size(), 4U);
  host::hide_property("a", std::nullopt);
  EXPECT_EQ(host::all_properties().size(), 3U);
  host::show_properties();
  host::open_properties("");
}

TEST(PhoneDirectory, RebootDropsWhatARealOneDrops) {
  const auto phone = phone::Phone::open(options());
  const std::string node = phone->directory() + "/sys/class/leds/lcd-backlight/brightness";
  ask_hub(1, 0, {bits(0.5F), 0, 0});
  property_set("persist.vendor.test", "1");
  property_set("sys.backlight.lux", "12.0");
  write(node, "4000\n");
  phone->reboot();
  EXPECT_EQ(ask_hub(1, 1).at(0), bits(0.5F));
  EXPECT_EQ(host::all_properties().count("persist.vendor.test"), 1U);
  EXPECT_EQ(host::all_properties().count("sys.backlight.lux"), 0U);
  EXPECT_EQ(std::stoi(content(node)), 1024);
}

TEST(PhoneDirectory, OneHolderAtATime) {
  const Folder folder;
  const auto phone = phone::Phone::open(in(folder.path() + "/a"));
  EXPECT_TRUE(contains(problem(in(folder.path() + "/b")), "this process has a phone already"));
  // Another process meets the lock.
  const pid_t child = fork();
  if (child == 0) {
    std::string text;
    try {
      const phone::PhoneDirectory directory(in(folder.path() + "/a"));
    } catch (const phone::PhoneError& error) {
      text = error.what();
    }
    _exit(contains(text, folder.path() + "/a") && contains(text, "process " + std::to_string(getppid())) ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST(PhoneDirectory, AnInterruptedFirstUseIsFinished) {
  const Folder folder;
  const std::string path = folder.path() + "/phone";
  phone::Phone::open(in(path)).reset();
  fs::remove(path + "/state.json");
  fs::remove(path + "/build.prop");
  const auto phone = phone::Phone::open(in(path));
  ASSERT_EQ(phone->remarks().size(), 1U);
  EXPECT_TRUE(contains(phone->remarks()[0], path));
  EXPECT_EQ(host::all_properties().at("ro.build.product"), "reference");
}

TEST(PhoneDirectory, ErrorsNameTheFileAndTheProcessIsLeftAsItWas) {
  const Folder folder;
  const std::string path = folder.path() + "/phone";
  phone::Phone::open(in(path)).reset();
  const std::string good_profile = content(path + "/profile.json");

  const std::pair<std::string, std::string> bad[] = {{"/state.json", "{"},
                                                     {"/state.json", R"({"seed": 7})"},
                                                     {"/profile.json", good_profile.substr(0, good_profile.size() / 2)},
                                                     {"/hub_registry.json", "garbage"}};
  for (const auto& [file, text] : bad) {
    write(path + file, text);
    EXPECT_TRUE(contains(problem(in(path)), path + file)) << text;
    EXPECT_EQ(content(path + file), text);
    write(path + "/state.json", R"({"seed": 7, "openings": 1})");
    write(path + "/profile.json", good_profile);
    fs::remove(path + "/hub_registry.json");
  }
  EXPECT_EQ(host::device_root(), "");
  EXPECT_EQ(problem(in(path)), "");

  write(folder.path() + "/other.txt", "mine");
  EXPECT_TRUE(contains(problem(in(folder.path())), "neither empty nor a phone's"));
  EXPECT_FALSE(fs::exists(folder.path() + "/.lock"));
}

TEST(Profiles, ErrorsNameFileAndKey) {
  const Folder folder;
  const std::string deep(2000, '[');
  const struct {
    const char* text;
    const char* key;
  } rows[] = {
      {"[]", ""},
      {"{", "not JSON"},
      {deep.c_str(), "not JSON"},
      {R"({"extends": "reference", "chips": {"barometer": {"bias": 1e30}}})", ".bias: out of range"},
      {R"({"extends": "reference", "chips": {"barometer": {"bias": [1, -1e300]}}})", ".bias: out of range"},
      {R"({"name": "x"})", ".chips"},
      {R"({"extends": "reference", "nmae": "x"})", ".nmae: unknown key"},
      {R"({"extends": "reference", "sensors": {"Axx": {"handle": 90}}})", ".sensors.Axx: unknown sensor"},
      {R"({"extends": "reference", "sensors": {"Acc": {"handle": 2}}})", ".handle: taken"},
      {R"({"extends": "reference", "sensors": {"Acc": {"chip": "none"}}})", ".sensors.Acc.chip: no such chip"},
      {R"({"extends": "reference", "sensors": {"Acc": {"name": null}}})", ".sensors.Acc.name: missing"},
      {R"({"extends": "reference", "chips": {"barometer": {"noise_density": -1}}})",
       ".chips.barometer.noise_density: out of range"},
      {R"({"extends": "reference", "chips": {"barometer": {"bias": {"from": 2, "to": 1}}}})",
       ".bias: to is below from"},
      {R"({"extends": "reference", "chips": {"main light": {"response": [1, 2]}}})", ".response: wants 7 numbers"},
      {R"({"extends": "reference", "panel": {"max_brightness": "x"}})", ".panel.max_brightness: wants a whole number"},
      {R"({"extends": "reference", "world": {"lux": "bright"}})", ".world: the world's 'lux' cannot be 'bright'"},
      {R"({"extends": "reference", "files": {"/a/../b": "x"}})", ".files./a/../b"},
      {R"({"extends": "reference", "faults": ["no-such"]})", "unknown fault 'no-such'"},
      {R"({"extends": "self.json"})", "circle"},
  };
  const std::string path = folder.path() + "/self.json";
  for (const auto& row : rows) {
    write(path, row.text);
    const std::string what = problem(options({}, path));
    EXPECT_TRUE(contains(what, row.key)) << row.text << " gives " << what;
    const bool of_fault = contains(row.text, "no-such");
    EXPECT_TRUE(of_fault || contains(what, path)) << what;
  }
}

TEST(Profiles, AFileExtendsAnotherBesideIt) {
  const Folder folder;
  write(folder.path() + "/base.json", R"({"extends": "tof", "chips": {"barometer": {"bias": 0.5}}})");
  write(folder.path() + "/mine.json",
        R"({"extends": "base.json", "name": "mine", "sensors": {"Gyr2": null}, "world": {"pressure": "990"}})");
  phone::PhoneOptions replaying = options({}, folder.path() + "/mine.json");
  write(folder.path() + "/a.csv", "t (s),x,y,z\n0,1,2,3\n");
  replaying.replays = {"Gyr2=" + folder.path() + "/a.csv"};
  EXPECT_EQ(problem(replaying), "a recording for Gyr2, which this phone does not have");
  const auto phone = phone::Phone::open(options({}, folder.path() + "/mine.json"));
  Client client;
  EXPECT_EQ(client.handles.count(268369924), 0U);
  Result found = Result::OK;
  client.manager->getDefaultSensor(static_cast<SensorType>(268369924), [&](const auto&, Result told) { found = told; });
  EXPECT_EQ(found, Result::NOT_EXIST);
  EXPECT_EQ(phone->truth(6), std::vector<float>{990});
  EXPECT_NEAR(mean(client.collect(6, 50000, 20), 0), 990.5, 0.03);
}

TEST(World, TextsAndBack) {
  phone::World world;
  const struct {
    const char* key;
    const char* value;
    bool good;
  } rows[] = {{"up", "face-down", true},     {"up", "0,0,0", false},     {"up", "1,2", false},
              {"up", "0,3,4", true},         {"lux", "dark", true},      {"lux", "-1", false},
              {"lux", "12.5x", false},       {"cct", "2700", true},      {"target", "3", true},
              {"target", "", false},         {"dark-box", "yes", false}, {"dark-box", "on", true},
              {"rotation", "0,0,1.5", true}, {"pressure", "nan", false}, {"humidity", "3", false}};
  for (const auto& row : rows) {
    const std::string what = phone::set_world(&world, row.key, row.value);
    EXPECT_EQ(what.empty(), row.good) << row.key << "=" << row.value << ": " << what;
    EXPECT_TRUE(what.empty() || contains(what, row.key)) << what;
  }
  EXPECT_FLOAT_EQ(world.up[1], 0.6F);
  phone::World copy;
  for (const auto& [key, value] : phone::describe(world)) EXPECT_EQ(phone::set_world(&copy, key, value), "") << key;
  EXPECT_EQ(phone::describe(copy), phone::describe(world));
}

}  // namespace
}  // namespace phone_test
