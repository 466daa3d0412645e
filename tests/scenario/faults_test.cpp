// A cross-section of what can be wrong with a phone, and what a calibration makes of it.
#include <SensorCalibrationAPI.h>
#include <gmock/gmock.h>

#include <chrono>
#include <fstream>

#include "whole_phone.h"

namespace scenario {
namespace {

using std::chrono::steady_clock;

struct Row {
  const char* fault;
  int init;
  int result;              // of the accelerometer's calibration
  bool reaches_hub;        // whether the hub holds a new offset afterwards
  const char* at_start;    // a line of the construction
  const char* in_the_run;  // a line of the run
};

constexpr Row kServices[] = {
    {"sensors-absent", -19, -1, false, "E/libsensor_cal: SensorCalibration: Could not get service!", ""},
    {"list-refused", 0, -1, false, "E/libsensor_cal: get_all_sensors_info: Failed to get sensor list",
     "E/libsensor_cal: continue_reporting_sensor_calibrate: sensor not exist. type = 1"},
    {"sensors-fail", 0, -1, false, "E/libsensor_cal: createEventQueue failed with result=NOT_EXIST",
     "E/libsensor_cal: continue_reporting_sensor_calibrate: sensor not exist. type = 1"},
    {"sensors-fail:1", 0, -1, false, "E/libsensor_cal: createEventQueue failed with result=NOT_EXIST",
     "E/libsensor_cal:  event_queue is nullptr"},
    {"queue-refused", 0, -1, false, "E/libsensor_cal: createEventQueue failed with result=PERMISSION_DENIED",
     "E/libsensor_cal:  event_queue is nullptr"},
    {"queue-refused:7", 0, -1, false, "E/libsensor_cal: createEventQueue failed with result=UNKNOWN_ERROR",
     "E/libsensor_cal: sensor(type=1) calibrate fail: state=0"},
    {"queue-never", 0, -1, false, "E/libsensor_cal: createEventQueue failed with result=NOT_EXIST",
     "E/libsensor_cal:  event_queue is nullptr"},
    {"enable-refused:Acc", 0, -1, false, "", "E/libsensor_cal: Fail to enable sensor sim_imu accelerometer"},
    {"hub-word:0,0,-5", 0, -1, true, "", "E/libsensor_cal: calibrate sensor(type=1) failed when set offset to hub"},
    // A message that is lost leaves zeros, which read as success.
    {"hub-fail", 0, 0, false, "", "I/libsensor_calapi: send_ssc_oem_test_msg return msg: type: 0, value:(0, 0)"},
    {"hub-fail:0", 0, 0, false, "", "I/libsensor_calapi: send_ssc_oem_test_msg return msg: type: 0, value:(0, 0)"},
    // Once the service is gone the request stays as it was, and its first word is an offset and no result.
    {"hub-vanish:0", 0, -1, false, "", "E/libsensor_calapi: setAMGOffset_api fail ret="},
};

TEST(Faults, OfTheServices) {
  for (const Row& row : kServices) {
    SCOPED_TRACE(row.fault);
    const test::LogCapture log;
    WholePhone whole(options({row.fault}));
    EXPECT_EQ(whole.cal->initCheck(), row.init);
    EXPECT_TRUE(log.contains(row.at_start)) << row.at_start;
    EXPECT_EQ(whole.cal->sensor_calibrate(kAcc.type, 0), row.result);
    EXPECT_TRUE(log.contains(row.in_the_run)) << row.in_the_run;
    EXPECT_EQ(whole.phone->hub_state()["Acc"]["offset"]["set"].asBool(), row.reaches_hub);
    EXPECT_EQ(log.count("calibrate sensor(type=1) successfully"), row.result == 0 ? 1U : 0U);
  }
}

// Without a test service the object is not ready, and ignores what its sensors say.
TEST(Faults, NoTestService) {
  const test::LogCapture log;
  WholePhone whole(options({"hub-absent"}));
  EXPECT_EQ(whole.cal->initCheck(), -19);
  EXPECT_TRUE(log.contains("I/libsensor_cal: SensorCalibration: get SensorCalibrationAPI interface fail"));
  ASSERT_NE(whole.cal->event_queue, nullptr);
  whole.cal->event_queue->enableSensor(whole.cal->motion_info[0].info.sensorHandle, 20000, 0);
  const auto give_up = steady_clock::now() + std::chrono::seconds(5);
  while (!log.contains("I/libsensor_cal: Ignoring event with e.sensorType: 1, u.additional.type: ") &&
         steady_clock::now() < give_up) {
    std::this_thread::yield();
  }
  EXPECT_TRUE(log.contains("Ignoring event with"));
}

// Events that come oddly and are still the sensor's.
TEST(Faults, OddDeliveriesStillPass) {
  for (const char* fault : {"duplicate:Acc", "late:Acc,1", "burst:Acc", "straggler:Acc", "wrong-handle:Acc"}) {
    SCOPED_TRACE(fault);
    WholePhone whole(options({fault}));
    for (int run = 0; run < 5; ++run) EXPECT_EQ(whole.cal->sensor_calibrate(kAcc.type, 0), 0);
    Client client;
    const auto events = client.collect(kAcc.type, 20000, 100);
    EXPECT_NEAR(phone_test::mean(events, 2), kG, kAcc.residual);
  }
}

TEST(Faults, ReadingsThatNeverPass) {
  const struct {
    const char* fault;
    const char* restart;  // what every window ends with
  } rows[] = {
      {"out-of-range:Acc,5", "E/libsensor_cal: cal_process_sample: High BIAS found, restarting algorithm. index: 0; "},
      {"motion:Acc,20", "E/libsensor_cal: cal_process_sample: Variance exceeded, restarting algorithm. index: 0; "},
      {"drift:Acc,20", "E/libsensor_cal: cal_process_sample: Variance exceeded, restarting algorithm. index: 0; "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.fault);
    WholePhone whole(options({row.fault}));
    const test::LogCapture log;
    EXPECT_EQ(whole.calibrate_until_silent(kAcc.type, log), -1);
    EXPECT_EQ(log.count(row.restart), 59U);  // windows of 50 in 3000 events, after three to settle
    EXPECT_EQ(whole.stored(kAcc), Axes{});
  }
}

// A reading that never changes, of numbers whose sums are exact.
TEST(Faults, AConstantReadingNeverPasses) {
  const Folder folder;
  const std::string path = folder.path() + "/constant.csv";
  std::ofstream file(path);
  for (int i = 0; i < 403; ++i) file << i * 20 << ",0.5,-0.25,9.75\n";
  file.close();
  phone::PhoneOptions replayed = options();
  replayed.replays = {"Acc=" + path + ",columns=t,x,y,z,time=ms"};
  WholePhone whole(replayed);
  const test::LogCapture log;
  EXPECT_EQ(whole.calibrate_until_silent(kAcc.type, log, 403), -1);
  EXPECT_EQ(log.count("E/libsensor_cal: cal_process_sample: Zero variance found, restarting algorithm. index: 0; "
                      "variance:    0.0000"),
            8U);
}

// The one test that waits for a real time-out.
TEST(Faults, SilentSensor) {
  WholePhone whole(options({"silent:Gyr2"}));
  const test::LogCapture log;
  const auto start = steady_clock::now();
  EXPECT_EQ(whole.cal->sensor_calibrate(kGyr2.type, 0), -1);
  const std::chrono::duration<double> took = steady_clock::now() - start;
  EXPECT_GE(took.count(), 4.9);
  EXPECT_LT(took.count(), 6.5);
  Lines lines = log.mine();
  ASSERT_GE(lines.size(), 3U);
  lines.erase(lines.begin(), lines.end() - 3);
  const Lines wanted = {"E/libsensor_cal: Sensor Calibration timeout error",
                        "E/libsensor_cal: sensor(type=268369924) calibrate fail: state=1",
                        "E/libsensor_cal: continue_reporting_sensor_calibrate fail ret=-1"};
  EXPECT_EQ(lines, wanted);
  EXPECT_TRUE(log.others().empty());
  // The run switched it off, and the others work on.
  EXPECT_NE(whole.cal->event_queue->disableSensor(whole.cal->motion_info[7].info.sensorHandle), phone_test::Result::OK);
  EXPECT_EQ(whole.cal->sensor_calibrate(kAcc.type, 0), 0);
}

}  // namespace
}  // namespace scenario
