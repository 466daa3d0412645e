// Every kind of sensor of every shipped phone, calibrated in the order a factory would take: fresh samples then agree
// with the truth, the report says so and outlives a reboot, and doing it all again changes nothing.
#include <gmock/gmock.h>

#include <algorithm>
#include <ostream>
#include <set>

#include "acceptance/residuals.h"
#include "hub_numbers.h"
#include "whole_phone.h"

namespace scenario {
namespace {

using namespace sensor_type;  // NOLINT(google-build-using-namespace): the tables below are nothing but these names

constexpr char kBrightness[] = "/sys/class/leds/lcd-backlight/brightness";
constexpr int kLights[] = {light, lux_f, lux_b, lux_b_stream, lux_sec, lux_sec_stream, lux_pri2, lux_pri2_stream};
constexpr int kStreams[] = {cct_f_stream, cct_b_stream, light_stream};

// What differs between the shipped phones.
struct Model {
  const char* profile;
  bool colour_panel = false;      // panel levels are colour channels, and plain lux is computed from channels
  bool normal_proximity = false;  // thresholds from the delta file
  bool proximity_is_tof = false;
  size_t verdicts = 11;
  float factor = 1.89F;  // of the far threshold
};

void PrintTo(const Model& model, std::ostream* out) { *out << model.profile; }

constexpr Model kModels[] = {
    {"reference"},
    {.profile = "normal-proximity", .normal_proximity = true, .factor = 2.27F},
    {.profile = "dov", .normal_proximity = true, .factor = 2.27F},
    {.profile = "tof", .normal_proximity = true, .proximity_is_tof = true, .factor = 2.27F},
    {.profile = "hub-colour", .verdicts = 12},
    {.profile = "colour-backlight", .colour_panel = true, .verdicts = 12},
    {"raz"},
    {"pok"},
    {.profile = "tessak", .factor = 2.6F},
    {"velra"},
};

using test::Numbers;

class Factory {
 public:
  explicit Factory(const Model& model, const std::string& directory)
      : model_(model), whole_(options({}, model.profile, directory)) {}

  WholePhone& whole() { return whole_; }
  SensorCalibration& cal() { return *whole_.cal; }

  Numbers held() { return test::numbers_in(whole_.phone->hub_state()); }

  void calibrate_everything() {
    set_panel(0);
    for (const Inertial& kind : kInertial) EXPECT_EQ(cal().sensor_calibrate(kind.type, 0), 0) << kind.type;
    EXPECT_EQ(cal().sensor_setconfig(pressure, 0, 1013.25F), 0.0);
    // Lux that is computed from channels can be scaled once these are right.
    if (model_.colour_panel) calibrate_channels();
    for (const int type : kLights) EXPECT_EQ(cal().sensor_calibrate(type, 0), 0) << type;
    if (!model_.colour_panel) calibrate_channels();
    world("dark-box", "on");
    EXPECT_EQ(whole_.measure_dark(), 0);
    for (const int type : {light, lux_pri2}) {
      for (const int level : {13, 14}) EXPECT_EQ(cal().sensor_calibrate(type, level), 0) << type << " " << level;
    }
    set_panel(0);
    world("dark-box", "off");
    calibrate_proximity();
    for (const int type : {sar, sar_second}) {
      EXPECT_EQ(cal().sensor_calibrate(type, 0), 0);
      expect_right(type, 3, 5);
    }
    calibrate_tof(tof, 6);
    if (model_.proximity_is_tof) calibrate_tof(proximity, 7);
    EXPECT_EQ(cal().GetCalibrated(), std::string(model_.verdicts, '1'));
  }

  // Another near threshold.
  void restore_from_delta() {
    EXPECT_EQ(cal().sensor_calibrate(proximity, 19), 0);
    EXPECT_EQ(held().at("Prx/near"), delta());
  }

  int delta() {
    int value = 0;
    EXPECT_EQ(cal().cal_api->load_prox_delta(&value), 0);
    return value;
  }

 private:
  void world(const std::string& key, const std::string& value) {
    phone::World changed = whole_.phone->world();
    ASSERT_EQ(phone::set_world(&changed, key, value), "");
    whole_.phone->set_world(changed);
  }

  void set_panel(int level) { ASSERT_EQ(cal().lcdbacklight_calibrate_write_backlight(kBrightness, level), 0); }

  // Fresh samples against the truth.
  void expect_right(int type, size_t values, double limit) {
    const std::vector<float> truth = whole_.phone->truth(type);
    const auto events = client_.collect(type, 50000, 100);
    for (size_t i = 0; i < values; ++i) EXPECT_NEAR(phone_test::mean(events, i), truth.at(i), limit) << type;
  }

  void calibrate_channels() {
    for (const int type : kStreams) {
      EXPECT_EQ(whole_.set_golden(type), 0);
      EXPECT_EQ(cal().sensor_calibrate(type, 0), 0) << type;
    }
  }

  void calibrate_proximity() {
    world("target", "none");
    EXPECT_EQ(cal().sensor_calibrate(proximity, 0), 0);
    world("target", "3");
    EXPECT_EQ(cal().sensor_calibrate(proximity, 2), 0);
    world("target", "none");
    expect_thresholds();
  }

  // The far threshold lies between the crosstalk and the near one. Chips that measure their own crosstalk have it in
  // files, whole, in however many parts they told it; the others have it in the hub, and the distance in a file.
  void expect_thresholds() {
    const Numbers hub = held();
    int crosstalk = -1;
    EXPECT_EQ(cal().cal_api->getPrxOffset_api(&crosstalk, 0, model_.normal_proximity ? 0 : 1), 0);
    const int near = static_cast<int>(hub.at("Prx/near"));
    const auto distance = static_cast<float>(near - crosstalk);
    EXPECT_GE(distance, 50);
    EXPECT_EQ(hub.at("Prx/far"), static_cast<int>(distance / model_.factor + static_cast<float>(crosstalk)));
    if (model_.normal_proximity) {
      EXPECT_EQ(delta(), near - crosstalk);
    } else {
      int measured = -1;
      EXPECT_EQ(cal().cal_api->getPrxOffset_api(&measured, 3, 1), 0);
      EXPECT_EQ(measured, static_cast<int>(hub.at("Prx/hardware_crosstalk")));
    }
  }

  // The reference and the offset are taken at 10 cm; what has a third step takes it without a target.
  void calibrate_tof(int type, int last_step) {
    for (int step = 5; step <= last_step; ++step) {
      world("target", step == 7 ? "none" : "10");
      EXPECT_EQ(cal().sensor_calibrate(type, step), 0) << type << " step " << step;
    }
    for (const char* target : {"10", "30"}) {
      world("target", target);
      expect_right(tof, 1, 1);
    }
    world("target", "none");
  }

  const Model& model_;
  WholePhone whole_;
  Client client_;
};

// What each sensor then shows to whoever opens the phone.
void expect_right(const std::string& directory) {
  for (const acceptance::Residual& residual : acceptance::measure_residuals(directory)) {
    EXPECT_TRUE(residual.set) << residual.sensor;
    EXPECT_LE(residual.value, residual.unit == "of golden" ? 0.01 : residual.limit) << residual.sensor;
  }
}

void expect_same(const Numbers& before, const Numbers& after) {
  ASSERT_EQ(before.size(), after.size());
  for (const auto& [path, value] : before) {
    ASSERT_EQ(after.count(path), 1U) << path;
    EXPECT_NEAR(after.at(path), value, test::wander(path, value)) << path;
  }
}

std::string model_name(const ::testing::TestParamInfo<Model>& info) {
  std::string name = info.param.profile;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

class WholePhoneTest : public ::testing::TestWithParam<Model> {};

TEST_P(WholePhoneTest, CalibratedOnceAndForAll) {
  const Model& model = GetParam();
  const Folder folder;
  const std::string directory = folder.path() + "/phone";
  Numbers as_made, found;
  {
    Factory factory(model, directory);
    ASSERT_EQ(factory.cal().initCheck(), 0);
    EXPECT_EQ(factory.cal().GetCalibrated(), std::string(model.verdicts, '0'));
    as_made = factory.held();
    factory.calibrate_everything();
    found = factory.held();
    if (HasFatalFailure()) return;
  }
  expect_right(directory);
  {
    Factory factory(model, directory);
    factory.calibrate_everything();
    expect_same(found, factory.held());
    if (model.normal_proximity) factory.restore_from_delta();
    found = factory.held();
  }
  expect_right(directory);
  Factory factory(model, directory);  // a later process
  EXPECT_EQ(factory.held(), found);
  EXPECT_EQ(factory.cal().GetCalibrated(), std::string(model.verdicts, '1'));
  factory.whole().phone->reboot();
  EXPECT_EQ(factory.held(), found);
  EXPECT_EQ(factory.cal().GetCalibrated(), std::string(model.verdicts, '1'));

  factory.whole().phone->factory_reset();
  EXPECT_EQ(factory.held(), as_made);
  EXPECT_EQ(factory.cal().GetCalibrated(), std::string(model.verdicts, '0'));
  int nothing = 0;
  EXPECT_EQ(factory.cal().cal_api->load_prox_delta(&nothing), -5);
}

INSTANTIATE_TEST_SUITE_P(Profiles, WholePhoneTest, ::testing::ValuesIn(kModels), model_name);

TEST(WholePhoneTest, EveryShippedProfileIsAmongThem) {
  std::set<std::string> tested;
  for (const Model& model : kModels) tested.insert(model.profile);
  const std::vector<std::string> shipped = phone::shipped_profiles();
  EXPECT_EQ(tested, std::set<std::string>(shipped.begin(), shipped.end()));
}

}  // namespace
}  // namespace scenario
