// Recordings in the place of sensors: the library's sums against sums of our own over the same file, and what moving
// phones do to a run.
#include <gmock/gmock.h>

#include <cmath>
#include <fstream>
#include <sstream>

#include "whole_phone.h"

namespace scenario {
namespace {

using ::testing::_;
using ::testing::Gt;
using ::testing::Matcher;

constexpr int kSkipped = 3;
constexpr int kSamples = 50;

const std::string kRecordings = std::string(TEST_DATA_DIR) + "/recordings/";

// How a run's samples are found in the file, told without the phone's reader.
struct Table {
  Inertial kind;
  const char* file;
  const char* options;
  std::array<int, 3> columns;
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
      const double raw = cells.at(static_cast<size_t>(table.columns[axis]));
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
void expect_means_pushed(const Table& table) {
  SCOPED_TRACE(table.file);
  phone::PhoneOptions replayed = options();
  // The primary gyroscope is calibrated from its uncalibrated twin.
  replayed.replays = {std::to_string(table.kind.event_type) + "=" + kRecordings + table.file + table.options};
  WholePhone whole(replayed);
  ASSERT_EQ(whole.cal->sensor_calibrate(table.kind.type, 0), 0);
  const Axes pushed = whole.stored(table.kind);
  const Sums wanted = sums_of(kRecordings + table.file, table);
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

void expect_moving(const Moving& row) {
  SCOPED_TRACE(row.file);
  phone::PhoneOptions replayed = options();
  replayed.replays = {"Acc=" + kRecordings + row.file + row.options};
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

TEST(Recordings, ThePushedOffsetsAreTheFilesMeans) {
  expect_means_pushed({kAcc, "rest_accelerometer.csv", "", {1, 2, 3}});
  expect_means_pushed({kGyr, "rest_gyroscope.csv", "", {1, 2, 3}});
  expect_means_pushed({kGyr2, "rest_gyroscope.csv", ",start=2", {1, 2, 3}, 2.0000});
}

TEST(Recordings, MovingPhones) {
  expect_moving({"tumble_accelerometer_g.csv", ",unit=g,sign=-", true, _, Gt(0), 753, "index: 0; ", 0});
  expect_moving({"walk_tilted_accelerometer.csv", ",columns=t,_,x,y,z,time=ns", false, 0, Gt(0), 1000,
                 "High BIAS found, restarting algorithm. index: 1; ", 0});
  expect_moving({"walk_level_accelerometer.csv", "", true, 0, 0, 53, "", 0.5});
}

}  // namespace
}  // namespace scenario
