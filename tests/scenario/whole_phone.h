// A phone, the library's calibration object on it, and everything that both of them say.
#pragma once

#include <SensorCalibration.h>
#include <SensorType.h>
#include <log_capture.h>

#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "open_phone.h"

namespace scenario {

using phone_test::Client;
using phone_test::Folder;
using phone_test::options;

// The inertial sensors, as the factory calibrates them.
struct Inertial {
  int type;
  int event_type;  // of the events that a run takes
  int get_code;
  double gravity;  // on z at rest
};

inline constexpr double kG = 9.80665;
inline constexpr Inertial kAcc = {sensor_type::accelerometer, sensor_type::accelerometer, 1, kG};
inline constexpr Inertial kAcc2 = {sensor_type::accelerometer_second, sensor_type::accelerometer_second, 1, -kG};
inline constexpr Inertial kGyr = {sensor_type::gyroscope, sensor_type::gyroscope_uncalibrated, 3, 0};
inline constexpr Inertial kGyr2 = {sensor_type::gyroscope_second, sensor_type::gyroscope_second, 3, 0};
inline constexpr Inertial kInertial[] = {kAcc, kAcc2, kGyr, kGyr2};

using Axes = std::array<float, 3>;

class WholePhone {
 public:
  explicit WholePhone(const phone::PhoneOptions& wanted = options())
      : phone(phone::Phone::open(wanted)), cal(std::make_unique<SensorCalibration>()) {}
  ~WholePhone() { cal->sensor_cal_deinit(); }

  // What the hub holds.
  Axes stored(const Inertial& kind) {
    Axes out{};
    const std::vector<int32_t> words = phone_test::ask_hub(kind.type, kind.get_code);
    EXPECT_FALSE(words.empty()) << "the hub does not answer";
    if (!words.empty()) memcpy(out.data(), words.data(), sizeof out);
    return out;
  }

  // Golden channels are what a phone without an error shows under the lamp: the last values of the truth.
  int set_golden(int type) {
    constexpr size_t kChannels = 7;
    std::vector<float> truth = phone->truth(type);
    if (truth.size() < kChannels || cal->cal_api == nullptr) return -1;
    return cal->cal_api->setLuxChannelRawGolden_api(type, &truth[truth.size() - kChannels], kChannels);
  }

  int measure_dark() {
    int result = cal->cal_api == nullptr ? -1 : 0;
    float value = 0;
    for (int k = 1; k <= 6 && cal->cal_api != nullptr; ++k) {
      if (cal->cal_api->getLuxDark_api(&value, k) != 0) result = -1;
    }
    return result;
  }

  // Calibrates a sensor that never passes. At unlimited speed a sensor falls silent after a minute of its own time;
  // then the wait is ended as an application would, and the five real seconds of the time-out are spared.
  int calibrate_until_silent(int type, const test::LogCapture& log, size_t events) {
    auto result = std::async(std::launch::async, [&] { return cal->sensor_calibrate(type, 0); });
    while (log.count(" data: {") < events &&
           result.wait_for(std::chrono::milliseconds(5)) != std::future_status::ready) {
    }
    pthread_mutex_lock(&cal->cal_mutex);
    pthread_cond_broadcast(&cal->cal_cond);
    pthread_mutex_unlock(&cal->cal_mutex);
    return result.get();
  }

  const std::unique_ptr<phone::Phone> phone;
  const std::unique_ptr<SensorCalibration> cal;
};

}  // namespace scenario
