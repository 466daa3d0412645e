// One scenario per inertial sensor: calibrated on the whole phone, from request to right values.
#include <gmock/gmock.h>

#include "whole_phone.h"

namespace scenario {
namespace {

using phone::HubExchange;
using ::testing::Each;
using ::testing::ElementsAreArray;
using ::testing::MatchesRegex;

// Sensor type, code, and the words not given zero.
std::vector<int32_t> record(int type, int code, std::vector<int32_t> words = {}) {
  std::vector<int32_t> out = {type, code};
  out.insert(out.end(), words.begin(), words.end());
  out.resize(18);
  return out;
}

// A run reads the offset in force and pushes what it found, and says nothing else to the hub.
void expect_read_and_push(const std::vector<HubExchange>& messages, const Inertial& kind, const Axes& held,
                          const Axes& found) {
  ASSERT_EQ(messages.size(), 2U);
  EXPECT_THAT(messages[0].request, ElementsAreArray(record(kind.type, kind.get_code)));
  const std::vector<int32_t> held_words = {bits(held[0]), bits(held[1]), bits(held[2])};
  EXPECT_THAT(messages[0].reply, ElementsAreArray(record(kind.type, kind.get_code, held_words)));
  const std::vector<int32_t> words = {bits(found[0]), bits(found[1]), bits(found[2])};
  EXPECT_THAT(messages[1].request, ElementsAreArray(record(kind.type, kind.set_code, words)));
  EXPECT_THAT(messages[1].reply, ElementsAreArray(record(kind.type, kind.set_code)));
  for (const HubExchange& message : messages) EXPECT_EQ(message.note, "");
}

void expect_fresh_samples_right(WholePhone& whole, int type, double limit) {
  Client client;
  const std::vector<float> truth = whole.phone->truth(type);
  ASSERT_EQ(truth.size(), 3U);
  const auto events = client.collect(type, 20000, 100);
  for (size_t axis = 0; axis < 3; ++axis) {
    EXPECT_NEAR(phone_test::mean(events, axis), static_cast<double>(truth[axis]), limit) << "axis " << axis;
  }
}

const _sensor_info& record_of(const SensorCalibration& cal, const Inertial& kind) {
  for (const _sensor_info& info : cal.motion_info) {
    if (static_cast<int>(info.info.type) == kind.event_type) return info;
  }
  return cal.motion_info[2];  // reserved: always empty
}

Axes mean_of(const SensorCalibration& cal, const Inertial& kind) {
  const _sensor_info& info = record_of(cal, kind);
  return {info.mean[0], info.mean[1], info.mean[2]};
}

TEST(Inertial, CalibrationMakesFreshSamplesRight) {
  for (const uint64_t seed : {1U, 2U, 3U, 44U}) {
    phone::PhoneOptions seeded = options();
    seeded.seed = seed;
    WholePhone whole(seeded);
    ASSERT_EQ(whole.cal->initCheck(), 0);
    for (const Inertial& kind : kInertial) {
      SCOPED_TRACE("type " + std::to_string(kind.type) + ", seed " + std::to_string(seed));
      whole.take_messages();
      EXPECT_EQ(whole.cal->sensor_calibrate(kind.type, 0), 0);
      const Axes found = mean_of(*whole.cal, kind);
      expect_read_and_push(whole.take_messages(), kind, {}, found);
      expect_fresh_samples_right(whole, kind.event_type, kind.residual);
      expect_fresh_samples_right(whole, kind.type, kind.residual);

      // Once more: what is taken away already is found again.
      EXPECT_EQ(whole.cal->sensor_calibrate(kind.type, 0), 0);
      const Axes again = mean_of(*whole.cal, kind);
      expect_read_and_push(whole.take_messages(), kind, found, again);
      for (size_t axis = 0; axis < 3; ++axis) EXPECT_NEAR(again[axis], found[axis], kind.residual);
      expect_fresh_samples_right(whole, kind.event_type, kind.residual);
    }
  }
}

TEST(Inertial, CalibrationOutlivesProcessAndRebootButNotAFactoryReset) {
  const Folder folder;
  phone::PhoneOptions kept = options();
  kept.directory = folder.path() + "/phone";
  std::vector<Axes> found;
  {
    WholePhone whole(kept);
    for (const Inertial& kind : kInertial) {
      ASSERT_EQ(whole.cal->sensor_calibrate(kind.type, 0), 0);
      found.push_back(mean_of(*whole.cal, kind));
    }
  }
  WholePhone whole(kept);
  const auto expect_kept = [&] {
    for (size_t i = 0; i < found.size(); ++i) {
      EXPECT_EQ(whole.stored(kInertial[i]), found[i]);
      expect_fresh_samples_right(whole, kInertial[i].event_type, kInertial[i].residual);
    }
  };
  expect_kept();
  whole.phone->reboot();
  expect_kept();

  whole.phone->factory_reset();
  Client client;
  for (size_t i = 0; i < found.size(); ++i) {
    EXPECT_EQ(whole.stored(kInertial[i]), Axes{});
    const auto events = client.collect(kInertial[i].event_type, 20000, 100);
    EXPECT_NEAR(phone_test::mean(events, 0), static_cast<double>(found[i][0]), kInertial[i].residual);
  }
}

// One product's hub keeps a run-time bias that a calibration must drop.
TEST(Inertial, VelraDropsTheRunTimeBias) {
  WholePhone whole(options({}, "velra"));
  for (const Inertial& kind : kInertial) {
    whole.take_messages();
    EXPECT_EQ(whole.cal->sensor_calibrate(kind.type, 0), 0);
    const std::vector<HubExchange> messages = whole.take_messages();
    ASSERT_EQ(messages.size(), kind.set_code == 2 ? 3U : 2U);
    if (kind.set_code != 2) continue;
    EXPECT_THAT(messages[2].request, ElementsAreArray(record(kind.type, 33)));
  }
}

// The calling thread's lines in full, with * for numbers and addresses.
std::string with_stars(const std::string& line) {
  static const std::regex kNumbers("0x[0-9a-f]+|-?[0-9]+\\.[0-9]{6}");
  return std::regex_replace(line, kNumbers, "*");
}

TEST(Inertial, LogOfOneRun) {
  WholePhone whole;
  const test::LogCapture log;
  ASSERT_EQ(whole.cal->sensor_calibrate(sensor_type::accelerometer, 0), 0);
  Lines lines = log.mine();
  std::string numbers;
  for (const float v : mean_of(*whole.cal, kAcc)) numbers += (numbers.empty() ? "" : ",") + std::to_string(v);
  EXPECT_EQ(lines.back(), "I/libsensor_cal: calibrate sensor(type=1) successfully, offset=" + numbers);
  for (std::string& line : lines) line = with_stars(line);
  const Lines wanted = {
      "I/libsensor_cal: [sensor_calibrate] type = 1, param = 0",
      "I/libsensor_cal: continue_reporting_sensor_calibrate: enter type=1, param = 0",
      "I/libsensor_cal: continue_reporting_sensor_calibrate: enter line=2065",
      "D/libsensor_calapi: getAMGOffset_api: enter getAMGOffset_api type=1, offset= *,*,*",
      "D/libsensor_calapi: send_ssc_oem_test_msg: send_ssc_oem_test_msg: *",
      "I/libsensor_calapi: send_ssc_oem_test_msg return msg: type: 1, value:(0, 0)",
      "I/libsensor_calapi: send_ssc_oem_test_msg return msg: type: 1, value:(*, *, *, *, *, *)",
      "E/libsensor_calapi: getAMGOffset_api: exit getAMGOffset_api type=1 ret = 0, offset = {*, *, *}",
      "D/libsensor_calapi: enter setAMGOffset_api type=1, offset= *,*,*",
      "D/libsensor_calapi: send_ssc_oem_test_msg: send_ssc_oem_test_msg: *",
      "I/libsensor_calapi: send_ssc_oem_test_msg return msg: type: 1, value:(0, 0)",
      "I/libsensor_calapi: send_ssc_oem_test_msg return msg: type: 1, value:(*, *, *, *, *, *)",
      "E/libsensor_calapi: setAMGOffset_api: exit setAMGOffset_api type=1 ret = 0, offset = {*, *, *}",
      "I/libsensor_cal: calibrate sensor(type=1) successfully, offset=*,*,*",
  };
  EXPECT_EQ(lines, wanted);

  // The event thread: three settling events and fifty samples, and not one more.
  const Lines events = log.others();
  EXPECT_EQ(events.size(), 53U);
  EXPECT_THAT(events, Each(MatchesRegex("I/libsensor_cal: SENSOR_TYPE_ACCELEROMETER data: "
                                        "\\{-?[0-9.]+, -?[0-9.]+, 9\\.[0-9]+\\}")));
}

// What the other three log differently: the accelerometer's marker, or the question which product this is.
TEST(Inertial, LogOfTheOthers) {
  const struct {
    Inertial kind;
    const char* event_line;
    const char* own_line;
  } rows[] = {
      {kAcc2, "I/libsensor_cal: QTI_SENSOR_TYPE_ACCELEROMETER data: {",
       "I/libsensor_cal: continue_reporting_sensor_calibrate: enter line=2160"},
      {kGyr, "I/libsensor_cal: SENSOR_TYPE_GYROSCOPE_UNCALIBRATED data: {", "E/libsensor_cal: hwversion=reference\n"},
      {kGyr2, "I/libsensor_cal: QTI_SENSOR_TYPE_GYROSCOPE data: {", "E/libsensor_cal: hwversion=reference\n"},
  };
  WholePhone whole;
  for (const auto& row : rows) {
    const test::LogCapture log;
    ASSERT_EQ(whole.cal->sensor_calibrate(row.kind.type, 0), 0);
    EXPECT_EQ(log.count(row.event_line), 53U);
    EXPECT_EQ(log.others().size(), 53U);
    EXPECT_EQ(log.mine().size(), 14U);
    EXPECT_EQ(log.count(row.own_line), 1U);
  }
}

}  // namespace
}  // namespace scenario
