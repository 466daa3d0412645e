// Light and the panel's own light on whole phones: what each run sends to the hub, what it hands to the next one, and
// what is left behind where something is in its way.
#include <cutils/properties.h>
#include <device_dir.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>

#include "whole_phone.h"

namespace scenario {
namespace {

using phone::HubExchange;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int kLux = sensor_type::light;
constexpr int kPri2 = sensor_type::lux_pri2;
constexpr int kGolden = -1;
constexpr char kBrightness[] = "/sys/class/leds/lcd-backlight/brightness";
constexpr char kLightFile[] = "/mnt/vendor/nvcfg/sensor/lightSensorCali.json";

void world(WholePhone& whole, const std::string& key, const std::string& value) {
  phone::World changed = whole.phone->world();
  ASSERT_EQ(phone::set_world(&changed, key, value), "");
  whole.phone->set_world(changed);
}

void set_panel(WholePhone& whole, int level) {
  ASSERT_EQ(whole.cal->lcdbacklight_calibrate_write_backlight(kBrightness, level), 0);
}

_sensor_info& record(WholePhone& whole, int type) { return whole.cal->env_info[type == kLux ? 1 : 7]; }

// A golden phone shows the truth under the lamp.
void set_golden(WholePhone& whole, int stream) {
  std::vector<float> golden = whole.phone->truth(stream);
  ASSERT_GT(golden.size(), 7U);
  golden.erase(golden.begin(), golden.end() - 7);
  ASSERT_EQ(whole.cal->cal_api->setLuxChannelRawGolden_api(stream, golden.data(), 7), 0);
}

// Light calibrated as far as the panel runs need it, and the phone in the dark box.
void prepare(WholePhone& whole, int type) {
  set_panel(whole, 0);
  world(whole, "dark-box", "off");
  if (whole.phone->profile_name() == "colour-backlight") {
    for (const int stream : {sensor_type::cct_f_stream, type == kLux ? sensor_type::light_stream : 0}) {
      if (stream == 0) continue;
      set_golden(whole, stream);
      ASSERT_EQ(whole.cal->sensor_calibrate(stream, 0), 0);
    }
  }
  ASSERT_EQ(whole.cal->sensor_calibrate(type, 0), 0);
  world(whole, "dark-box", "on");
  whole.take_messages();
}

// The data words of the only request with this code, as many as there are until the last that is not 0, and the sensor
// type in front.
std::vector<int32_t> sent(WholePhone& whole, int code) {
  std::vector<int32_t> out;
  for (const HubExchange& message : whole.take_messages()) {
    if (message.request[1] != code) continue;
    EXPECT_THAT(out, IsEmpty()) << "code " << code << " came twice";
    EXPECT_EQ(message.note, "");
    out.assign(message.request, message.request + 18);
    out.erase(out.begin() + 1);
    while (out.back() == 0) out.pop_back();
  }
  return out;
}

std::vector<int32_t> float_words(const float* values, int count) {
  std::vector<int32_t> out = {bits(static_cast<float>(count))};
  for (int i = 0; i < count; ++i) out.push_back(bits(values[i]));
  return out;
}

std::vector<int32_t> operator+(std::vector<int32_t> a, const std::vector<int32_t>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

std::string content(const WholePhone& whole, const char* path) {
  std::ostringstream out;
  out << std::ifstream(whole.phone->directory() + path).rdbuf();
  return out.str();
}

std::string property(const char* name) {
  char value[PROPERTY_VALUE_MAX];
  property_get(name, value, "");
  return value;
}

// The calling thread's last line of the library itself that is not the dispatch's, as "E text".
std::string last_line(const test::LogCapture& log) {
  const Lines lines = test::library_lines(log);
  const auto own = [](const std::string& line) {
    return line.find(" sensor_calibrate: ") == std::string::npos &&
           line.find("calibrate fail ret") == std::string::npos;
  };
  const auto last = std::find_if(lines.rbegin(), lines.rend(), own);
  return last == lines.rend() ? "" : *last;
}

// A plain light sensor's scale is 200 lux over its own mean, under its own type.
TEST(LightPush, ScaleOfEveryType) {
  WholePhone whole;
  using namespace sensor_type;  // NOLINT(google-build-using-namespace)
  // Type, and which of env_info it runs on.
  constexpr std::pair<int, int> kRows[] = {{light, 1},   {lux_f, 2},          {lux_b, 3},    {lux_b_stream, 3},
                                           {lux_sec, 6}, {lux_sec_stream, 6}, {lux_pri2, 7}, {lux_pri2_stream, 7}};
  for (const auto& [type, record] : kRows) {
    SCOPED_TRACE(type);
    EXPECT_EQ(whole.cal->sensor_calibrate(type, 0), 0);
    const float coefficient = 200.0F / whole.cal->env_info[record].mean[0];
    EXPECT_THAT(sent(whole, 9), ElementsAre(type, bits(coefficient)));
  }
}

TEST(LightPush, GoldenAndChannelScales) {
  WholePhone whole;
  const struct {
    int type;
    int record;
  } rows[] = {{sensor_type::cct_f_stream, 4}, {sensor_type::cct_b_stream, 5}, {sensor_type::light_stream, 1}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.type);
    const float* const mean = whole.cal->env_info[row.record].mean;
    ASSERT_EQ(whole.cal->sensor_calibrate(row.type, kGolden), 0);
    EXPECT_EQ(sent(whole, 28), std::vector<int32_t>{row.type} + float_words(mean, 7));
    float golden[5];
    std::copy_n(mean, 5, golden);
    ASSERT_EQ(whole.cal->sensor_calibrate(row.type, 0), 0);
    float scale[5];
    for (int i = 0; i < 5; ++i) scale[i] = golden[i] / mean[i];
    EXPECT_EQ(sent(whole, 30), std::vector<int32_t>{row.type} + float_words(scale, 5));
    // Only CCT_F_strm writes the light sensor's file, on phones that are told to.
    std::string text;
    for (int i = 0; i < 4; ++i) text += std::to_string(scale[i]) + ",";
    EXPECT_EQ(content(whole, kLightFile).find(text) != std::string::npos, row.record == 4);
    EXPECT_NE(content(whole, kLightFile).find("\"ver\" : \"1\""), std::string::npos);
  }
}

// The hub's own run: asked for, polled until it is done, and no sensor sampled.
TEST(LightPush, TheHubsOwnColourRun) {
  WholePhone whole(options({}, "hub-colour"));
  for (const int param : {kGolden, 0}) {
    whole.take_messages();
    EXPECT_EQ(whole.cal->sensor_calibrate(sensor_type::cct_f_stream, param), 0);
    const std::vector<HubExchange> messages = whole.take_messages();
    ASSERT_GE(messages.size(), 3U);
    EXPECT_EQ(messages[0].request[1], 39);
    EXPECT_EQ(messages[0].request[2], bits(static_cast<float>(param)));
    for (size_t i = 1; i < messages.size(); ++i) {
      const HubExchange& poll = messages[i];
      EXPECT_EQ(poll.request[1], 40);
      EXPECT_EQ(poll.request[2], bits(static_cast<float>(param)));
      EXPECT_EQ(poll.request[3], bits(92.0F));
      EXPECT_EQ(poll.reply[2], i + 1 == messages.size() ? 0 : -1);
    }
  }
  EXPECT_EQ(whole.cal->env_info[4].event_count, 0);
  const Json::Value held = whole.phone->hub_state()["CCT_F"];
  EXPECT_TRUE(held["channel_scales"]["set"].asBool());
  EXPECT_TRUE(held["golden_channels"]["set"].asBool());
}

// A low run after a high one, with what happens between them.
struct PanelRow {
  const char* profile;
  int type;
  const char* max_equal;  // the application's property; empty: not set
  const char* scene;  // lux beside the panel's light in the low run; the high run has none, or "first": there is none
  int result;
  std::vector<int32_t> words;  // of code 26: type, level, brightness, lux; of lux -1 as measured
  const char* line;            // of the low run
};

TEST(PanelRuns, LuxLevels) {
  constexpr int kPri2Stream = sensor_type::lux_pri2_stream;
  const PanelRow rows[] = {
      {"reference", kLux, "", "0", 0, {kLux, 14, 3072, -1}, "setbrightness = 3072"},
      {"reference", kPri2, "", "0", 0, {kPri2, 14, 3072, -1}, "setbrightness = 3072"},
      {"reference", kPri2Stream, "", "0", 0, {kPri2Stream, 14, 3072, -1}, "setbrightness = 3072"},
      // Without a high run before it: nothing the panel could add.
      {"reference", kPri2, "", "first", 0, {kLux, 14, 3072}, "lcdbacklight_low_calibrate set low force to 0"},
      // A lamp that came on in between.
      {"reference", kLux, "", "20", 0, {kLux, 14, 3072, 17}, "low is higher than high: (18.000000, "},
      {"reference", kLux, "", "4.5", -1, {}, "high equal low and than default_equal_spec(5) lux: (18."},
      {"reference", kLux, "18", "4.5", 0, {kLux, 14, 3072, 17}, "default_equal_spec = 18"},
      {"reference", kLux, "nan", "4.5", -1, {}, "max_equal_spec_float = nan,default_equal_spec = 5"},
      {"reference", kLux, "1e30", "4.5", 0, {kLux, 14, 3072, 17}, "default_equal_spec = 2147483647"},
      // Bright panels look for their level.
      {"normal-proximity", kLux, "", "0", 0, {kLux, 14, 2047, -1}, "setbrightness = 2047"},
      {"dov", kPri2, "", "0", 0, {kPri2, 14, 2047, -1}, "setbrightness = 2047"},
  };
  for (const PanelRow& row : rows) {
    SCOPED_TRACE(std::string(row.profile) + " " + std::to_string(row.type) + ": " + row.line);
    WholePhone whole(options({}, row.profile));
    const std::string scene = row.scene;
    if (row.max_equal[0] != '\0') property_set("sys.backlight.max_equal_spec", row.max_equal);
    prepare(whole, row.type);
    const float& mean = record(whole, row.type).mean[0];
    if (scene != "first") {
      EXPECT_EQ(whole.cal->sensor_calibrate(row.type, 13), 0);
      EXPECT_THAT(sent(whole, 26), ElementsAre(row.type, 13, 4095, static_cast<int>(mean)));
      EXPECT_EQ(property("sys.backlight.lux"), std::to_string(mean));
      world(whole, "dark-box", "off");
      world(whole, "lux", scene);
    }
    const test::LogCapture log;
    EXPECT_EQ(whole.cal->sensor_calibrate(row.type, 14), row.result);
    std::vector<int32_t> wanted = row.words;
    if (!wanted.empty() && wanted.back() == -1) wanted.back() = static_cast<int>(mean);
    EXPECT_EQ(sent(whole, 26), wanted);
    EXPECT_TRUE(log.contains(row.line));
    EXPECT_EQ(record(whole, row.type).in_backlight_calibrate, 0);
  }
}

TEST(PanelRuns, ColourLevels) {
  for (const int type : {kLux, kPri2}) {
    SCOPED_TRACE(type);
    WholePhone whole(options({}, "colour-backlight"));
    prepare(whole, type);
    const float* const mean = record(whole, type).mean;
    const auto words = [&](int sensor, int level, int brightness) {
      std::vector<int32_t> out = {sensor, bits(static_cast<float>(level)), bits(static_cast<float>(brightness))};
      for (int i = 0; i < 4; ++i) out.push_back(bits(mean[i]));
      return out;
    };
    EXPECT_EQ(whole.cal->sensor_calibrate(type, 13), 0);
    EXPECT_EQ(sent(whole, 27), words(type, 13, 4095));
    EXPECT_EQ(mean[3], std::floor(mean[3]));
    EXPECT_EQ(property("persist.vendor.sensor.cct_lcdbacklight_b"), std::to_string(mean[3]));
    EXPECT_EQ(record(whole, type).in_lcd_cct_calibrate, 1);  // until the low run
    EXPECT_EQ(whole.cal->sensor_calibrate(type, 14), 0);
    EXPECT_EQ(sent(whole, 27), words(kLux, 14, 3072));  // whatever the type
    EXPECT_EQ(record(whole, type).in_lcd_cct_calibrate, 0);

    // A lamp that is on in the low run alone. The line always shows the main light sensor's value.
    world(whole, "dark-box", "off");
    test::LogCapture log;
    EXPECT_EQ(whole.cal->sensor_calibrate(type, 14), -1);
    EXPECT_THAT(sent(whole, 27), IsEmpty());
    EXPECT_EQ(last_line(log), "E lcdbacklight_low_calibrate low is higher than high: ( " +
                                  std::to_string(whole.cal->env_info[1].mean[3]) + ")\n");
  }
}

// A later process can do the low run; what a reboot takes from it is the system's own property.
TEST(PanelRuns, HandOverToALaterProcess) {
  const struct {
    const char* profile;
    int code;
    bool reboot;
    const char* handed_over;  // beginning of the property's text as the low run sees it
  } rows[] = {{"reference", 26, false, "18."}, {"reference", 26, true, "\0"}, {"colour-backlight", 27, true, "1"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.profile);
    const Folder folder;
    phone::PhoneOptions kept = options({}, row.profile);
    kept.directory = folder.path() + "/phone";
    {
      WholePhone whole(kept);
      prepare(whole, kLux);
      ASSERT_EQ(whole.cal->sensor_calibrate(kLux, 13), 0);
      if (row.reboot) whole.phone->reboot();
    }
    WholePhone whole(kept);
    world(whole, "dark-box", "on");
    const test::LogCapture log;
    EXPECT_EQ(whole.cal->sensor_calibrate(kLux, 14), 0);
    EXPECT_TRUE(log.contains(std::string("test_nusensor_backlight get sys_back_lux = ") + row.handed_over));
    EXPECT_EQ(log.contains("set low force to 0"), row.handed_over[0] == '\0');
    EXPECT_GE(sent(whole, row.code).size(), 3U);
  }
}

// Once both levels are stored, plain light is the scene's, whatever the panel shows.
TEST(PanelRuns, PlainLightNoLongerFollowsThePanel) {
  for (const char* profile : {"reference", "normal-proximity", "colour-backlight"}) {
    for (uint64_t seed = 1; seed <= 10; ++seed) {
      phone::PhoneOptions seeded = options({}, profile);
      seeded.seed = seed;
      WholePhone whole(seeded);
      Client client;
      for (const int type : {kLux, kPri2}) {
        SCOPED_TRACE(std::string(profile) + ", seed " + std::to_string(seed) + ", type " + std::to_string(type));
        prepare(whole, type);
        for (const int level : {13, 14}) ASSERT_EQ(whole.cal->sensor_calibrate(type, level), 0);
        world(whole, "dark-box", "off");  // values below 0 would show as 0
        std::vector<double> seen;
        for (const int brightness : {0, 512, 1024, 2500, 4095}) {
          set_panel(whole, brightness);
          seen.push_back(phone_test::mean(client.collect(type, 100000, 40), 0));
        }
        const auto [least, most] = std::minmax_element(seen.begin(), seen.end());
        EXPECT_LE(*most - *least, 1.0);
        EXPECT_NEAR(*most, 200, 10);
      }
    }
  }
}

// A fault, a run, and the run's result, its last line (without the line feed) and whether the hub then holds the value.
struct FaultRow {
  const char* profile;
  const char* fault;
  int type;
  int param;
  int result;
  const char* line;
  const char* value;  // "SENSOR/NAME"
  bool left;
};

bool is_set(WholePhone& whole, const std::string& value) {
  const size_t slash = value.find('/');
  const Json::Value held = whole.phone->hub_state()[value.substr(0, slash)][value.substr(slash + 1)];
  return !held.isNull() && held["set"].asBool();
}

void expect_fault(WholePhone& whole, const FaultRow& row) {
  SCOPED_TRACE(std::string(row.fault) + " on " + row.profile + ", type " + std::to_string(row.type) + ", parameter " +
               std::to_string(row.param));
  const test::LogCapture log;
  EXPECT_EQ(whole.cal->sensor_calibrate(row.type, row.param), row.result);
  const std::string line = last_line(log);
  EXPECT_EQ(line.substr(0, line.find('\n')), row.line);
  EXPECT_EQ(is_set(whole, row.value), row.left);
}

TEST(PanelFaults, OfTheNode) {
  const char* const no_write = "E lcdbacklight_calibrate_write_backlight failed";
  const char* const mismatch = "E lcdbacklight_high_calibrate brightness matching check failed";
  for (const char* profile : {"reference", "colour-backlight"}) {
    const char* const value = profile == std::string("reference") ? "Lux/backlight" : "Lux/colour_backlight";
    for (const int level : {13, 14}) {
      const FaultRow rows[] = {
          {profile, "brightness-missing", kLux, level, -1, no_write, value, false},
          {profile, "brightness-read-only", kLux, level, -1, no_write, value, false},
          {profile, "brightness-clamped:2000", kLux, level, 0, mismatch, value, false},  // no failure, nothing sent
      };
      for (const FaultRow& row : rows) {
        WholePhone whole(options({row.fault}, profile));
        expect_fault(whole, row);
        EXPECT_EQ(property("sys.backlight.lux"), "");
      }
    }
  }
}

// The hub's answer is forced; the message reaches it all the same.
TEST(LightFaults, OfTheHub) {
  const int cct = sensor_type::cct_f_stream;
  const char* const level = "E setAlsBacklightLuxCali_api failed";
  const char* const unread = "E lightsensor_calibrate getLuxScale fail ret = -3";
  const char* const golden = "Lux/golden_channels";
  const char* const scales = "CCT_F/channel_scales";
  const char* const colour = "colour-backlight";
  const FaultRow rows[] = {
      {"reference", "hub-word:26,1,-4", kLux, 13, -4, level, "Lux/backlight", true},
      {"normal-proximity", "hub-word:26,1,-4", kLux, 14, -4, level, "Lux/backlight", true},
      // The forced zero flattens the hub's answer and goes to the main sensor.
      {"reference", "hub-word:26,1,3", kPri2, 14, -1, level, "Lux/backlight", true},
      {colour, "hub-word:27,0,6", kLux, 13, 6, level, "Lux/colour_backlight", true},
      {colour, "hub-word:27,0,6", kLux, 14, -1, "E setCctChannelBacklight_api failed", "Lux/colour_backlight", true},
      {colour, "hub-word:31,0,-3", kLux, 13, -3, unread, "Lux/colour_backlight", false},
      {colour, "hub-word:31,0,-3", kLux, 14, -3, unread, "Lux/colour_backlight", false},
      {"reference", "hub-word:28,0,1", sensor_type::light_stream, kGolden, -1,
       "E sensor(type=33171007) failed to set golden channel data", golden, true},
      {"reference", "hub-word:29,0,-7", cct, 0, -1, "E lightsensor_calibrate getLuxScale fail ret = -1", scales, false},
      {"reference", "hub-word:31,0,-3", cct, 0, -3, unread, scales, false},
      {"reference", "hub-word:30,0,1", cct, 0, -1, "E calibrate sensor(type=33171089) failed when set offset to hub",
       scales, true},
      {"hub-colour", "hub-word:39,0,1", cct, 0, -1,
       "E calibrate cct sensor(type=33171089) failed when set offset to hub", scales, false},
      {"hub-colour", "hub-word:40,0,7", cct, 0, 7,
       "D calibrate cct sensor(type=33171089) wait to be finished, countdown_times=30", scales, false},
  };
  for (const FaultRow& row : rows) {
    WholePhone whole(options({row.fault}, row.profile));
    world(whole, "dark-box", row.param >= 13 ? "on" : "off");
    // A low run that follows a high one, of 40 lux or 5000 counts.
    if (row.type == kLux && row.param == 14) property_set("sys.backlight.lux", "40");
    if (row.type == kLux && row.param == 14) property_set("persist.vendor.sensor.cct_lcdbacklight_b", "5000");
    if (row.type == cct) set_golden(whole, cct);
    const std::string file = content(whole, kLightFile);
    expect_fault(whole, row);
    EXPECT_EQ(content(whole, kLightFile), file);
  }
}

// The light sensor's file in the way: the hub has the scales already.
TEST(LightFaults, OfTheFile) {
  for (const std::string damage : {"garbled:", "truncated:"}) {
    const std::string fault = damage + kLightFile;
    WholePhone whole(options({fault}));
    const std::string before = content(whole, kLightFile);
    set_golden(whole, sensor_type::cct_f_stream);
    expect_fault(whole, {"reference", fault.c_str(), sensor_type::cct_f_stream, 0, -1, "E parse json error",
                         "CCT_F/channel_scales", true});
    EXPECT_EQ(content(whole, kLightFile), before);
  }
}

TEST(ProximityFaults, OfThePersistPartition) {
  const int prx = sensor_type::proximity;
  const char* const not_saved = "E saveProDelta_api save delta failed!";
  const char* const done = "D psensor crosstalk to file done";
  const char* const no_crosstalk = "I calibration factor=1.890000, offset_threshold=1000, offset_ct=0";
  const char* const normal = "normal-proximity";
  for (const char* fault : {"persist-full", "persist-read-only", "persist-absent"}) {
    const FaultRow rows[] = {
        // Without a file the crosstalk goes to the hub, and there is nothing to restore.
        {normal, fault, prx, 0, 0, done, "Prx/crosstalk", true},
        {normal, fault, prx, 19, 0, done, "Prx/near", false},
        // The thresholds are out before the file fails.
        {normal, fault, prx, 2, -1, not_saved, "Prx/near", true},
        // A crosstalk that could not be saved passes, and reads as 0 in the next step.
        {"reference", fault, prx, 0, 0, "D using hw calibration procedure for psensor!", "Prx/hardware_crosstalk",
         true},
        {"reference", fault, prx, 2, 0, no_crosstalk, "Prx/near", true},
    };
    std::unique_ptr<WholePhone> whole;
    for (const FaultRow& row : rows) {
      if (row.param == 0) whole.reset();
      if (whole == nullptr) whole = std::make_unique<WholePhone>(options({fault}, row.profile));
      world(*whole, "target", row.param == 2 ? "3" : "none");
      expect_fault(*whole, row);
    }
  }
}

}  // namespace
}  // namespace scenario
