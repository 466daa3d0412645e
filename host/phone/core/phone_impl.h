// The phone behind phone.h.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "phone/core/phone.h"
#include "phone/core/phone_directory.h"
#include "phone/faults/device_faults.h"
#include "phone/faults/faults.h"
#include "phone/faults/hub_link_faults.h"
#include "phone/hub/hub.h"
#include "phone/hub/registry.h"
#include "phone/hub/service_faults.h"
#include "phone/hub/test_service.h"
#include "phone/panel/panel.h"
#include "phone/sensors/sensor_manager.h"
#include "phone/sensors/stage.h"

namespace phone {

// Holds the process's one place for a phone.
class ProcessSlot {
 public:
  ProcessSlot();
  ~ProcessSlot();
  ProcessSlot(const ProcessSlot&) = delete;
  ProcessSlot& operator=(const ProcessSlot&) = delete;
};

// The process's properties and device root, while the phone lives.
class ProcessState {
 public:
  explicit ProcessState(const std::string& directory);
  ~ProcessState();
  ProcessState(const ProcessState&) = delete;
  ProcessState& operator=(const ProcessState&) = delete;
  const std::string& problem() const { return problem_; }

 private:
  const std::string root_before_;
  std::string problem_;
};

class PhoneImpl : public Phone, private Surroundings, private RawSource {
 public:
  explicit PhoneImpl(const PhoneOptions& options);
  ~PhoneImpl() override;

  const std::string& directory() const override { return folder_.path(); }
  std::string profile_name() const override { return folder_.profile()->name; }
  uint64_t seed() const override { return folder_.seed(); }
  std::vector<std::string> remarks() const override;
  World world() const override;
  void set_world(const World& world) override;
  std::string disturb(const std::string& key, const std::string& value) override;
  std::vector<float> truth(int sensor_type) const override { return truth(sensor_type, real_world()); }
  std::vector<float> truth(int sensor_type, const World& world) const override;
  Json::Value hub_state() const override { return hub_.describe(); }
  void on_hub_message(std::function<void(const HubExchange&)> listener) override;
  void reboot() override;
  void factory_reset() override;

 private:
  Scene scene(bool with_panel) override;
  const Hub& hub() override { return hub_; }
  float raw(int sensor_type, int channel) override;
  bool dark_box() override;
  World real_world() const;

  std::vector<std::unique_ptr<Sensor>> make_sensors(const PhoneOptions& options);
  void set_first_world();
  void register_services();
  bool save_registry();  // false: it could not be kept, as a remark says
  void remark(const std::string& text);

  const ProcessSlot slot_;
  const PhoneDirectory folder_;
  const std::shared_ptr<const Faults> faults_;
  const ProcessState process_;
  FileFaults file_faults_;
  PropertyFaults property_faults_;
  Panel panel_;

  mutable std::mutex mutex_;
  World world_;  // guarded by mutex_, and so are the following
  std::map<std::string, std::string> disturbed_;
  std::vector<std::string> remarks_;

  Hub hub_;
  HubRegistry registry_;
  ServiceFaults service_faults_;
  std::shared_ptr<Stage> stage_;
  ::android::sp<SensorManager> sensor_manager_;
  ::android::sp<TestService> test_service_;
  ::android::sp<FaultyHubLink> faulty_link_;  // in front of it, where a fault wants one
};

}  // namespace phone
