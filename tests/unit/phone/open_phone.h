// A phone with a client of its sensor service.
#pragma once

#include <android/frameworks/sensorservice/1.0/ISensorManager.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <vendor/corvane/sensor/kestsensorservice/1.1/IKestSensorService.h>

#include <bit>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "folder.h"
#include "phone/core/phone.h"

namespace phone_test {

using ::android::sp;
using ::android::frameworks::sensorservice::V1_0::IEventQueue;
using ::android::frameworks::sensorservice::V1_0::IEventQueueCallback;
using ::android::frameworks::sensorservice::V1_0::ISensorManager;
using ::android::frameworks::sensorservice::V1_0::Result;
using ::android::hardware::sensors::V1_0::Event;
using ::android::hardware::sensors::V1_0::SensorInfo;
using ::android::hardware::sensors::V1_0::SensorType;
using test::Folder;

inline constexpr double kMax = std::numeric_limits<double>::infinity();

inline constexpr int kAcc = 1, kGyr = 4, kBar = 6;

inline phone::PhoneOptions options(std::vector<std::string> faults = {}, const std::string& profile = "reference",
                                   const std::string& directory = "") {
  phone::PhoneOptions out;
  out.directory = directory;
  out.profile = profile;
  out.seed = 7;
  out.speed = kMax;
  out.faults = std::move(faults);
  return out;
}

// Keeps events, and may do something at each.
class Listener : public IEventQueueCallback {
 public:
  std::function<void(const Event&)> on_each;  // set while nothing is enabled

  ::android::hardware::Return<void> onEvent(const Event& event) override {
    if (on_each) on_each(event);
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      events_.push_back(event);
    }
    changed_.notify_all();
    return ::android::hardware::Void();
  }
  // Waits until the events are as `enough` wants them, half a minute at most, and returns what there is then.
  template <typename Enough>
  std::vector<Event> wait(const Enough& enough) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(30), [&] { return enough(events_); });
    return events_;
  }
  std::vector<Event> wait_for(size_t count) {
    return wait([count](const std::vector<Event>& events) { return events.size() >= count; });
  }
  std::vector<Event> events() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return events_;
  }
  void forget() {
    const std::lock_guard<std::mutex> lock(mutex_);
    events_.clear();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Event> events_;  // guarded by mutex_
};

struct Client {
  Client() : listener(new Listener) {
    manager = ISensorManager::getService("default");
    if (manager == nullptr) return;
    manager->createEventQueue(listener, [this](const sp<IEventQueue>& made, Result result) {
      queue = made;
      queue_result = result;
    });
    manager->getSensorList([this](const auto& list, Result result) {
      list_result = result;
      for (const SensorInfo& info : list) handles.try_emplace(static_cast<int>(info.type), info.sensorHandle);
    });
  }
  Result enable(int type, int period_us) { return queue->enableSensor(handles.at(type), period_us, 0); }
  Result disable(int type) { return queue->disableSensor(handles.at(type)); }

  // The first events of a sensor after its enabling. Like the library it disables the sensor from inside the callback,
  // so that nothing comes behind them and phone time stands still.
  std::vector<Event> collect(int type, int period_us, size_t count) {
    listener->forget();
    listener->on_each = [this, type, count, seen = size_t{0}](const Event&) mutable {
      if (++seen == count) disable(type);
    };
    EXPECT_EQ(enable(type, period_us), Result::OK);
    std::vector<Event> events = listener->wait_for(count);
    EXPECT_GE(events.size(), count) << "type " << type;  // a straggler may already be in
    events.resize(count);
    return events;
  }

  sp<ISensorManager> manager;
  sp<Listener> listener;
  sp<IEventQueue> queue;
  Result queue_result = Result::UNKNOWN_ERROR;
  Result list_result = Result::UNKNOWN_ERROR;
  std::map<int, int> handles;
};

// A phone that is open, and a client of it.
struct OpenPhone : ::testing::Test {
  // Another one in its place.
  void open(const phone::PhoneOptions& wanted) {
    phone.reset();
    phone = phone::Phone::open(wanted);
    client = Client();
  }

  std::unique_ptr<phone::Phone> phone = phone::Phone::open(options());
  Client client;
};

inline int32_t bits(float value) { return std::bit_cast<int32_t>(value); }

// Sends one message to the hub and returns the answer's data words; none when the transport failed.
inline std::vector<int32_t> ask_hub(int type, int code, const std::vector<int32_t>& words = {}) {
  using ::vendor::corvane::sensor::kestsensorservice::V1_1::IKestSensorService;
  using Message = ::vendor::corvane::sensor::kestsensorservice::V1_1::ssc_oem_test_msg;
  const sp<IKestSensorService> service = IKestSensorService::getService("default");
  if (service == nullptr) return {};
  Message message{};
  message.sensor_type = type;
  message.msg_type = code;
  std::copy(words.begin(), words.end(), message.data.data());
  std::vector<int32_t> answer;
  const auto sent = service->send_ssc_oem_test_msg(
      message, [&](const Message& reply) { answer.assign(reply.data.data(), reply.data.data() + reply.data.size()); });
  (void)sent.isOk();  // told by the missing answer
  return answer;
}

inline double mean(const std::vector<Event>& events, size_t word) {
  double sum = 0;
  for (const Event& event : events) sum += static_cast<double>(event.u.data[word]);
  return sum / static_cast<double>(events.size());
}

}  // namespace phone_test
