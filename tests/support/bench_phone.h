// A calibration object over a fake hub and fake sensors, with every record's sensor listed.
#pragma once

#include <SensorCalibration.h>
#include <gmock/gmock.h>
#include <host/property_store.h>

#include <memory>

#include "fake_hub.h"
#include "fake_sensors.h"
#include "log_capture.h"

namespace test {

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
