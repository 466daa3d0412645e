#include "fake_sensors.h"

#include <algorithm>

namespace test {

using ::android::hardware::Return;
using ::android::hardware::Status;
using ::android::hardware::Void;

Event event(int type, std::vector<float> data) {
  Event out{};
  out.sensorType = static_cast<SensorType>(type);
  for (size_t i = 0; i < data.size(); ++i) out.u.data[i] = data[i];
  return out;
}

FakeQueue::FakeQueue(const ::android::sp<IEventQueueCallback>& callback) : callback_(callback) {
  thread_ = std::thread([this] { run(); });
}

FakeQueue::~FakeQueue() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void FakeQueue::script(int handle, std::vector<Event> events) {
  const std::lock_guard<std::mutex> lock(mutex_);
  scripts_[handle] = std::move(events);
}

std::vector<Enabling> FakeQueue::enabled() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return enabled_;
}

std::vector<int> FakeQueue::disabled() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return disabled_;
}

void FakeQueue::deliver(const Event& event) { (void)callback_->onEvent(event).isOk(); }

void FakeQueue::drain() {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [this] { return active_ < 0 && !delivering_; });
}

Return<Result> FakeQueue::enableSensor(int32_t sensorHandle, int32_t samplingPeriodUs,
                                       int64_t maxBatchReportLatencyUs) {
  if (enable_transport_fails) return Status::fromExceptionCode(Status::EX_TRANSACTION_FAILED);
  const std::lock_guard<std::mutex> lock(mutex_);
  enabled_.push_back({sensorHandle, samplingPeriodUs, maxBatchReportLatencyUs});
  if (enable_result == Result::OK && scripts_.count(sensorHandle) != 0) {
    active_ = sensorHandle;
    ++turn_;
  }
  changed_.notify_all();
  return enable_result;
}

Return<Result> FakeQueue::disableSensor(int32_t sensorHandle) {
  if (on_disable) on_disable();
  const std::lock_guard<std::mutex> lock(mutex_);
  disabled_.push_back(sensorHandle);
  if (disable_transport_fails) return Status::fromExceptionCode(Status::EX_TRANSACTION_FAILED);
  if (active_ == sensorHandle) active_ = -1;
  changed_.notify_all();
  return Result::OK;
}

void FakeQueue::run() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return stop_ || active_ >= 0; });
    if (stop_) return;
    const int handle = active_;
    const int turn = turn_;
    const std::vector<Event> events = scripts_[handle];
    delivering_ = true;
    for (const Event& e : events) {
      if (stop_ || active_ != handle || turn_ != turn) break;
      lock.unlock();
      (void)callback_->onEvent(e).isOk();
      lock.lock();
    }
    delivering_ = false;
    if (active_ == handle && turn_ == turn) active_ = -1;
    changed_.notify_all();
  }
}

::android::sp<FakeSensors> FakeSensors::install(std::vector<SensorInfo> list) {
  const ::android::sp<FakeSensors> sensors = new FakeSensors;
  sensors->list = std::move(list);
  sensors->registerAsService("default");
  return sensors;
}

void FakeSensors::remove() { host::remove_service(descriptor, "default"); }

Return<void> FakeSensors::getSensorList(getSensorList_cb _hidl_cb) {
  if (never_answers) return Status::fromExceptionCode(Status::EX_TRANSACTION_FAILED);
  _hidl_cb(list, list_result);
  return Void();
}

Return<void> FakeSensors::getDefaultSensor(SensorType type, getDefaultSensor_cb _hidl_cb) {
  if (never_answers) return Status::fromExceptionCode(Status::EX_TRANSACTION_FAILED);
  const auto found = std::find_if(list.begin(), list.end(), [&](const SensorInfo& s) { return s.type == type; });
  _hidl_cb(found == list.end() ? SensorInfo{} : *found, found == list.end() ? Result::NOT_EXIST : Result::OK);
  return Void();
}

Return<void> FakeSensors::createEventQueue(const ::android::sp<IEventQueueCallback>& callback,
                                           createEventQueue_cb _hidl_cb) {
  if (never_answers) return Status::fromExceptionCode(Status::EX_TRANSACTION_FAILED);
  _hidl_cb(queue_result == Result::OK ? make_queue(callback) : nullptr, queue_result);
  return Void();
}

}  // namespace test
