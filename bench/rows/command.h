// One hub command with its fresh look-up, against the least that such a call can do.
#pragma once

#include <SensorCalibrationAPI.h>
#include <SensorType.h>
#include <host/service_registry.h>
#include <string.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace bench {

namespace kest = ::vendor::corvane::sensor::kestsensorservice::V1_1;

inline void answer(const kest::ssc_oem_test_msg& request, kest::ssc_oem_test_msg* reply) {
  reply->sensor_type = request.sensor_type;
  reply->msg_type = request.msg_type;
}

class EchoService : public kest::IKestSensorService {
 public:
  ::android::hardware::Return<void> send_ssc_oem_test_msg(const kest::ssc_oem_test_msg& msg,
                                                          send_ssc_oem_test_msg_cb _hidl_cb) override {
    kest::ssc_oem_test_msg reply{};
    answer(msg, &reply);
    _hidl_cb(reply);
    return {};
  }
};

class BareService {
 public:
  virtual ~BareService() = default;
  virtual void send(const kest::ssc_oem_test_msg& msg, std::function<void(const kest::ssc_oem_test_msg&)> on_reply) = 0;
};

class BareEcho : public BareService {
 public:
  void send(const kest::ssc_oem_test_msg& msg, std::function<void(const kest::ssc_oem_test_msg&)> on_reply) override {
    kest::ssc_oem_test_msg reply{};
    answer(msg, &reply);
    on_reply(reply);
  }
};

class CommandRow {
 public:
  CommandRow() {
    services_.emplace_back("android.frameworks.sensorservice@1.0::ISensorManager/default", nullptr);
    services_.emplace_back(kName, std::make_unique<BareEcho>());
  }
  void ours() { api_.getAMGOffset_api(sensor_type::accelerometer, offset_); }

  void theirs() {
    kest::ssc_oem_test_msg record{};
    record.sensor_type = sensor_type::accelerometer;
    record.msg_type = 1;
    send(&record);
    memcpy(offset_, record.data.data(), sizeof offset_);
  }

 private:
  static constexpr char kName[] = "vendor.corvane.sensor.kestsensorservice@1.1::IKestSensorService/default";

  struct Registration {
    Registration() { (new EchoService)->registerAsService("default"); }
    ~Registration() { host::remove_service(kest::IKestSensorService::descriptor, "default"); }
  };

  BareService* find() {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& [name, service] : services_) {
      if (name == kName) return service.get();
    }
    return nullptr;
  }

  __attribute__((noinline)) void send(kest::ssc_oem_test_msg* record) {
    kest::ssc_oem_test_msg sent;
    memcpy(&sent, record, sizeof sent);
    kest::ssc_oem_test_msg reply{};
    find()->send(sent, [out = &reply](const kest::ssc_oem_test_msg& given) { *out = given; });
    memcpy(record, &reply, sizeof reply);
  }

  const Registration registration_;  // before the object that looks for it
  SensorCalibrationAPI api_;
  float offset_[3] = {};
  std::mutex mutex_;
  std::vector<std::pair<std::string, std::unique_ptr<BareService>>> services_;
};

}  // namespace bench
