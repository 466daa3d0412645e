// The sensor service of the simulated phone.
#pragma once

#include <host/no_direct_channels.h>

#include <memory>

#include "phone/core/profile.h"
#include "phone/faults/faults.h"
#include "phone/sensors/service_link.h"
#include "phone/sensors/stage.h"

namespace phone {

// Any thread may call. Clients may hold it longer than the phone lives: after disconnect() its calls fail in transport.
class SensorManager : public host::NoDirectChannels {
 public:
  using SensorType = ::android::hardware::sensors::V1_0::SensorType;

  SensorManager(ProfilePtr profile, std::shared_ptr<const Faults> faults, std::shared_ptr<Stage> stage);

  void disconnect() { link_->disconnect(); }

  ::android::hardware::Return<void> getSensorList(getSensorList_cb _hidl_cb) override;
  ::android::hardware::Return<void> getDefaultSensor(SensorType type, getDefaultSensor_cb _hidl_cb) override;
  ::android::hardware::Return<void> createEventQueue(const ::android::sp<IEventQueueCallback>& callback,
                                                     createEventQueue_cb _hidl_cb) override;

 private:
  const ProfilePtr profile_;
  const std::shared_ptr<ServiceLink> link_;
};

}  // namespace phone
