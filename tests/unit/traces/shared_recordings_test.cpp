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

constexpr double kDegree = M_PI / 180;

TEST_F(SharedRecordings, MeanAndScatterAreTheRealOnes) {
  using Values = std::vector<double>;
  const std::string table = "01_rest_table_100hz_msjitter/Accelerometer.csv,columns=t,x,y,z,time=ms,length=10";
  const std::string still = "10_imu_rest_then_phone_vibration_si/broad26_t22-50s.csv,rate=285.7142857,length=20";
  const std::string board = "54_imu_board_rest_motion_rest_g_dps/sensor_data.csv";
  const struct {
    const char* tag;
    std::string file_and_options;
    double unit;  // of the following
    Values mean;
    double within;
    Values std_dev = {};
    double std_within = 0;
  } rows[] = {
      {"Acc", table, 1, {0.0473, 0.0709, 9.9388}, 6e-5, {0.015, 0.016, 0.020}, 6e-4},
      {"Acc",
       "03_ios_sensorlogger_uncalibrated_tumble/AccelerometerUncalibrated.csv,time=ns,unit=g,start=26.8",
       kStandardGravity,
       {0.000, -0.012, -0.978},
       2e-3},
      {"Gyr",
       "03_ios_sensorlogger_uncalibrated_tumble/GyroscopeUncalibrated.csv,start=26.72",
       1,
       {-0.007, 0.002, -0.017},
       3e-3},
      {"Acc", "04_phyphox_walk_100hz/Accelerometer.csv", 1, {}, 0, {0.63, 0.69, 1.62}, 6e-3},
      {"Acc",
       "05_phones_in_hand_walking/samsung_k2hh_inhand2.csv,columns=t,_,x,y,z,time=ns",
       1,
       {},
       0,
       {0.79, 0.81, 1.21},
       6e-3},
      {"Acc", still, 1, {0.063, -0.048, 9.854}, 1.1e-3, {0.044, 0.045, 0.067}, 1.1e-3},
      {"Acc", board + ",start=120", kStandardGravity, {-0.0014, -0.0214, 0.9935}, 5e-4},
      {"Gyr", board + ",start=104,length=8", kDegree, {0.013, 0.006, 0.006}, 6e-3},
      {"Bar", "22_imu_baro_board_10s/ngimu_sensors.csv,start=8", 1, {984.749}, 1e-3, {0.004}, 6e-4},
      {"Bar",
       "20_two_colocated_barometers_rest/jackpot_1_airbrakes_first1100.csv,start=18.9,length=9",
       1,
       {1016.788},
       1e-3,
       {0.0065},
       6e-4},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.file_and_options);
    const RecordingReport report = load(row.tag, row.file_and_options).report;
    for (size_t i = 0; i < row.mean.size(); ++i) EXPECT_NEAR(report.mean.at(i) / row.unit, row.mean[i], row.within);
    for (size_t i = 0; i < row.std_dev.size(); ++i) {
      EXPECT_NEAR(report.std_dev.at(i) / row.unit, row.std_dev[i], row.std_within);
    }
  }
}

TEST_F(SharedRecordings, RowsOfSeveralKinds) {
  const std::string file = "06_iphones_on_stand_4hz/iphone_xr_screenroom_90.txt";
  const RecordingReport acc = load("Acc", file + ",unit=g").report;
  const std::vector<double> in_g = {0.0636, -1.0035, -0.0471};
  for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(acc.stillest_mean.at(i) / kStandardGravity, in_g[i], 1e-3);
  EXPECT_TRUE(acc.has_slip("opposite_sign"));
  EXPECT_NEAR(acc.rate_hz, 4, 0.05);
  EXPECT_NEAR(load("Gyr", file).report.stillest_mean.at(1), -0.0051, 3e-4);
  // A comma in the file's name.
  EXPECT_EQ(load("Acc", "06_iphones_on_stand_4hz/iphone12,1_courtyard_180.txt").samples.size(), 161u);

  const Recording raw = load("Acc", "60_gnsslogger_format_sample/pixel7_sensor_lines.txt");
  EXPECT_EQ(raw.samples.size(), 10u);
  EXPECT_FLOAT_EQ(raw.samples[0].v[2], 10.695319F);
  EXPECT_EQ(raw.samples[1].time_ns, 16231915929814 - 16175331060713);
  EXPECT_EQ(load("Gyr", "60_gnsslogger_format_sample/pixel4_sensor_lines.txt").samples.size(), 22u);
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
