// The table of sensors, held to what the library does.
#include "sensors/sensor.h"

#include <OemTestMsg.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <set>
#include <tuple>

#include "bench_phone.h"
#include "device_dir.h"

namespace factory {
namespace {

using test::bits;
using test::Message;

constexpr int kParamMin = -2;
constexpr int kParamMax = 21;

std::set<int> all_types() {
  std::set<int> out;
  for (const Sensor& sensor : sensors()) out.insert(sensor.type);
  for (const sensor_type::TagRow& row : sensor_type::kTags) out.insert(row.type);
  return out;
}

// A phone on which every run finishes and every command finds what it needs.
class ReadyPhone {
 public:
  explicit ReadyPhone(const std::string& proximity_chip = "prox", const std::string& tof_chip = "vl53l0_tof") {
    device_.write("/sys/class/leds/lcd-backlight/brightness", "1");
    device_.write("/sys/class/leds/lcd-backlight/max_brightness", "4095\n");
    const std::vector<int32_t> channels = {0, bits(2), bits(2), bits(2), bits(2), bits(2), bits(2), bits(2)};
    bench.hub->reply(oem_test_msg::get_golden_channels, channels);
    bench.hub->reply(oem_test_msg::get_channel_scales, channels);
    bench.hub->reply(oem_test_msg::get_lux_scale, {bits(2)});
    bench.hub->reply(oem_test_msg::get_proximity, {0, 0, 100});
    for (test::SensorInfo& info : bench.sensors->list) {
      const int type = static_cast<int>(info.type);
      if (type == sensor_type::proximity) info.name = proximity_chip;
      if (type == sensor_type::tof) info.name = tof_chip;
      bench.queue->script(info.sensorHandle, test::swinging(type, 60, values(type), 0.001F));
    }
  }

  // What the application asks of the hub beside questions for what it holds.
  std::vector<Message> orders(int type, int param) {
    device_.remove("/mnt/vendor/persist/sensors/PSensor_ct1.txt");
    device_.write("/mnt/vendor/persist/sensors/PSensor3cm_ct.txt", "offset=227\n");
    bench.hub->forget();
    bench.cal->sensor_calibrate(type, param);
    std::vector<Message> out = bench.hub->sent();
    const std::set<int> kQuestions = {oem_test_msg::get_accelerometer_offset,
                                      oem_test_msg::get_gyroscope_offset,
                                      oem_test_msg::get_pressure_offset,
                                      oem_test_msg::get_lux_scale,
                                      oem_test_msg::get_golden_channels,
                                      oem_test_msg::get_channel_scales,
                                      oem_test_msg::get_proximity};
    out.erase(
        std::remove_if(out.begin(), out.end(), [&](const Message& sent) { return kQuestions.count(sent[1]) != 0; }),
        out.end());
    bench.queue->drain();
    return out;
  }

 private:
  static std::vector<float> values(int type) {
    const Sensor* sensor = sensor_of(type);
    if (sensor != nullptr && sensor->result == Result::offset) {
      const std::vector<double> rest = nominal(type);
      return rest.empty() ? std::vector<float>{1} : std::vector<float>(rest.begin(), rest.end());
    }
    if (type == sensor_type::gyroscope_uncalibrated) return {0, 0, 0};
    if (type == sensor_type::proximity_stream) return {327};
    return {5, 6, 7, 8, 9, 10, 11, 12};
  }

  test::DeviceDir device_;

 public:
  test::BenchPhone bench;
};

// The dispatch looks at these numbers before it looks at the sensor: the hub gets the command whatever it is for.
bool is_sent_for_any_type(int param) { return param == 11 || param == 12 || (param >= 15 && param <= 18); }

TEST(SensorTest, AStepIsWhatTheLibraryDoesForTheSensorByThatNumberAlone) {
  struct Case {
    const char* proximity_chip;
    const char* tof_chip;
    std::set<int> types;
  };
  const std::set<int> kByChip = {sensor_type::proximity, sensor_type::tof};
  for (const Case& c : {Case{"prox", "vl53l0_tof", all_types()}, Case{"vl53l0_tof", "other", kByChip},
                        Case{"tmd2725", "vl53l0_tof", kByChip}}) {
    ReadyPhone phone(c.proximity_chip, c.tof_chip);
    for (const int type : c.types) {
      const std::vector<Message> of_step_0 = phone.orders(type, 0);
      for (int param = kParamMin; param <= kParamMax; ++param) {
        SCOPED_TRACE(std::string(c.proximity_chip) + ": " + tag_of(type) + " " + std::to_string(param));
        const StepRow* step = step_of(type, param);
        const std::vector<Message> orders = phone.orders(type, param);
        if (step != nullptr && chip_has(*phone.bench.cal, type, *step)) {
          EXPECT_FALSE(orders.empty());
          EXPECT_TRUE(param == 0 || orders != of_step_0) << "the number makes no difference";
        } else {
          EXPECT_TRUE(orders.empty() || orders == of_step_0 || is_sent_for_any_type(param));
        }
      }
    }
  }
}

TEST(SensorTest, ARunIsAsTheTableSays) {
  ReadyPhone phone;
  for (const Sensor& sensor : sensors()) {
    if (find_kind(sensor.type, 0) == nullptr) continue;
    SCOPED_TRACE(sensor.words);
    ASSERT_EQ(phone.bench.cal->sensor_calibrate(sensor.type, 0), 0);
    const _sensor_info& record = record_of(*phone.bench.cal, sensor);
    EXPECT_EQ(record.status, 2);
    EXPECT_EQ(record.skip_num + record.sample_num, sensor.events);
    EXPECT_EQ(record.period_ms, sensor.period_ms);
    EXPECT_EQ(record.axis_num, sensor.values);
    EXPECT_EQ(phone.bench.queue->enabled().back().handle, record.info.sensorHandle);
    phone.bench.queue->drain();
  }
}

_sensor_info& record_at(SensorCalibration& cal, int number) {
  return number < 8 ? cal.motion_info[number] : cal.env_info[number - 8];
}

TEST(SensorTest, AnEventGoesToTheRecordOfItsTypeFromItsFirstWordOn) {
  test::BenchPhone phone;
  std::vector<float> data(16);
  std::iota(data.begin(), data.end(), 1.0F);
  for (const int type : all_types()) {
    const Sensor* sensor = sensor_of(type);
    SCOPED_TRACE(tag_of(type));
    for (int i = 0; i < 18; ++i) {
      _sensor_info& record = record_at(*phone.cal, i);
      record = _sensor_info();
      record.in_calibrate = 1;
      record.axis_num = sensor == nullptr ? 1 : sensor->values;
      record.sample_num = 1;
      record.variance_threshold = 1;
      std::fill(std::begin(record.bias_threshold), std::end(record.bias_threshold), 1e6F);
      std::fill(std::begin(record.scale), std::end(record.scale), 1.0F);
    }
    phone.queue->deliver(test::event(type, data));
    for (int i = 0; i < 18; ++i) {
      const _sensor_info& record = record_at(*phone.cal, i);
      ASSERT_EQ(record.status == 2, sensor != nullptr && sensor->record == i) << "record " << i;
      if (record.status != 2) continue;
      const std::vector<double> rest = sensor->result == Result::offset ? nominal(type) : std::vector<double>();
      for (int axis = 0; axis < sensor->values; ++axis) {
        const auto raw = static_cast<double>(data[static_cast<size_t>(sensor->first_word + axis)]);
        const double away = rest.empty() ? 0 : rest[static_cast<size_t>(axis)];
        EXPECT_NEAR(static_cast<double>(record.mean[axis]), raw - away, 1e-5) << "axis " << axis;
      }
    }
  }
}

// As a person says how the phone lies, by whom the world is known on a real one.
TEST(SensorTest, ShowsGravityAlongUp) {
  const std::tuple<const char*, double, double> kRows[] = {
      {"flat", 0, 1},        {"face-down", 0, -1}, {"tilted:30", 0.5, std::sqrt(0.75)},
      {"3,0,-4", 0.6, -0.8}, {"0,0,0", 0, 1},  // no direction: as on a table
  };
  for (const auto& [up, x, z] : kRows) {
    EXPECT_THAT(expected_at({{"up", up}}, sensor_type::accelerometer),
                ::testing::Pointwise(::testing::DoubleNear(1e-9), {x * kGravity, 0.0, z * kGravity}))
        << up;
  }
}

}  // namespace
}  // namespace factory
