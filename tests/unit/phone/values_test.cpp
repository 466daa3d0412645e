// What sensors report: how far they are off, what the world makes of it, and a recording in their place.
#include <SensorType.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <numbers>
#include <set>
#include <thread>

#include "open_phone.h"

namespace phone_test {
namespace {

using namespace sensor_type;  // NOLINT(google-build-using-namespace): the tests below are full of these names

struct Values : OpenPhone {
  void change_world(const std::vector<std::pair<std::string, std::string>>& changes) {
    phone::World world = phone->world();
    for (const auto& [key, value] : changes) ASSERT_EQ(phone::set_world(&world, key, value), "");
    phone->set_world(world);
  }
};

constexpr double kG = 9.80665;

double deviation(const std::vector<Event>& events, size_t word) {
  const double middle = mean(events, word);
  double sum = 0;
  for (const Event& event : events) sum += std::pow(static_cast<double>(event.u.data[word]) - middle, 2);
  return std::sqrt(sum / static_cast<double>(events.size()));
}

TEST_F(Values, NoiseStaysWithinWhatCalibrationsAllow) {
  for (const int type : {gyroscope, gyroscope_uncalibrated, gyroscope_second}) {
    client.collect(type, 20000, 200);  // type 4 learns its run-time bias
    const std::vector<Event> events = client.collect(type, 20000, 1000);
    for (size_t axis = 0; axis < 3; ++axis) {
      EXPECT_LT(deviation(events, axis), 0.0006);
      EXPECT_GT(deviation(events, axis), 0.0001);
    }
  }
}

TEST_F(Values, TheTwoAccelerometersAreMountedBackToBack) {
  const double angle = 30 * std::numbers::pi / 180;
  change_world({{"up", "tilted:30"}});
  const std::vector<float> first = phone->truth(accelerometer);
  const std::vector<float> second = phone->truth(accelerometer_second);
  EXPECT_NEAR(first[0], kG * std::sin(angle), 1e-4);
  EXPECT_NEAR(first[2], kG * std::cos(angle), 1e-4);
  EXPECT_NEAR(second[0], kG * std::sin(angle), 1e-4);
  EXPECT_NEAR(second[2], -kG * std::cos(angle), 1e-4);
  change_world({{"up", "flat"}, {"vibration", "1.5"}});
  EXPECT_NEAR(deviation(client.collect(accelerometer, 20000, 500), 1), 1.5, 0.2);
}

// Type 4 learns its bias at rest, on top of the offset that it shares with type 16.
TEST_F(Values, RunTimeGyroscopeBias) {
  const double bias = mean(client.collect(gyroscope_uncalibrated, 20000, 50), 0);
  const std::vector<Event> first = client.collect(gyroscope, 20000, 200);
  EXPECT_NEAR(static_cast<double>(first[0].u.data[0]), bias, 0.001) << "nothing learned yet";
  EXPECT_NEAR(mean({first.begin() + 100, first.end()}, 0), 0, 0.0002) << "learned";

  ask_hub(gyroscope, 33);
  EXPECT_NEAR(static_cast<double>(client.collect(gyroscope, 20000, 1)[0].u.data[0]), bias, 0.001) << "cleared";

  ask_hub(gyroscope, 2, {bits(static_cast<float>(bias)), 0, 0});
  EXPECT_NEAR(static_cast<double>(client.collect(gyroscope, 20000, 1)[0].u.data[0]), 0, 0.001) << "one offset for both";

  client.collect(gyroscope, 20000, 200);
  change_world({{"rotation", "0,0,0.5"}});
  EXPECT_NEAR(mean(client.collect(gyroscope, 20000, 200), 2), 0.5, 0.001) << "a rotation is no bias";
}

TEST_F(Values, ColourTemperatureShiftsTheChannels) {
  const std::vector<float> at_4000 = phone->truth(cct_f_stream);
  change_world({{"cct", "6500"}});
  const std::vector<float> at_6500 = phone->truth(cct_f_stream);
  EXPECT_EQ(at_4000[2], 4 * 200) << "the chip's nominal counts under 200 lux";
  EXPECT_LT(at_6500[2], at_4000[2]) << "less red";
  EXPECT_GT(at_6500[4], at_4000[4]) << "more blue";
  EXPECT_EQ(client.collect(cct_f_stream, 200000, 1).at(0).u.data[1], 6500) << "computed, so without noise";
}

TEST_F(Values, ProximityCountsAndStates) {
  const auto state = [&](const char* target) {
    change_world({{"target", target}});
    return client.collect(proximity, 20000, 1).at(0).u.data[0];
  };
  const double crosstalk = mean(client.collect(proximity_stream, 100000, 10), 0);
  EXPECT_TRUE(crosstalk > 70 && crosstalk < 170) << crosstalk;
  ask_hub(proximity, 7);
  EXPECT_LT(mean(client.collect(proximity_stream, 100000, 10), 0), 4) << "the chip takes its crosstalk away";
  change_world({{"target", "3"}});
  EXPECT_NEAR(mean(client.collect(proximity_stream, 100000, 10), 0), 600, 4);
  EXPECT_NEAR(static_cast<double>(phone->truth(proximity_stream).at(0)), 600, 1);
  EXPECT_EQ(phone->truth(proximity), std::vector<float>{0}) << "near";

  ask_hub(proximity, 5, {600 - 20, 350, -1});
  EXPECT_EQ(state("3"), 0);
  EXPECT_EQ(state("3.5"), 0) << "between both it stays";
  EXPECT_EQ(state("10"), 5);
  EXPECT_EQ(state("3.5"), 5) << "between both it stays";
  EXPECT_EQ(state("3"), 0);
  phone->reboot();
  EXPECT_EQ(state("3.5"), 5) << "a chip starts far";
  ask_hub(proximity, 5, {500, 1000, -1});
  EXPECT_EQ(state("3"), 0);
  EXPECT_EQ(state("3.4"), 5) << "far is below near, whatever the far threshold says";
}

// At unlimited speed the sensor sees its whole minute at once; the change comes with another enabling.
TEST_F(Values, ProximityReportsChangesOnly) {
  phone::PhoneOptions real = options();
  real.speed = 50;
  open(real);
  ask_hub(proximity, 7);
  client.enable(proximity, 20000);
  EXPECT_EQ(client.listener->wait_for(1).size(), 1U);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_EQ(client.listener->events().size(), 1U);
  change_world({{"target", "1"}});
  const std::vector<Event> events = client.listener->wait_for(2);
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[0].u.data[0], 5);
  EXPECT_EQ(events[1].u.data[0], 0);
}

// A recording's samples are the raw values; it goes on where it stands, and then there is silence.
TEST_F(Values, ARecordingInPlaceOfASensor) {
  const Folder folder;
  const std::string file = folder.path() + "/acc.csv";
  std::ofstream csv(file);
  csv << "time_s,acc_x_m/s^2,acc_y_m/s^2,acc_z_m/s^2\n";
  for (int i = 0; i < 30; ++i) csv << i * 0.01 << "," << i << ",0.5,9.5\n";
  csv.close();
  phone::PhoneOptions replayed = options();
  replayed.replays = {"Acc=" + file};
  open(replayed);
  EXPECT_FALSE(phone->remarks().empty());
  EXPECT_TRUE(phone->truth(accelerometer).empty());
  ask_hub(accelerometer, 0, {0, bits(0.5F), 0});
  const std::vector<Event> first = client.collect(accelerometer, 20000, 10);
  EXPECT_EQ(first[9].timestamp - first[8].timestamp, 10000000) << "at the recording's own rate";
  EXPECT_EQ(first[9].u.data[0], 9);
  EXPECT_EQ(first[9].u.data[1], 0) << "less the hub's offset";
  EXPECT_EQ(client.collect(accelerometer, 20000, 20)[0].u.data[0], 10);
  client.listener->forget();
  client.enable(accelerometer, 20000);
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  EXPECT_TRUE(client.listener->events().empty());

  replayed.replays = {"Flicker=" + file};
  EXPECT_THROW(phone::Phone::open(replayed), phone::PhoneError);
}

TEST_F(Values, PhonesOfOneMakeAreOffEachInItsOwnWay) {
  const struct {
    int type;
    int period_us;
    double least;  // error on the worst axis: more than a calibration may leave
  } rows[] = {{accelerometer, 20000, 0.02},
              {accelerometer_second, 20000, 0.02},
              {gyroscope_uncalibrated, 20000, 0.001},
              {gyroscope_second, 20000, 0.001},
              {pressure, 50000, 0.12},
              {light, 100000, 10}};
  std::set<double> errors;
  for (const uint64_t seed : {1U, 2U, 3U}) {
    phone::PhoneOptions seeded = options();
    seeded.seed = seed;
    open(seeded);
    for (const auto& row : rows) {
      const std::vector<float> truth = phone->truth(row.type);
      const std::vector<Event> events = client.collect(row.type, row.period_us, 50);
      double worst = 0;
      for (size_t i = 0; i < truth.size(); ++i) {
        worst = std::max(worst, std::abs(mean(events, i) - static_cast<double>(truth[i])));
      }
      EXPECT_GT(worst, row.least) << row.type;
      EXPECT_TRUE(errors.insert(std::round(worst * 1e4)).second) << row.type;
    }
  }
}

}  // namespace
}  // namespace phone_test
