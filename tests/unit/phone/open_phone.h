// A phone with a client of its sensor service.
#pragma once

#include <android/frameworks/sensorservice/1.0/ISensorManager.h>
#include <gtest/gtest.h>
#include <stdlib.h>

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

inline constexpr double kMax = std::numeric_limits<double>::infinity();

// A directory for one test.
class Folder {
 public:
  Folder() : path_((std::filesystem::temp_directory_path() / "phone-test-XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) abort();
  }
  ~Folder() { std::filesystem::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

inline phone::PhoneOptions options(std::vector<std::string> faults = {}, const std::string& profile = "reference") {
  phone::PhoneOptions out;
  out.profile = profile;
  out.seed = 7;
  out.speed = kMax;
  out.faults = std::move(faults);
  return out;
}

// Keeps events, and may do something at each.
class Listener : public IEventQueueCallback {
 public:
  std::function<void(const Event&)> on_each;  // set before the first enabling

  ::android::hardware::Return<void> onEvent(const Event& event) override {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      events_.push_back(event);
    }
    changed_.notify_all();
    if (on_each) on_each(event);
    return ::android::hardware::Void();
  }
  // Waits, a few seconds at most, and returns what there is then.
  std::vector<Event> wait_for(size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(5), [&] { return events_.size() >= count; });
    return events_;
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

  // At least `count` events of a sensor from its enabling on, and then disables it.
  std::vector<Event> collect(int type, int period_us, size_t count) {
    listener->forget();
    EXPECT_EQ(enable(type, period_us), Result::OK);
    const std::vector<Event> events = listener->wait_for(count);
    disable(type);
    EXPECT_GE(events.size(), count) << "type " << type;
    return {events.begin(), events.begin() + static_cast<ptrdiff_t>(std::min(count, events.size()))};
  }

  sp<ISensorManager> manager;
  sp<Listener> listener;
  sp<IEventQueue> queue;
  Result queue_result = Result::UNKNOWN_ERROR;
  Result list_result = Result::UNKNOWN_ERROR;
  std::map<int, int> handles;
};

inline double mean(const std::vector<Event>& events, size_t word) {
  double sum = 0;
  for (const Event& event : events) sum += static_cast<double>(event.u.data[word]);
  return sum / static_cast<double>(events.size());
}

}  // namespace phone_test
