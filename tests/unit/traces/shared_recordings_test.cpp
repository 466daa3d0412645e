// Recordings of real sensors, read where they lie. SENSOR_TRACES names their folder.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>

#include "phone/core/phone.h"
#include "phone/traces/recording.h"

namespace phone {
namespace {

class SharedRecordings : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* const told = getenv("SENSOR_TRACES");
    for (const std::string& folder : {std::string(told ? told : ""), std::string(PROJECT_DIR "/../shared/traces"),
                                      std::string(PROJECT_DIR "/../../shared/traces")}) {
      if (!folder.empty() && std::filesystem::is_directory(folder)) {
        folder_ = folder;
        return;
      }
    }
    GTEST_SKIP() << "no folder of real recordings: name it in SENSOR_TRACES";
  }

  Recording load(const std::string& tag, const std::string& file_and_options) const {
    return load_recording(parse_replay(tag + "=" + folder_ + "/" + file_and_options));
  }

  std::string folder_;
};

void expect_near(const std::vector<double>& seen, const std::vector<double>& wanted, double within) {
  ASSERT_EQ(seen.size(), wanted.size());
  for (size_t i = 0; i < seen.size(); ++i) EXPECT_NEAR(seen[i], wanted[i], within) << i;
}

std::vector<double> in_g(std::vector<double> values) {
  for (double& value : values) value /= kStandardGravity;
  return values;
}

std::vector<double> in_degrees(std::vector<double> values) {
  for (double& value : values) value *= 180 / std::acos(-1);
  return values;
}

TEST_F(SharedRecordings, RestOnATableWithMillisecondClock) {
  const std::string file = "01_rest_table_100hz_msjitter/Accelerometer.csv,columns=t,x,y,z,time=ms";
  const RecordingReport rest = load("Acc", file + ",length=10").report;
  expect_near(rest.mean, {0.0473, 0.0709, 9.9388}, 6e-5);
  expect_near(rest.std_dev, {0.015, 0.016, 0.020}, 6e-4);
  EXPECT_TRUE(rest.slips.empty());
  const RecordingReport whole = load("Acc", file).report;
  EXPECT_NEAR(whole.duration_s, 37.8, 0.05);
  EXPECT_NEAR(static_cast<double>(whole.duplicate_times), 270, 10);
  EXPECT_GT(whole.gaps, 10u);
  const RecordingReport gyro = load("Gyr", "01_rest_table_100hz_msjitter/Gyroscope.csv,columns=t,x,y,z,time=ms").report;
  EXPECT_NEAR(gyro.longest_gap_s, 0.056, 1e-9);
}

TEST_F(SharedRecordings, TumbledInGWithOppositeSign) {
  const std::string acc = "03_ios_sensorlogger_uncalibrated_tumble/AccelerometerUncalibrated.csv";
  const RecordingReport as_it_is = load("Acc", acc).report;
  EXPECT_TRUE(as_it_is.has_slip("looks_like_g"));
  EXPECT_TRUE(as_it_is.has_slip("opposite_sign"));
  EXPECT_NEAR(as_it_is.rate_hz, 99.9, 0.1);
  expect_near(in_g(load("Acc", acc + ",time=ns,unit=g,start=26.8").report.mean), {0.000, -0.012, -0.978}, 2e-3);
  expect_near(load("Gyr", "03_ios_sensorlogger_uncalibrated_tumble/GyroscopeUncalibrated.csv,start=26.72").report.mean,
              {-0.007, 0.002, -0.017}, 3e-3);
}

TEST_F(SharedRecordings, Walks) {
  expect_near(load("Acc", "04_phyphox_walk_100hz/Accelerometer.csv").report.std_dev, {0.63, 0.69, 1.62}, 6e-3);
  EXPECT_THROW(load("Acc", "04_phyphox_walk_100hz/Gyroscope.csv"), PhoneError);
  const Recording hand = load("Acc", "05_phones_in_hand_walking/samsung_k2hh_inhand2.csv,columns=t,_,x,y,z,time=ns");
  expect_near(hand.report.std_dev, {0.79, 0.81, 1.21}, 6e-3);
  EXPECT_NEAR(hand.report.duration_s, 152.3, 0.1);
}

TEST_F(SharedRecordings, RowsOfSeveralKinds) {
  const std::string file = "06_iphones_on_stand_4hz/iphone_xr_screenroom_90.txt";
  const RecordingReport acc = load("Acc", file + ",unit=g").report;
  expect_near(in_g(acc.stillest_mean), {0.0636, -1.0035, -0.0471}, 1e-3);
  EXPECT_TRUE(acc.has_slip("opposite_sign"));
  EXPECT_NEAR(acc.rate_hz, 4, 0.05);
  expect_near(load("Gyr", file).report.stillest_mean, {-0.0042, -0.0051, 0.0036}, 3e-4);
  // A comma in the file's name.
  EXPECT_EQ(load("Acc", "06_iphones_on_stand_4hz/iphone12,1_courtyard_180.txt").samples.size(), 161u);

  const Recording raw = load("Acc", "60_gnsslogger_format_sample/pixel7_sensor_lines.txt");
  EXPECT_EQ(raw.samples.size(), 10u);
  EXPECT_FLOAT_EQ(raw.samples[0].v[2], 10.695319F);
  EXPECT_EQ(raw.samples[1].time_ns, 16231915929814 - 16175331060713);
  EXPECT_EQ(load("Gyr", "60_gnsslogger_format_sample/pixel4_sensor_lines.txt").samples.size(), 22u);
}

TEST_F(SharedRecordings, StillPartBeforeAVibration) {
  const std::string file = "10_imu_rest_then_phone_vibration_si/broad26_t22-50s.csv,rate=285.7142857,length=20";
  const RecordingReport acc = load("Acc", file).report;
  expect_near(acc.mean, {0.063, -0.048, 9.854}, 1.1e-3);
  expect_near(acc.std_dev, {0.044, 0.045, 0.067}, 1.1e-3);
  expect_near(load("Gyr", file).report.mean, {0.0084, -0.0035, -0.0044}, 1.1e-4);
}

TEST_F(SharedRecordings, BoardsInGAndDegreesAndPascals) {
  const std::string board = "54_imu_board_rest_motion_rest_g_dps/sensor_data.csv";
  expect_near(in_g(load("Acc", board + ",start=120").report.mean), {-0.0014, -0.0214, 0.9935}, 5e-4);
  expect_near(in_degrees(load("Gyr", board + ",start=104,length=8").report.mean), {0.013, 0.006, 0.006}, 6e-3);
  EXPECT_EQ(load("Acc", board).report.gaps, 1u);
  EXPECT_TRUE(load("Acc", board + ",unit=m/s^2").report.has_slip("looks_like_g"));
  EXPECT_TRUE(load("Gyr", board + ",unit=rad/s,length=5").report.has_slip("looks_like_degrees"));

  const std::string second = "22_imu_baro_board_10s/ngimu_sensors.csv";
  expect_near(in_g(load("Acc", second + ",start=4.5").report.mean), {0.0306, -0.0023, 0.9994}, 5e-4);
  const RecordingReport pressure = load("Bar", second + ",start=8").report;
  expect_near(pressure.mean, {984.749}, 1e-3);
  expect_near(pressure.std_dev, {0.004}, 6e-4);
  EXPECT_EQ(load("Bar", second).report.repeated_values, 287u);

  const std::string folder = "20_two_colocated_barometers_rest/";
  const RecordingReport pad = load("Bar", folder + "jackpot_1_airbrakes_first1100.csv,start=18.9,length=9").report;
  expect_near(pad.mean, {1016.788}, 1e-3);
  expect_near(pad.std_dev, {0.0065}, 6e-4);
  const RecordingReport other = load("Bar", folder + "jackpot_1_nosecone_first1300.csv,start=18.9,length=9").report;
  EXPECT_NEAR(pad.mean[0] - other.mean[0], 0.113, 2e-3);
  EXPECT_NEAR(load("Bar", folder + "jackpot_launch_1_first1200.csv").report.longest_gap_s, 1068, 1);
}

TEST_F(SharedRecordings, LightAndProximity) {
  const Recording light = load("Lux", "31_room_light_onoff_events/light.csv,columns=t,v");
  int steps = 0;
  for (size_t i = 1; i < light.samples.size(); ++i) {
    if (std::abs(light.samples[i].v[0] - light.samples[i - 1].v[0]) > 50) ++steps;
  }
  EXPECT_EQ(steps, 71);
  EXPECT_NEAR(light.report.duration_s / 3600, 15.9, 0.1);

  const Recording counts = load("Prx", "40_apds9960_proximity_counts/putty.log,rate=10");
  EXPECT_EQ(counts.samples.size(), 141u);
  EXPECT_EQ(std::count_if(counts.samples.begin(), counts.samples.end(), [](const auto& s) { return s.v[0] == 255; }),
            22);

  const std::string lamp = "30_light_channels_stepped_monochromatic/spectral_sensor_30pct.csv,rate=1";
  EXPECT_EQ(load("CCT_B_strm", lamp).samples[0].v[0], 8);
  EXPECT_EQ(load("Acc", "50_mpu6050_raw_static_and_multipose/example_data_calibration.csv,rate=100").samples[0].v[2],
            15032);
}

}  // namespace
}  // namespace phone
