// What a recorded or replayed run sees in place of the phone's services, its files and the fixture around it.
#include <host/device_root.h>
#include <host/no_direct_channels.h>
#include <host/property_store.h>
#include <host/service_registry.h>
#include <string.h>
#include <vendor/corvane/sensor/kestsensorservice/1.1/IKestSensorService.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

#include "files/json_text.h"
#include "simulator/device_files.h"
#include "simulator/trace.h"
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

// The messages of a hub call as the fixture tells of them.
class HubMessages {
 public:
  void listen(std::function<void(const HubMessage&)> listener) {
    const std::lock_guard<std::mutex> lock(mutex_);
    listener_ = std::move(listener);
  }
  void tell(const HubMessage& message) {
    std::function<void(const HubMessage&)> listener;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      listener = listener_;
    }
    if (listener) listener(message);
  }
  // Tells of a message while its call is under way, and keeps it for the trace.
  void take(const HubMessage& message) {
    t_taken.append(to_json(message));
    tell(message);
  }
  // On the thread that called take().
  static Json::Value taken() { return std::exchange(t_taken, Json::Value(Json::arrayValue)); }

 private:
  std::mutex mutex_;
  std::function<void(const HubMessage&)> listener_;  // guarded by mutex_
};

// Notes real events and hands them on to their receiver. What comes once the sensor is off goes no further: how late an
// event comes is chance, and a run that saw it could not be repeated.
class Ear : public IEventQueueCallback {
 public:
  Ear(Trace& trace, sp<IEventQueueCallback> callback) : trace_(trace), callback_(std::move(callback)) {}
  // Gives the enabling that ends with it; 0: none.
  int hear(int enabling) { return enabling_.exchange(enabling); }
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

// Asks the phone's service: what it called back with is in the answer, and so is what went wrong on the way.
template <typename Call>
Json::Value ask_service(Trace& trace, const char* name, const Json::Value& of, Call call) {
  return trace.ask(name, of, [&] {
    Json::Value out(Json::objectValue);
    const auto sent = call(out);
    if (!sent.isOk()) out["failed"] = failure_of(sent);
    return out;
  });
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
    const Json::Value request = json_object(
        {{"handle", sensorHandle}, {"period_us", samplingPeriodUs}, {"latency_us", maxBatchReportLatencyUs}});
    const Json::Value answer = ask_service(trace_, kEnable, request, [&](Json::Value& out) {
      const int enabling = ++enablings;
      ear_->hear(enabling);
      out["enabling"] = enabling;
      return told(real_->enableSensor(sensorHandle, samplingPeriodUs, maxBatchReportLatencyUs), &out);
    });
    handle_ = sensorHandle;
    if (delivery_) delivery_->begin(answer["enabling"].asInt());
    return result_from(answer);
  }

  Return<Result> disableSensor(int32_t sensorHandle) override {
    const Json::Value request = json_object({{"handle", sensorHandle}});
    int ended = 0;
    if (sensorHandle == handle_ && delivery_) delivery_->end();
    if (sensorHandle == handle_ && !delivery_) ended = ear_->hear(0);
    return result_from(ask_service(trace_, kDisable, request, [&](Json::Value& out) {
      out["enabling"] = ended;
      return told(real_->disableSensor(sensorHandle), &out);
    }));
  }

 private:
  static Return<Result> told(Return<Result> sent, Json::Value* out) {
    if (sent.isOk()) (*out)["result"] = static_cast<int>(Result(sent));
    return sent;
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
    const Json::Value answer = ask_service(trace_, "sensor-list", Json::nullValue, [&](Json::Value& out) {
      return real_->getSensorList([&](const hidl_vec<SensorInfo>& list, Result result) {
        out["result"] = static_cast<int>(result);
        out["sensors"] = json_list(list, [](const SensorInfo& info) { return to_json(info); });
      });
    });
    if (answer.isMember("result"))
      _hidl_cb(sensors_from(answer["sensors"]), static_cast<Result>(answer["result"].asInt()));
    return status_from(answer);
  }

  Return<void> getDefaultSensor(::android::hardware::sensors::V1_0::SensorType type,
                                getDefaultSensor_cb _hidl_cb) override {
    const Json::Value request = json_object({{"type", static_cast<int>(type)}});
    const Json::Value answer = ask_service(trace_, "default-sensor", request, [&](Json::Value& out) {
      return real_->getDefaultSensor(type, [&](const SensorInfo& info, Result result) {
        out["result"] = static_cast<int>(result);
        out["sensor"] = to_json(info);
      });
    });
    if (answer.isMember("result"))
      _hidl_cb(sensor_from(answer["sensor"]), static_cast<Result>(answer["result"].asInt()));
    return status_from(answer);
  }

  Return<void> createEventQueue(const sp<IEventQueueCallback>& callback, createEventQueue_cb _hidl_cb) override {
    sp<IEventQueue> real_queue;
    sp<Ear> ear;
    const Json::Value answer = ask_service(trace_, "event-queue", Json::nullValue, [&](Json::Value& out) {
      if (callback != nullptr) ear = new Ear(trace_, callback);
      return real_->createEventQueue(ear, [&](const sp<IEventQueue>& made, Result result) {
        real_queue = made;
        out["result"] = static_cast<int>(result);
        out["there"] = made != nullptr;
      });
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
    const Json::Value answer = ask_service(trace_, "hub", request, [&](Json::Value& out) {
      (void)HubMessages::taken();
      auto sent = real_->send_ssc_oem_test_msg(
          msg, [&](const ssc_oem_test_msg& reply) { out["reply"] = hex(&reply, sizeof reply); });
      out["told"] = HubMessages::taken();
      return sent;
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

class TracedFixture : public Fixture {
 public:
  TracedFixture(std::unique_ptr<Trace> trace, std::unique_ptr<Fixture> real, std::string root)
      : trace_(std::move(trace)), real_(std::move(real)), root_(std::move(root)), files_(root_) {
    if (real_ != nullptr) real_->on_hub_message([this](const HubMessage& message) { messages_.take(message); });
    phone_ = host::on_device_path([this] { before_open(); });
    host::on_find_service(
        [this](const std::string& descriptor, const host::Service& found) { return find(descriptor, found); });
  }
  ~TracedFixture() override {
    host::on_find_service({});
    host::on_device_path(phone_);
    if (real_ != nullptr) real_->on_hub_message({});
  }

  std::string device_root() const override { return root_; }
  std::vector<std::pair<std::string, std::string>> facts() const override {
    return settings_from(ask("facts", [&] { return to_json(real_->facts()); }));
  }
  std::vector<std::string> remarks() const override {
    return texts_from(ask("remarks", [&] { return to_json(real_->remarks()); }));
  }
  std::map<std::string, std::string> world() const override {
    const Settings world = settings_from(ask("world", [&] {
      const auto now = real_->world();
      return to_json(Settings(now.begin(), now.end()));
    }));
    return {world.begin(), world.end()};
  }
  std::string set_world(const std::string& key, const std::string& value) override {
    const auto real = [&] { return Json::Value(real_->set_world(key, value)); };
    return trace_->ask("set-world", to_json(Settings{{key, value}}), real).asString();
  }
  bool asks_operator() const override {
    return ask("asks-operator", [&] { return Json::Value(real_->asks_operator()); }).asBool();
  }
  Arranged arrange(const Settings& settings) override {
    const Json::Value answer = trace_->ask("arrange", to_json(settings), [&] {
      const Arranged arranged = real_->arrange(settings);
      return json_object({{"problems", to_json(arranged.problems)}, {"notes", to_json(arranged.notes)}});
    });
    return {texts_from(answer["problems"]), texts_from(answer["notes"])};
  }
  void on_hub_message(std::function<void(const HubMessage&)> listener) override {
    messages_.listen(std::move(listener));
  }

  void run_begins(const RunHead& head) override { trace_->run_begins(head); }
  void attempt_begins(int step, int attempt, const std::string& name) override {
    trace_->attempt_begins(step, attempt, name);
  }
  void run_ends(const record::Run& record) override { trace_->run_ends(record); }
  int64_t time_ns(int64_t measured) override {
    return ask("time", [&] { return Json::Value(Json::Int64{measured}); }).asInt64();
  }
  int64_t by_chance(int64_t seen) override {
    return ask("chance", [&] { return Json::Value(Json::Int64{seen}); }).asInt64();
  }
  void interrupted() override { trace_->interrupted(); }

 private:
  Json::Value ask(const char* name, const std::function<Json::Value()>& real) const {
    return trace_->ask(name, Json::nullValue, real);
  }

  void before_open() {
    const Json::Value changed = ask("files", [&] {
      const std::lock_guard<std::mutex> lock(mutex_);
      files_.look();
      if (phone_) phone_();
      files_.look();
      return files_.changed();
    });
    const std::lock_guard<std::mutex> lock(mutex_);
    if (real_ == nullptr) files_.apply(changed);
  }

  host::Service find(const std::string& descriptor, const host::Service& found) {
    if (trace_->asking()) return found;  // the phone's own look-up
    const Json::Value answer = trace_->ask(kFind, descriptor, [&] { return Json::Value(found != nullptr); });
    if (!answer.asBool()) return nullptr;
    const std::lock_guard<std::mutex> lock(mutex_);
    host::Service& interceptor = interceptors_[{descriptor, found.get()}];
    if (interceptor == nullptr) {
      if (descriptor == ISensorManager::descriptor) {
        interceptor = new ManagerInterceptor(*trace_, dynamic_cast<ISensorManager*>(found.get()));
      } else {
        interceptor = new HubInterceptor(*trace_, messages_, dynamic_cast<IKestSensorService*>(found.get()));
      }
    }
    return interceptor;
  }

  const std::unique_ptr<Trace> trace_;
  const std::unique_ptr<Fixture> real_;
  const std::string root_;
  std::function<void()> phone_;  // brings the phone's files up to date
  HubMessages messages_;
  std::mutex mutex_;
  DeviceFiles files_;  // guarded by mutex_
  // By what is asked for and the real service, or null; guarded by mutex_.
  std::map<std::pair<std::string, const void*>, host::Service> interceptors_;
};

}  // namespace

std::unique_ptr<Fixture> traced_fixture(std::unique_ptr<Trace> trace, std::unique_ptr<Fixture> real, std::string root) {
  return std::make_unique<TracedFixture>(std::move(trace), std::move(real), std::move(root));
}

}  // namespace factory::trace
