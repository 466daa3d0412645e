#include <SensorCalibration.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <host/property_store.h>

#include <set>
#include <string>

#include "base/record.h"
#include "catalogue/product.h"
#include "fake_hub.h"
#include "fake_sensors.h"
#include "log_capture.h"

namespace test {
namespace {

using ::testing::ElementsAre;

TEST(SensorTypeTest, TagsAndNumbersTranslateBothWays) {
  for (const auto& [tag, number] :
       {std::pair("Acc", 1), {"MagCal", 2}, {"Mag", 14}, {"Lux_pri2_strm", 33171084}, {"Gyr2", 268369924}}) {
    EXPECT_EQ(getSensorType(tag), number) << tag;
    EXPECT_STREQ(getSensorName(number), tag);
  }
}

TEST(SensorTypeTest, UnknownTagsAndNumbers) {
  const std::pair<const char*, int> kTexts[] = {{"acc", -1}, {"Acc ", -1}, {"", -1},
                                                {"-1", -1},  {" 5", -1},   {"14", 14},
                                                {"5x", 5},   {"9", 9},     {"33171054", 33171054}};
  for (const auto& [text, number] : kTexts) EXPECT_EQ(getSensorType(text), number) << '"' << text << '"';
  for (const int number : {0, -1, 15, 33171041, 33171059, INT32_MIN}) {
    EXPECT_EQ(getSensorName(number), std::to_string(number));
  }
}

class CatalogueTest : public ::testing::Test {
 protected:
  void SetUp() override {
    host::open_properties("");
    sensors_ = FakeSensors::install({});
    FakeHub::install();
  }
  void TearDown() override {
    FakeSensors::remove();
    FakeHub::remove();
  }
  ::android::sp<FakeSensors> sensors_;
};

TEST_F(CatalogueTest, BindsListedSensorsToTheirRecords) {
  sensors_->list = {sensor(33171085, 20, "b stream"), sensor(5, 10, "light one"), sensor(5, 11, "light two"),
                    sensor(1, 1, "acc one"),          sensor(2, 3, "mag"),        sensor(1, 2, "acc two", "other")};
  LogCapture log;
  SensorCalibration cal;
  const std::map<int, int> kHandles = {{0, 2}, {9, 10}, {11, 20}};
  for (int i = 0; i < 18; ++i) {
    const _sensor_info& record = record_at(cal, i);
    const auto expected = kHandles.find(i);
    EXPECT_EQ(record.present, expected == kHandles.end() ? 0 : 1) << i;
    EXPECT_EQ(record.info.sensorHandle, expected == kHandles.end() ? 0 : expected->second) << i;
  }
  const Lines lines = library_lines(log);
  const Lines discovery(lines.begin() + 2, lines.begin() + 10);
  EXPECT_THAT(discovery,
              ElementsAre("I enter get_all_sensors_info", "I get_all_sensors_info 6",
                          "I Sensor: b stream found. Vendor: maker!", "I Sensor: light one found. Vendor: maker!",
                          "I Sensor: acc one found. Vendor: maker!", "I Sensor: acc two found. Vendor: other!",
                          "I Sensor:xxxxxxxxxxx found. Vendor:", "I Sensor:xxxxxxxxxxx 6  6 found. Vendor:"));

  // Another scan forgets what is gone.
  sensors_->list = {sensor(33171007, 12, "light stream")};
  cal.get_all_sensors_info();
  EXPECT_EQ(record_at(cal, 0).present, 0);
  EXPECT_EQ(record_at(cal, 9).info.sensorHandle, 12);
  EXPECT_EQ(cal.sensor_list.size(), 1U);
}

TEST_F(CatalogueTest, AStreamTakesTheRecordFromItsPlainVariantAndALaterSensorFromAnEarlierOne) {
  const std::set<int> kPlain = {5, 33171055, 33171080, 33171081};
  SensorCalibration cal;
  for (const auto& [first, number] : kDelivering) {
    for (const auto& [second, also] : kDelivering) {
      if (number != also) continue;
      SCOPED_TRACE(std::to_string(first) + " " + std::to_string(second));
      sensors_->list = {sensor(first, 1, "one"), sensor(second, 2, "two")};
      cal.get_all_sensors_info();
      EXPECT_EQ(record_at(cal, number).info.sensorHandle, kPlain.count(second) != 0 ? 1 : 2);
      for (int i = 0; i < 18; ++i) EXPECT_EQ(record_at(cal, i).present, i == number) << i;
    }
  }
}

TEST_F(CatalogueTest, FailedListLeavesTheRecordsUnboundAndTheObjectReady) {
  sensors_->list = {sensor(1, 1, "acc")};
  for (const bool never_answers : {false, true}) {
    sensors_->list_result = Result::UNKNOWN_ERROR;
    sensors_->never_answers = never_answers;
    LogCapture log;
    SensorCalibration cal;
    EXPECT_TRUE(log.contains("E/libsensor_cal: get_all_sensors_info: Failed to get sensor list"));
    EXPECT_EQ(cal.motion_info[0].present, 0);
    EXPECT_EQ(cal.initCheck(), 0);  // the command API came up after it
    cal.get_all_sensors_info();
    EXPECT_EQ(cal.initCheck(), -19);
  }
}

TEST_F(CatalogueTest, ProbesMatchNamePrefixes) {
  using Cal = SensorCalibration;
  const struct {
    int type;
    std::string name;
    int (Cal::*probe)();
    int expected;
    const char *found, *checking, *end;  // what the three lines say
  } cases[] = {
      {5, "BH1745 BH1745 ALS DEVICE rev 2", &Cal::test_is_rgb_sensor, 1, "sensor_lookup_list_check", "E rgb sensor",
       "found in rgb sensor list"},
      {5, "BH1745", &Cal::test_is_rgb_sensor, 0, "sensor_lookup_list_check", "E rgb sensor", "not rgb sensor"},
      {8, "vl53l3_tof x", &Cal::test_is_ps_tof_sensor, 1, "test_is_ps_tof_sensor", "I tof calibration sensors",
       "found in sensorlist using TOF calibration methods"},
      {33171040, "vl53l1", &Cal::test_is_tof_sensor, 0, "test_is_tof_sensor", "I tof calibration sensors",
       "not supporting tof calibration"},
      {8, "tmd2725_prox", &Cal::test_is_pshwcali_sensor, 1, "test_is_tof_sensor", "E hw calibration",
       "found in sensorlist using HW calibration methods"},
      {8, "TMD2725", &Cal::test_is_pshwcali_sensor, 0, "test_is_tof_sensor", "E hw calibration",
       "not supporting HW calibration"},
      {8, "tmd272", &Cal::test_is_pshwcali_sensor, 0, "test_is_tof_sensor", "E hw calibration",
       "not supporting HW calibration"},
  };
  Cal cal;
  for (const auto& c : cases) {
    sensors_->list = {sensor(c.type, 1, c.name)};
    LogCapture log;
    EXPECT_EQ((cal.*c.probe)(), c.expected) << c.name;
    const std::string checking = c.checking;
    EXPECT_THAT(library_lines(log),
                ElementsAre(std::string("I ") + c.found + " Sensor: " + c.name + " found. Vendor: maker!",
                            checking.substr(0, 2) + c.name + " checking for " + checking.substr(2) + "!",
                            "E " + c.name + " sensor " + c.end + "!"));
  }
  for (const char* chip : {"tmd2620", "tmd3702", "tcs3701"}) EXPECT_TRUE(cal.sensor_lookup_list_check(chip, 8)) << chip;
  EXPECT_TRUE(cal.tof_sensor_lookup_list_check("vl53l0_tof", 8));
  LogCapture log;
  EXPECT_FALSE(cal.tof_sensor_lookup_list_check("vl53l0_tof", 5));
  EXPECT_FALSE(cal.sensor_lookup_list_check("tmd2725", 33171040));
  EXPECT_EQ(log.all(), Lines{});
}

TEST_F(CatalogueTest, ProbesTellWhyTheyCannotAnswer) {
  struct Case {
    int (SensorCalibration::*probe)();
    const char* name;
    const char* not_found;
  };
  const Case kCases[] = {
      {&SensorCalibration::test_is_rgb_sensor, "test_is_rgb_sensor", "Light Sensor not found!"},
      {&SensorCalibration::test_is_ps_tof_sensor, "test_is_ps_tof_sensor", "Proximity Sensor not found!"},
      {&SensorCalibration::test_is_tof_sensor, "test_is_tof_sensor", "Proximity Sensor not found!"},
      {&SensorCalibration::test_is_pshwcali_sensor, "test_is_pshwcali_sensor", "Proximity Sensor not found!"},
  };
  SensorCalibration with_manager;
  FakeSensors::remove();
  SensorCalibration without_manager;
  for (const Case& c : kCases) {
    for (const bool never_answers : {false, true}) {
      sensors_->never_answers = never_answers;
      LogCapture log;
      EXPECT_EQ((with_manager.*c.probe)(), -3);
      EXPECT_THAT(log.all(), ElementsAre(std::string("E/libsensor_cal: ") + c.not_found));
    }
    LogCapture log;
    EXPECT_EQ((without_manager.*c.probe)(), -2);
    EXPECT_THAT(log.all(),
                ElementsAre(std::string("E/libsensor_cal: ") + c.name + ": Could not get ISensorManager::getService!"));
  }
}

TEST_F(CatalogueTest, ProductIsComparedWhole) {
  host::force_property("ro.build.product", "dover");
  {
    LogCapture log;
    EXPECT_FALSE(is_your_product("dov"));
    EXPECT_THAT(log.all(), ElementsAre("E/libsensor_cal: hwversion=dover\n"));
  }
  host::force_property("ro.build.product", "dov");
  LogCapture log;
  EXPECT_TRUE(is_your_product("dov"));
  EXPECT_THAT(log.all(), ElementsAre("E/libsensor_cal: hwversion=dov\n", "E/libsensor_cal: product_name is dov\n"));
}

}  // namespace
}  // namespace test
