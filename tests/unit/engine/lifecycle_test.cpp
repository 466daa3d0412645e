#include "bench_phone.h"

namespace test {
namespace {

using ::testing::ElementsAre;

TEST(LifecycleTest, StartsUpAndTearsDownWithItsLines) {
  LogCapture log;
  {
    BenchPhone phone({sensor(1, 100, "acc")});
    EXPECT_EQ(phone.cal->initCheck(), 0);
    EXPECT_EQ(phone.cal->sensor_cal_deinit(), 0);
    EXPECT_EQ(phone.cal->sensor_cal_deinit(), 0);
  }
  EXPECT_THAT(log.all(),
              ElementsAre("I/libsensor_cal: SensorCalibrationAPI: struct init",
                          "I/libsensor_cal: SensorCalibrationAPI: get IKestSensorService interface successful",
                          "I/libsensor_cal: enter get_all_sensors_info", "I/libsensor_cal: get_all_sensors_info 1",
                          "I/libsensor_cal: Sensor: acc found. Vendor: maker!",
                          "I/libsensor_cal: Sensor:xxxxxxxxxxx found. Vendor:",
                          "I/libsensor_cal: Sensor:xxxxxxxxxxx 1  1 found. Vendor:",
                          "I/libsensor_calapi: SensorCalibrationAPI: struct init",
                          "I/libsensor_calapi: SensorCalibrationAPI: get IKestSensorService interface successful",
                          "I/libsensor_cal: SensorCalibration: get SensorCalibrationAPI interface successful",
                          "I/libsensor_cal: sensor_cal_deinit ", "I/libsensor_cal: sensor_cal_deinit ",
                          "I/libsensor_cal: SensorCalibrationAPI: struct deinit",
                          "I/libsensor_calapi: SensorCalibrationAPI: struct deinit"));
}

TEST(LifecycleTest, WithoutASensorManagerConstructionStopsEarlyAndNothingCrashes) {
  FakeHub::install();
  LogCapture log;
  SensorCalibration cal;
  EXPECT_EQ(cal.initCheck(), -19);
  EXPECT_EQ(cal.cal_api, nullptr);
  EXPECT_TRUE(log.contains("E/libsensor_cal: SensorCalibration: Could not get service!"));
  for (const int param : {0, 2, 4, 5, 8, 11, 12, 13, 14, 19, -1}) {
    for (const int type : {1, 4, 5, 6, 8, 33171015, 33171040, 33171089, 33171080}) {
      const bool asks_the_service_itself = param == 11 || (param == 8 && type == 5);
      EXPECT_EQ(cal.sensor_calibrate(type, param), asks_the_service_itself ? 0 : -1) << type << " " << param;
    }
  }
  int adr[2] = {};
  EXPECT_EQ(cal.sensor_calibrate(5, 0, 1.0F), -1);
  EXPECT_EQ(cal.sensor_setconfig(6, 0, 1000), -1.0);
  EXPECT_EQ(cal.sensor_set_sar_reg(33171015, adr), -1);
  EXPECT_EQ(cal.sensor_set_sarsec_reg(33171016, adr), -1);
  EXPECT_EQ(cal.sensor_hw_crosstalk_calibration(8), 0);
  EXPECT_EQ(cal.cal_wait_finish(&cal.motion_info[0]), 0);
  EXPECT_EQ(cal.sensor_cal_deinit(), 0);
  EXPECT_EQ(cal.sensor_cal_deinit(), 0);
  FakeHub::remove();
}

TEST(LifecycleTest, WithoutATestServiceTheObjectIsNotReady) {
  const auto sensors = FakeSensors::install({});
  LogCapture log;
  SensorCalibration cal;
  EXPECT_EQ(cal.initCheck(), -19);
  EXPECT_TRUE(log.contains("I/libsensor_cal: SensorCalibration: get SensorCalibrationAPI interface fail"));
  EXPECT_EQ(log.count("get IKestSensorService interface successful"), 0U);
  FakeSensors::remove();
}

TEST(LifecycleTest, ARefusedQueueIsNamedAndLeavesTheObjectReady) {
  const std::pair<int, const char*> kNames[] = {{1, "NOT_EXIST"},         {2, "NO_MEMORY"}, {3, "NO_INIT"},
                                                {4, "PERMISSION_DENIED"}, {5, "BAD_VALUE"}, {6, "INVALID_OPERATION"},
                                                {7, "UNKNOWN_ERROR"},     {9, "0x9"},       {-1, "0xffffffff"}};
  FakeHub::install();
  const auto sensors = FakeSensors::install({});
  for (const auto& [result, name] : kNames) {
    sensors->queue_result = static_cast<Result>(result);
    LogCapture log;
    SensorCalibration cal;
    EXPECT_EQ(cal.initCheck(), 0);
    EXPECT_EQ(log.all().back(), std::string("E/libsensor_cal: createEventQueue failed with result=") + name);
    log.clear();
    EXPECT_EQ(cal.cal_wait_finish(&cal.motion_info[0]), 0);
    EXPECT_THAT(log.all(), ElementsAre("E/libsensor_cal:  event_queue is nullptr"));
  }
  sensors->never_answers = true;
  LogCapture log;
  SensorCalibration cal;
  EXPECT_EQ(log.all().back(), "E/libsensor_cal: createEventQueue failed with result=NOT_EXIST");
  FakeSensors::remove();
  FakeHub::remove();
}

TEST(LifecycleTest, EventsGoToTheNewestObjectAndToNoneThatIsGone) {
  BenchPhone phone;
  const auto first_queue = phone.queue;
  const auto first_callback = msensorEventCallback;
  LogCapture log;
  {
    SensorCalibration newest;
    EXPECT_NE(msensorEventCallback.get(), first_callback.get());
    log.clear();
    first_queue->deliver(event(1, {1, 2, 3}));
    EXPECT_EQ(log.all(), Lines{});  // replaced: dropped
    phone.sensors->queue->deliver(event(1, {1, 2, 3}));
    EXPECT_EQ(log.count("received Event while not incalibrate 1"), 1U);
  }
  log.clear();
  phone.sensors->queue->deliver(event(1, {1, 2, 3}));
  EXPECT_EQ(log.all(), Lines{});  // destroyed: dropped
}

}  // namespace
}  // namespace test
