// A calibration object over a fake hub and fake sensors, with every record's sensor listed.
#pragma once

#include <SensorCalibration.h>
#include <host/property_store.h>

#include <memory>

#include "fake_hub.h"
#include "fake_sensors.h"

namespace test {

// Sensors with the handle 100 + record number.
inline std::vector<SensorInfo> all_records() {
  return {
      sensor(1, 100, "acc"),           sensor(4, 101, "gyro"),
      sensor(16, 103, "gyro raw"),     sensor(268369921, 104, "acc2"),
      sensor(268369924, 107, "gyro2"), sensor(33171005, 108, "prox stream"),
      sensor(5, 109, "light"),         sensor(33171054, 110, "lux f"),
      sensor(33171055, 111, "lux b"),  sensor(33171089, 112, "cct f"),
      sensor(33171057, 113, "cct b"),  sensor(33171081, 114, "lux sec"),
      sensor(33171080, 115, "pri2"),   sensor(6, 117, "bar"),
      sensor(8, 120, "prox"),          sensor(33171040, 121, "vl53l0_tof"),
  };
}

struct BenchPhone {
  explicit BenchPhone(std::vector<SensorInfo> list = all_records()) {
    host::open_properties("");
    hub = FakeHub::install();
    sensors = FakeSensors::install(std::move(list));
    cal = std::make_unique<SensorCalibration>();
    queue = sensors->queue;
  }
  ~BenchPhone() {
    cal.reset();
    FakeSensors::remove();
    FakeHub::remove();
  }

  ::android::sp<FakeHub> hub;
  ::android::sp<FakeSensors> sensors;
  ::android::sp<FakeQueue> queue;
  std::unique_ptr<SensorCalibration> cal;
};

// `count` events around a mean: value i is mean[i] plus and minus `swing` in turn.
inline std::vector<Event> swinging(int type, int count, const std::vector<float>& mean, float swing) {
  std::vector<Event> out;
  for (int n = 0; n < count; ++n) {
    std::vector<float> data = mean;
    for (float& value : data) value += n % 2 == 0 ? swing : -swing;
    out.push_back(event(type, data));
  }
  return out;
}

}  // namespace test
