// Recordings in the place of sensors: the library's sums against sums of our own over the same file, and what moving
// phones do to a run.
#include <gmock/gmock.h>

#include <cmath>
#include <fstream>
#include <sstream>

#include "whole_phone.h"

namespace scenario {
namespace {

namespace fs = std::filesystem;
using ::testing::_;
using ::testing::Gt;
using ::testing::Matcher;

constexpr int kSkipped = 3;
constexpr int kSamples = 50;
constexpr double kRadians = M_PI / 180;

// Where a folder of recordings lies; empty when it is not there.
std::string shared_traces() {
  const char* const told = getenv("SENSOR_TRACES");
  for (const std::string& folder :
       {std::string(told == nullptr ? "" : told), std::string(PROJECT_DIR "/../shared/traces"),
        std::string(PROJECT_DIR "/../../shared/traces")}) {
    if (!folder.empty() && fs::is_directory(folder)) return folder + "/";
  }
  return "";
}

const std::string kOwn = std::string(TEST_DATA_DIR) + "/recordings/";

// How a run's samples are found in the file, told without the phone's reader.
struct Table {
  Inertial kind;
  const char* file;
  const char* options;
  std::array<int, 3> columns;
  double factor = 1;      // to m/s^2 or rad/s
  double start = -1e300;  // of the first column
};

struct Sums {
  std::array<double, 3> mean{};
  std::array<double, 3> largest{};      // magnitude of a sample
  std::array<double, 3> largest_raw{};  // the same before gravity is taken off
};

Sums sums_of(const std::string& path, const Table& table) {
  std::ifstream file(path);
  std::string line;
  Sums out;
  int seen = 0;
  while (seen < kSkipped + kSamples && std::getline(file, line)) {
    std::vector<double> cells;
    std::stringstream row(line);
    for (std::string cell; std::getline(row, cell, ',');) cells.push_back(strtod(cell.c_str(), nullptr));
    if (strchr("-0123456789", line[0]) == nullptr || cells.at(0) < table.start || seen++ < kSkipped) continue;
    for (size_t axis = 0; axis < 3; ++axis) {
      const double raw = cells.at(static_cast<size_t>(table.columns[axis])) * table.factor;
      const double sample = axis == 2 ? raw - table.kind.gravity : raw;
      out.mean[axis] += sample / kSamples;
      out.largest[axis] = std::max(out.largest[axis], std::abs(sample));
      out.largest_raw[axis] = std::max(out.largest_raw[axis], std::abs(raw));
    }
  }
  EXPECT_EQ(seen, kSkipped + kSamples) << path;
  return out;
}

// The offsets that reach the hub are the means of the very same samples, as far as single precision goes: every sample
// is rounded as an event carries it and once more after gravity, and every addition to a sum rounds.
void expect_means_pushed(const std::string& folder, const Table& table) {
  SCOPED_TRACE(table.file);
  phone::PhoneOptions replayed = options();
  // The primary gyroscope is calibrated from its uncalibrated twin.
  replayed.replays = {std::to_string(table.kind.event_type) + "=" + folder + table.file + table.options};
  WholePhone whole(replayed);
  ASSERT_EQ(whole.cal->sensor_calibrate(table.kind.type, 0), 0);
  const Axes pushed = whole.stored(table.kind);
  const Sums wanted = sums_of(folder + table.file, table);
  constexpr double kHalfUlp = 0x1p-24;
  for (size_t axis = 0; axis < 3; ++axis) {
    const double limit = kHalfUlp * (3 * wanted.largest_raw[axis] + kSamples * wanted.largest[axis]);
    EXPECT_NEAR(static_cast<double>(pushed[axis]), wanted.mean[axis], limit) << "axis " << axis;
  }
}

int restarts(const test::LogCapture& log, const std::string& cause) {
  return static_cast<int>(
      log.count("E/libsensor_cal: cal_process_sample: " + cause + ", restarting algorithm. index: "));
}

// A phone that moves, and what its accelerometer's run makes of it.
struct Moving {
  const char* file;
  const char* options;
  bool passes;
  Matcher<int> variance_restarts;
  Matcher<int> bias_restarts;
  size_t events;           // that the run takes; of one that never passes: at least so many
  const char* restart;     // part of some restart line
  double least_deviation;  // of a run that passes, on its worst axis
};

void expect_moving(const std::string& folder, const Moving& row) {
  SCOPED_TRACE(row.file);
  phone::PhoneOptions replayed = options();
  replayed.replays = {"Acc=" + folder + row.file + row.options};
  WholePhone whole(replayed);
  const test::LogCapture log;
  if (row.passes) {
    EXPECT_EQ(whole.cal->sensor_calibrate(kAcc.type, 0), 0);
    EXPECT_EQ(log.count("SENSOR_TYPE_ACCELEROMETER data: {"), row.events);
    const float* const variance = whole.cal->motion_info[0].variance;
    EXPECT_GT(std::sqrt(*std::max_element(variance, variance + 3)), row.least_deviation);
  } else {
    EXPECT_EQ(whole.calibrate_until_silent(kAcc.type, log, row.events), -1);
    EXPECT_TRUE(log.contains("E/libsensor_cal: sensor(type=1) calibrate fail: state=0"));
    EXPECT_EQ(whole.stored(kAcc), Axes{});
  }
  EXPECT_THAT(restarts(log, "Variance exceeded"), row.variance_restarts);
  EXPECT_THAT(restarts(log, "High BIAS found"), row.bias_restarts);
  EXPECT_TRUE(log.contains(row.restart)) << row.restart;
}

TEST(OwnRecordings, ThePushedOffsetsAreTheFilesMeans) {
  expect_means_pushed(kOwn, {kAcc, "rest_accelerometer.csv", "", {1, 2, 3}});
  expect_means_pushed(kOwn, {kGyr, "rest_gyroscope.csv", "", {1, 2, 3}});
  expect_means_pushed(kOwn, {kGyr2, "rest_gyroscope.csv", ",start=2", {1, 2, 3}, 1, 2.0000});
}

TEST(OwnRecordings, MovingPhones) {
  expect_moving(kOwn, {"tumble_accelerometer_g.csv", ",unit=g,sign=-", true, _, Gt(0), 753, "index: 0; ", 0});
  expect_moving(kOwn, {"walk_tilted_accelerometer.csv", ",columns=t,_,x,y,z,time=ns", false, 0, Gt(0), 1000,
                       "High BIAS found, restarting algorithm. index: 1; ", 0});
  expect_moving(kOwn, {"walk_level_accelerometer.csv", "", true, 0, 0, 53, "", 0.5});
}

class SharedRecordings : public ::testing::Test {
 protected:
  void SetUp() override {
    if (folder_.empty()) GTEST_SKIP() << "no folder of real recordings: name it in SENSOR_TRACES";
  }
  const std::string folder_ = shared_traces();
};

TEST_F(SharedRecordings, ThePushedOffsetsAreTheFilesMeans) {
  const char* const rest = "01_rest_table_100hz_msjitter/Accelerometer.csv";
  const char* const board = "54_imu_board_rest_motion_rest_g_dps/sensor_data.csv";
  const char* const still = "10_imu_rest_then_phone_vibration_si/broad26_t22-50s.csv";
  const Table tables[] = {
      {kAcc, rest, ",columns=t,x,y,z,time=ms,length=10", {1, 2, 3}},
      {kGyr, "01_rest_table_100hz_msjitter/Gyroscope.csv", ",columns=t,x,y,z,time=ms,length=10", {1, 2, 3}},
      {kGyr2, "01_rest_table_100hz_msjitter/Gyroscope.csv", ",columns=t,x,y,z,time=ms,length=10", {1, 2, 3}},
      {kAcc, board, "", {4, 5, 6}, kG},
      {kAcc, board, ",start=120", {4, 5, 6}, kG, 120},
      {kGyr, board, ",start=104,length=8", {1, 2, 3}, kRadians, 104},
      {kAcc, still, ",rate=285.7142857,length=20", {4, 5, 6}},
      {kGyr, still, ",rate=285.7142857,length=20", {1, 2, 3}},
  };
  for (const Table& table : tables) expect_means_pushed(folder_, table);
}

TEST_F(SharedRecordings, MovingPhones) {
  expect_moving(folder_, {"03_ios_sensorlogger_uncalibrated_tumble/AccelerometerUncalibrated.csv", ",unit=g,sign=-",
                          true, 7, 25, 1653, "index: 0; ", 0.3});
  expect_moving(folder_, {"04_phyphox_walk_100hz/Accelerometer.csv", "", true, 0, 0, 53, "", 0.2});
  expect_moving(folder_, {"05_phones_in_hand_walking/samsung_k2hh_inhand2.csv", ",columns=t,_,x,y,z,time=ns", false, _,
                          Gt(0), 5900, "High BIAS found, restarting algorithm. index: 1; ", 0});
}

}  // namespace
}  // namespace scenario
