#include "simulator/interceptors.h"

#include <host/device_root.h>
#include <host/no_direct_channels.h>
#include <host/property_store.h>
#include <host/service_registry.h>
#include <string.h>
#include <vendor/corvane/sensor/kestsensorservice/1.1/IKestSensorService.h>

#include <atomic>
#include <condition_variable>
#include <thread>
#include <utility>

#include "simulator/trace_words.h"

namespace factory::trace {
namespace {

using ::android::sp;
using ::android::frameworks::sensorservice::V1_0::IEventQueue;
using ::android::frameworks::sensorservice::V1_0::IEventQueueCallback;
using ::android::frameworks::sensorservice::V1_0::ISensorManager;
using ::android::frameworks::sensorservice::V1_0::Result;
using ::android::hardware::hidl_vec;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::vendor::corvane::sensor::kestsensorservice::V1_1::IKestSensorService;
using ::vendor::corvane::sensor::kestsensorservice::V1_1::ssc_oem_test_msg;

// Messages that the fixture told of while this thread's call was under way.
thread_local Json::Value t_taken;

// Notes real events and hands them on to their receiver. What comes once the sensor is off goes no further: how late an
// event comes is chance, and a run that saw it could not be repeated.
class Ear : public IEventQueueCallback {
 public:
  Ear(Trace& trace, sp<IEventQueueCallback> callback) : trace_(trace), callback_(std::move(callback)) {}
  void hear(int enabling) { enabling_ = enabling; }
  Return<void> onEvent(const SensorEvent& event) override {
    const int enabling = enabling_;
    if (enabling == 0) return Void();
    trace_.note(enabling, event);
    return callback_->onEvent(event);
  }

 private:
  Trace& trace_;
  const sp<IEventQueueCallback> callback_;
  std::atomic<int> enabling_{0};
};

// Delivers recorded events on a thread of its own, as soon as they are taken.
class Delivery {
 public:
  Delivery(Trace& trace, sp<IEventQueueCallback> callback)
      : trace_(trace), callback_(std::move(callback)), thread_([this] { run(); }) {}
  ~Delivery() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      closed_ = true;
    }
    changed_.notify_one();
    thread_.join();
  }
  Delivery(const Delivery&) = delete;
  Delivery& operator=(const Delivery&) = delete;

  void begin(int enabling) {
    std::vector<SensorEvent> events = trace_.events(enabling);
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      enabling_ = enabling;
      ahead_.insert(ahead_.end(), events.begin(), events.end());
    }
    changed_.notify_one();
  }
  void end() {
    const std::lock_guard<std::mutex> lock(mutex_);
    enabling_ = 0;
    ahead_.clear();
  }

 private:
  void run() {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
      changed_.wait(lock, [this] { return closed_ || !ahead_.empty() || enabling_ != 0; });
      if (closed_) return;
      if (ahead_.empty()) {
        trace_.delivered(std::exchange(enabling_, 0));
        continue;
      }
      const SensorEvent event = ahead_.front();
      ahead_.pop_front();
      lock.unlock();
      (void)callback_->onEvent(event).isOk();
      lock.lock();
    }
  }

  Trace& trace_;
  const sp<IEventQueueCallback> callback_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<SensorEvent> ahead_;  // guarded by mutex_, and so are the following
  int enabling_ = 0;               // 0: nothing is on, or it was told that all is delivered
  bool closed_ = false;
  std::thread thread_;
};

// What a call that got through was called back with is in the answer; so is what went wrong on its way.
template <typename Sent>
void note_failure(const Sent& sent, Json::Value* answer) {
  if (!sent.isOk()) (*answer)["failed"] = failure_of(sent);
}

Return<Result> result_from(const Json::Value& answer) {
  Status status = status_from(answer);
  if (!status.isOk()) return Return<Result>(std::move(status));
  return static_cast<Result>(answer["result"].asInt());
}

class QueueInterceptor : public IEventQueue {
 public:
  // One of `ear`, with a real queue, and `callback` is null.
  QueueInterceptor(Trace& trace, sp<IEventQueue> real, sp<Ear> ear, const sp<IEventQueueCallback>& callback)
      : trace_(trace), real_(std::move(real)), ear_(std::move(ear)) {
    if (callback != nullptr) delivery_ = std::make_unique<Delivery>(trace, callback);
  }

  Return<Result> enableSensor(int32_t sensorHandle, int32_t samplingPeriodUs,
                              int64_t maxBatchReportLatencyUs) override {
    static std::atomic<int> enablings{0};
    Json::Value request;
    request["handle"] = sensorHandle;
    request["period_us"] = samplingPeriodUs;
    request["latency_us"] = static_cast<Json::Int64>(maxBatchReportLatencyUs);
    const Json::Value answer = trace_.ask(kEnable, request, [&] {
      const int enabling = ++enablings;
      ear_->hear(enabling);
      Json::Value out = result_of(real_->enableSensor(sensorHandle, samplingPeriodUs, maxBatchReportLatencyUs));
      out["enabling"] = enabling;
      return out;
    });
    handle_ = sensorHandle;
    if (delivery_) delivery_->begin(answer["enabling"].asInt());
    return result_from(answer);
  }

  Return<Result> disableSensor(int32_t sensorHandle) override {
    Json::Value request;
    request["handle"] = sensorHandle;
    if (sensorHandle == handle_) delivery_ ? delivery_->end() : ear_->hear(0);
    return result_from(trace_.ask(kDisable, request, [&] { return result_of(real_->disableSensor(sensorHandle)); }));
  }

 private:
  static Json::Value result_of(const Return<Result>& sent) {
    Json::Value out(Json::objectValue);
    note_failure(sent, &out);
    if (sent.isOk()) out["result"] = static_cast<int>(Result(sent));
    return out;
  }

  Trace& trace_;
  const sp<IEventQueue> real_;
  const sp<Ear> ear_;
  std::atomic<int> handle_{-1};  // of what was enabled last
  std::unique_ptr<Delivery> delivery_;
};

class ManagerInterceptor : public host::NoDirectChannels {
 public:
  // `real` may be null. The trace must live until nobody calls any more.
  ManagerInterceptor(Trace& trace, sp<ISensorManager> real) : trace_(trace), real_(std::move(real)) {}

  Return<void> getSensorList(getSensorList_cb _hidl_cb) override {
    const Json::Value answer = trace_.ask("sensor-list", Json::nullValue, [&] {
      Json::Value out(Json::objectValue);
      const auto sent = real_->getSensorList([&](const hidl_vec<SensorInfo>& list, Result result) {
        out["result"] = static_cast<int>(result);
        out["sensors"] = Json::Value(Json::arrayValue);
        for (const SensorInfo& info : list) out["sensors"].append(to_json(info));
      });
      note_failure(sent, &out);
      return out;
    });
    if (answer.isMember("result"))
      _hidl_cb(sensors_from(answer["sensors"]), static_cast<Result>(answer["result"].asInt()));
    return status_from(answer);
  }

  Return<void> getDefaultSensor(::android::hardware::sensors::V1_0::SensorType type,
                                getDefaultSensor_cb _hidl_cb) override {
    Json::Value request;
    request["type"] = static_cast<int>(type);
    const Json::Value answer = trace_.ask("default-sensor", request, [&] {
      Json::Value out(Json::objectValue);
      const auto sent = real_->getDefaultSensor(type, [&](const SensorInfo& info, Result result) {
        out["result"] = static_cast<int>(result);
        out["sensor"] = to_json(info);
      });
      note_failure(sent, &out);
      return out;
    });
    if (answer.isMember("result"))
      _hidl_cb(sensor_from(answer["sensor"]), static_cast<Result>(answer["result"].asInt()));
    return status_from(answer);
  }

  Return<void> createEventQueue(const sp<IEventQueueCallback>& callback, createEventQueue_cb _hidl_cb) override {
    sp<IEventQueue> real_queue;
    sp<Ear> ear;
    const Json::Value answer = trace_.ask("event-queue", Json::nullValue, [&] {
      Json::Value out(Json::objectValue);
      if (callback != nullptr) ear = new Ear(trace_, callback);
      const auto sent = real_->createEventQueue(ear, [&](const sp<IEventQueue>& made, Result result) {
        real_queue = made;
        out["result"] = static_cast<int>(result);
        out["there"] = made != nullptr;
      });
      note_failure(sent, &out);
      return out;
    });
    if (answer.isMember("result")) {
      sp<IEventQueue> queue;
      if (answer["there"].asBool())
        queue = new QueueInterceptor(trace_, real_queue, ear, real_ == nullptr ? callback : nullptr);
      _hidl_cb(queue, static_cast<Result>(answer["result"].asInt()));
    }
    return status_from(answer);
  }

 private:
  Trace& trace_;
  const sp<ISensorManager> real_;
};

class HubInterceptor : public IKestSensorService {
 public:
  HubInterceptor(Trace& trace, HubMessages& messages, sp<IKestSensorService> real)
      : trace_(trace), messages_(messages), real_(std::move(real)) {}

  Return<void> send_ssc_oem_test_msg(const ssc_oem_test_msg& msg, send_ssc_oem_test_msg_cb _hidl_cb) override {
    constexpr int kWords = sizeof(ssc_oem_test_msg) / sizeof(int32_t);
    Json::Value request;
    int32_t words[kWords];
    memcpy(words, &msg, sizeof words);
    for (const int32_t word : words) request["message"].append(word);
    const Json::Value answer = trace_.ask("hub", request, [&] {
      Json::Value out(Json::objectValue);
      (void)HubMessages::taken();
      const auto sent = real_->send_ssc_oem_test_msg(
          msg, [&](const ssc_oem_test_msg& reply) { out["reply"] = hex(&reply, sizeof reply); });
      note_failure(sent, &out);
      out["told"] = HubMessages::taken();
      return out;
    });
    if (real_ == nullptr) {
      for (const HubMessage& message : hub_messages_from(answer["told"])) messages_.tell(message);
    }
    ssc_oem_test_msg reply;
    if (answer.isMember("reply") && from_hex(answer["reply"].asString(), &reply, sizeof reply)) _hidl_cb(reply);
    return status_from(answer);
  }

 private:
  Trace& trace_;
  HubMessages& messages_;
  const sp<IKestSensorService> real_;
};

}  // namespace

void HubMessages::listen(std::function<void(const HubMessage&)> listener) {
  const std::lock_guard<std::mutex> lock(mutex_);
  listener_ = std::move(listener);
}

void HubMessages::tell(const HubMessage& message) {
  std::function<void(const HubMessage&)> listener;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    listener = listener_;
  }
  if (listener) listener(message);
}

void HubMessages::take(const HubMessage& message) {
  t_taken.append(to_json(message));
  tell(message);
}

Json::Value HubMessages::taken() { return std::exchange(t_taken, Json::Value(Json::arrayValue)); }

TracedFixture::TracedFixture(std::unique_ptr<Trace> trace, std::unique_ptr<Fixture> real, std::string root)
    : trace_(std::move(trace)), real_(std::move(real)), root_(std::move(root)), files_(root_) {
  if (real_ != nullptr) real_->on_hub_message([this](const HubMessage& message) { messages_.take(message); });
  phone_ = host::on_device_path([this] { before_open(); });
  host::on_find_service(
      [this](const std::string& descriptor, const host::Service& found) { return find(descriptor, found); });
}

TracedFixture::~TracedFixture() {
  host::on_find_service({});
  host::on_device_path(phone_);
  if (real_ != nullptr) real_->on_hub_message({});
}

void TracedFixture::before_open() {
  const Json::Value changed = trace_->ask("files", Json::nullValue, [&] {
    const std::lock_guard<std::mutex> lock(mutex_);
    files_.look();
    if (phone_) phone_();
    files_.look();
    return files_.changed();
  });
  const std::lock_guard<std::mutex> lock(mutex_);
  if (real_ == nullptr) files_.apply(changed);
}

TracedFixture::Service TracedFixture::find(const std::string& descriptor, const Service& found) {
  if (trace_->asking()) return found;  // the phone's own look-up
  const Json::Value answer = trace_->ask(kFind, descriptor, [&] { return Json::Value(found != nullptr); });
  if (!answer.asBool()) return nullptr;
  const std::lock_guard<std::mutex> lock(mutex_);
  Service& interceptor = interceptors_[{descriptor, found.get()}];
  if (interceptor == nullptr) {
    if (descriptor == ISensorManager::descriptor) {
      interceptor = new ManagerInterceptor(*trace_, dynamic_cast<ISensorManager*>(found.get()));
    } else {
      interceptor = new HubInterceptor(*trace_, messages_, dynamic_cast<IKestSensorService*>(found.get()));
    }
  }
  return interceptor;
}

std::vector<std::pair<std::string, std::string>> TracedFixture::facts() const {
  return settings_from(trace_->ask("facts", Json::nullValue, [&] { return to_json(real_->facts()); }));
}

std::vector<std::string> TracedFixture::remarks() const {
  return texts_from(trace_->ask("remarks", Json::nullValue, [&] { return to_json(real_->remarks()); }));
}

std::map<std::string, std::string> TracedFixture::world() const {
  const Settings world = settings_from(trace_->ask("world", Json::nullValue, [&] {
    const auto now = real_->world();
    return to_json(Settings(now.begin(), now.end()));
  }));
  return {world.begin(), world.end()};
}

std::string TracedFixture::set_world(const std::string& key, const std::string& value) {
  return trace_
      ->ask("set-world", to_json(Settings{{key, value}}), [&] { return Json::Value(real_->set_world(key, value)); })
      .asString();
}

bool TracedFixture::asks_operator() const {
  return trace_->ask("asks-operator", Json::nullValue, [&] { return Json::Value(real_->asks_operator()); }).asBool();
}

int64_t TracedFixture::time_ns(int64_t measured) {
  return trace_->ask("time", Json::nullValue, [&] { return Json::Value(static_cast<Json::Int64>(measured)); })
      .asInt64();
}

Fixture::Arranged TracedFixture::arrange(const Settings& settings) {
  const Json::Value answer = trace_->ask("arrange", to_json(settings), [&] {
    const Arranged arranged = real_->arrange(settings);
    Json::Value out;
    out["problems"] = to_json(arranged.problems);
    out["notes"] = to_json(arranged.notes);
    return out;
  });
  return {texts_from(answer["problems"]), texts_from(answer["notes"])};
}

void TracedFixture::on_hub_message(std::function<void(const HubMessage&)> listener) {
  messages_.listen(std::move(listener));
}

}  // namespace factory::trace
