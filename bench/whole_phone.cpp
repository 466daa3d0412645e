#include "whole_phone.h"

#include <SensorCalibration.h>
#include <SensorType.h>
#include <stdio.h>
#include <stdlib.h>

#include <array>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "phone/core/phone.h"

namespace bench {
namespace {

using namespace sensor_type;  // NOLINT(google-build-using-namespace): the tables below are nothing but these names
using ::android::sp;
using ::android::frameworks::sensorservice::V1_0::IEventQueue;
using ::android::frameworks::sensorservice::V1_0::IEventQueueCallback;
using ::android::frameworks::sensorservice::V1_0::Result;
using ::android::hardware::sensors::V1_0::Event;

[[noreturn]] void give_up(const char* what, int type, double value = 0) {
  fprintf(stderr, "bench: %s: type %d, %g\n", what, type, value);
  exit(1);
}

void require(bool good, const char* what, int type, double value = 0) {
  if (!good) give_up(what, type, value);
}

// Sums the first events of one sensor and then turns it off, from within the delivery.
class Sampler : public IEventQueueCallback {
 public:
  explicit Sampler(SensorCalibration& cal) {
    for (const auto& info : cal.sensor_list) handles_.try_emplace(static_cast<int>(info.type), info.sensorHandle);
    (void)cal.sensor_manager->createEventQueue(this, [this](const sp<IEventQueue>& queue, Result) { queue_ = queue; })
        .isOk();
  }
  // The queue and its callback hold each other.
  void close() { queue_.clear(); }

  std::array<double, 16> mean(int type, int period_ms, int count) {
    std::unique_lock<std::mutex> lock(mutex_);
    sum_ = {};
    left_ = count;
    handle_ = handles_.at(type);
    lock.unlock();
    const auto enabled = queue_->enableSensor(handle_, period_ms * 1000, 0);
    require(enabled.isOk() && enabled == Result::OK, "cannot be enabled", type);
    lock.lock();
    done_.wait(lock, [this] { return left_ == 0; });
    std::array<double, 16> out{};
    for (size_t i = 0; i < out.size(); ++i) out[i] = sum_[i] / count;
    return out;
  }

  ::android::hardware::Return<void> onEvent(Event const& event) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (left_ == 0) return {};
    ++events_;
    if (first_ns_ == 0) first_ns_ = event.timestamp;
    last_ns_ = event.timestamp;
    for (size_t i = 0; i < sum_.size(); ++i) sum_[i] += static_cast<double>(event.u.data[i]);
    if (left_ == 1) (void)queue_->disableSensor(handle_).isOk();
    if (--left_ == 0) done_.notify_one();
    return {};
  }

  double seconds() const { return static_cast<double>(last_ns_ - first_ns_) * 1e-9; }
  uint64_t events() const { return events_; }

 private:
  std::map<int, int> handles_;
  sp<IEventQueue> queue_;
  std::mutex mutex_;
  std::condition_variable done_;
  std::array<double, 16> sum_{};
  int left_ = 0;
  int handle_ = 0;
  int64_t first_ns_ = 0, last_ns_ = 0;
  uint64_t events_ = 0;
};

// What fresh samples of a sensor must agree with.
struct Fresh {
  int type;
  int period_ms;
  size_t first_word;
  size_t values;
  double limit;  // in the sensor's unit, or a fraction of the truth
  bool relative;
};

constexpr Fresh kInertial[] = {
    {accelerometer, 20, 0, 3, 0.02, false},
    {accelerometer_second, 20, 0, 3, 0.02, false},
    {gyroscope_uncalibrated, 20, 0, 3, 0.00035, false},
    {gyroscope_second, 20, 0, 3, 0.00035, false},
    {pressure, 50, 0, 1, 0.12, false},
};
constexpr int kLights[] = {light, lux_f, lux_b, lux_b_stream, lux_sec, lux_sec_stream, lux_pri2, lux_pri2_stream};
constexpr Fresh kStreams[] = {
    {cct_f_stream, 100, 2, 5, 0.01, true},
    {cct_b_stream, 100, 2, 5, 0.01, true},
    {light_stream, 100, 1, 5, 0.01, true},
};

class Factory {
 public:
  explicit Factory(uint64_t seed)
      : phone_(phone::Phone::open({.directory = "",
                                   .profile = "reference",
                                   .seed = seed,
                                   .speed = std::numeric_limits<double>::infinity(),
                                   .replays = {},
                                   .faults = {}})),
        cal_(std::make_unique<SensorCalibration>()),
        sampler_(new Sampler(*cal_)) {}
  ~Factory() {
    sampler_->close();
    cal_->sensor_cal_deinit();
  }

  void run() {
    panel(0);
    sampler_->mean(accelerometer, 20, 1);  // the first sample
    for (const int type : {accelerometer, accelerometer_second, gyroscope, gyroscope_second}) calibrate(type, 0);
    require(cal_->sensor_setconfig(pressure, 0, 1013.25F) == 0.0, "calibration failed", pressure);
    for (const Fresh& fresh : kInertial) verify(fresh);
    for (const int type : kLights) calibrate(type, 0);
    for (const int type : kLights) verify({type, 100, 0, 1, 0.05, true});
    for (const Fresh& stream : kStreams) calibrate_stream(stream);
    for (const Fresh& stream : kStreams) verify(stream);
    calibrate_panel_light();
    calibrate_distances();
    for (const int type : {sar, sar_second}) {
      calibrate(type, 0);
      verify({type, 100, 0, 3, 5, false});
    }
    verify(kInertial[0]);  // the last sample
    const std::string report = cal_->GetCalibrated();
    require(!report.empty() && report.find('0') == std::string::npos, report.c_str(), 0);
  }

  const Sampler& sampler() const { return *sampler_; }

 private:
  void calibrate(int type, int param) {
    const int result = cal_->sensor_calibrate(type, param);
    require(result == 0, "calibration failed", type, result);
  }

  void verify(const Fresh& fresh) {
    const std::vector<float> truth = phone_->truth(fresh.type);
    const std::array<double, 16> mean = sampler_->mean(fresh.type, fresh.period_ms, 100);
    for (size_t word = fresh.first_word; word < fresh.first_word + fresh.values; ++word) {
      const double wanted = static_cast<double>(truth.at(word));
      const double error = std::fabs(mean.at(word) - wanted);
      require(error <= fresh.limit * (fresh.relative ? wanted : 1), "off the truth", fresh.type, error);
    }
  }

  void calibrate_stream(const Fresh& stream) {
    std::vector<float> golden = phone_->truth(stream.type);
    golden.erase(golden.begin(), golden.begin() + static_cast<long>(stream.first_word));
    cal_->cal_api->setLuxChannelRawGolden_api(stream.type, golden.data(), static_cast<int>(golden.size()));
    calibrate(stream.type, 0);
  }

  void calibrate_panel_light() {
    world("dark-box", "on");
    for (int k = 1; k <= 6; ++k) {
      float dark = 0;
      cal_->cal_api->getLuxDark_api(&dark, k);
    }
    for (const int type : {light, lux_pri2}) {
      for (const int level : {13, 14}) calibrate(type, level);
    }
    panel(0);
    world("dark-box", "off");
  }

  void calibrate_distances() {
    world("target", "none");
    calibrate(proximity, 0);
    world("target", "3");
    calibrate(proximity, 2);
    world("target", "10");
    calibrate(tof, 5);
    calibrate(tof, 6);
    verify({tof, 50, 0, 1, 1, false});
    world("target", "none");
  }

  void world(const char* key, const char* value) {
    phone::World changed = phone_->world();
    require(phone::set_world(&changed, key, value).empty(), key, 0);
    phone_->set_world(changed);
  }

  void panel(int level) {
    const int written = cal_->lcdbacklight_calibrate_write_backlight("/sys/class/leds/lcd-backlight/brightness", level);
    require(written == 0, "panel", level, written);
  }

  std::unique_ptr<phone::Phone> phone_;
  std::unique_ptr<SensorCalibration> cal_;
  sp<Sampler> sampler_;
};

}  // namespace

PhoneRun run_whole_phone(uint64_t seed) {
  const auto start = std::chrono::steady_clock::now();
  PhoneRun out;
  {
    Factory factory(seed);
    factory.run();
    out.sensor_s = factory.sampler().seconds();
    out.events = factory.sampler().events();
  }
  out.wall_s = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return out;
}

}  // namespace bench
