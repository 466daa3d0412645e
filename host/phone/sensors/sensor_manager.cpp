#include "phone/sensors/sensor_manager.h"

#include <algorithm>

#include "phone/sensors/event_queue.h"

namespace phone {
namespace {

using ::android::hardware::hidl_vec;
using ::android::hardware::Return;
using ::android::hardware::Status;
using ::android::hardware::Void;
using ::android::hardware::sensors::V1_0::SensorFlagBits;
using ::android::hardware::sensors::V1_0::SensorInfo;

SensorInfo info_of(const SensorEntry& entry) {
  const bool on_change = entry.kind == Kind::proximity;
  SensorInfo info{};
  info.sensorHandle = entry.handle;
  info.name = entry.name;
  info.vendor = entry.vendor;
  info.version = entry.version;
  info.type = static_cast<SensorManager::SensorType>(entry.type);
  info.maxRange = entry.max_range;
  info.resolution = entry.resolution;
  info.power = entry.power_ma;
  info.minDelay = on_change ? 0 : entry.min_period_us;
  info.maxDelay = entry.max_period_us;
  info.flags = static_cast<uint32_t>(on_change ? SensorFlagBits::ON_CHANGE_MODE : SensorFlagBits::CONTINUOUS_MODE);
  return info;
}

}  // namespace

SensorManager::SensorManager(ProfilePtr profile, std::shared_ptr<const Faults> faults, std::shared_ptr<Stage> stage)
    : profile_(std::move(profile)), link_(std::make_shared<ServiceLink>(std::move(faults), std::move(stage))) {
  link_->serve(static_cast<::android::hidl::base::V1_0::IBase*>(this));
}

Return<void> SensorManager::getSensorList(getSensorList_cb _hidl_cb) {
  if (!link_->take_call()) return Status::fromStatusT(::android::DEAD_OBJECT);
  if (const Fault* const refused = link_->faults().find(FaultId::list_refused)) {
    _hidl_cb({}, static_cast<ServiceResult>(refused->code));
    return Void();
  }
  std::vector<SensorInfo> list;
  std::transform(profile_->sensors.begin(), profile_->sensors.end(), std::back_inserter(list), info_of);
  _hidl_cb(list, ServiceResult::OK);
  return Void();
}

Return<void> SensorManager::getDefaultSensor(SensorType type, getDefaultSensor_cb _hidl_cb) {
  if (!link_->take_call()) return Status::fromStatusT(::android::DEAD_OBJECT);
  const auto found = std::find_if(profile_->sensors.begin(), profile_->sensors.end(),
                                  [type](const SensorEntry& entry) { return entry.type == static_cast<int>(type); });
  if (found == profile_->sensors.end()) {
    _hidl_cb(SensorInfo{}, ServiceResult::NOT_EXIST);
  } else {
    _hidl_cb(info_of(*found), ServiceResult::OK);
  }
  return Void();
}

Return<void> SensorManager::createEventQueue(const ::android::sp<IEventQueueCallback>& callback,
                                             createEventQueue_cb _hidl_cb) {
  if (!link_->take_call()) return Status::fromStatusT(::android::DEAD_OBJECT);
  if (link_->faults().find(FaultId::queue_never) != nullptr) return Void();
  if (const Fault* const refused = link_->faults().find(FaultId::queue_refused)) {
    _hidl_cb(nullptr, static_cast<ServiceResult>(refused->code));
    return Void();
  }
  if (callback == nullptr) {
    _hidl_cb(nullptr, ServiceResult::BAD_VALUE);
    return Void();
  }
  const ::android::sp<::android::frameworks::sensorservice::V1_0::IEventQueue> queue = new EventQueue(link_, callback);
  _hidl_cb(queue, ServiceResult::OK);
  return Void();
}

}  // namespace phone
