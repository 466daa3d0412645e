#include "simulator/stand_ins.h"

#include <host/property_store.h>
#include <host/service_registry.h>
#include <string.h>

#include <utility>

#include "simulator/tape_words.h"

namespace factory::tape {
namespace {

using ::android::sp;
using ::android::frameworks::sensorservice::V1_0::Result;
using ::android::hardware::hidl_vec;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::android::hidl::base::V1_0::IBase;
using ::vendor::corvane::sensor::kestsensorservice::V1_1::ssc_oem_test_msg;

// Messages that the fixture told of while this thread's call was under way.
thread_local Json::Value t_taken;

// Hands real events on to their receiver.
class Ear : public IEventQueueCallback {
 public:
  Ear(Deck& deck, int queue, sp<IEventQueueCallback> callback)
      : deck_(deck), queue_(queue), callback_(std::move(callback)) {}
  Return<void> onEvent(const SensorEvent& event) override {
    deck_.event_begins(queue_, event);
    (void)callback_->onEvent(event).isOk();
    deck_.event_ends(queue_);
    return Void();
  }

 private:
  Deck& deck_;
  const int queue_;
  const sp<IEventQueueCallback> callback_;
};

class QueueStandIn : public IEventQueue {
 public:
  QueueStandIn(Deck& deck, int queue, sp<IEventQueue> real) : deck_(deck), queue_(queue), real_(std::move(real)) {}
  // A real queue waits for the delivery under way: only then nothing more comes.
  ~QueueStandIn() override {
    real_.clear();
    deck_.queue_closes(queue_);
  }

  Return<Result> enableSensor(int32_t sensorHandle, int32_t samplingPeriodUs,
                              int64_t maxBatchReportLatencyUs) override {
    Json::Value request;
    request["queue"] = queue_;
    request["handle"] = sensorHandle;
    request["period_us"] = samplingPeriodUs;
    request["latency_us"] = static_cast<Json::Int64>(maxBatchReportLatencyUs);
    return ask("enable", request,
               [&] { return real_->enableSensor(sensorHandle, samplingPeriodUs, maxBatchReportLatencyUs); });
  }
  Return<Result> disableSensor(int32_t sensorHandle) override {
    Json::Value request;
    request["queue"] = queue_;
    request["handle"] = sensorHandle;
    return ask("disable", request, [&] { return real_->disableSensor(sensorHandle); });
  }

 private:
  Return<Result> ask(const char* name, const Json::Value& request, const std::function<Return<Result>()>& real) {
    const Json::Value answer = deck_.call(name, request, [&] {
      const Return<Result> sent = real();
      Json::Value out(Json::objectValue);
      if (!sent.isOk()) {
        out["failed"] = failure_of(sent);
      } else {
        out["result"] = static_cast<int>(Result(sent));
      }
      return out;
    });
    const Status status = status_from(answer);
    if (!status.isOk()) return status;
    return static_cast<Result>(answer["result"].asInt());
  }

  Deck& deck_;
  const int queue_;
  sp<IEventQueue> real_;
};

}  // namespace

Return<void> ManagerStandIn::getSensorList(getSensorList_cb _hidl_cb) {
  const Json::Value answer = deck_.call("sensor-list", Json::nullValue, [&] {
    Json::Value out(Json::objectValue);
    const auto sent = real_->getSensorList([&](const hidl_vec<SensorInfo>& list, Result result) {
      out["result"] = static_cast<int>(result);
      out["sensors"] = Json::Value(Json::arrayValue);
      for (const SensorInfo& info : list) out["sensors"].append(to_json(info));
    });
    if (!sent.isOk()) out["failed"] = failure_of(sent);
    return out;
  });
  if (answer.isMember("result")) {
    std::vector<SensorInfo> list;
    for (const Json::Value& info : answer["sensors"]) list.push_back(sensor_from(info));
    _hidl_cb(list, static_cast<Result>(answer["result"].asInt()));
  }
  return status_from(answer);
}

Return<void> ManagerStandIn::getDefaultSensor(::android::hardware::sensors::V1_0::SensorType type,
                                              getDefaultSensor_cb _hidl_cb) {
  Json::Value request;
  request["type"] = static_cast<int>(type);
  const Json::Value answer = deck_.call("default-sensor", request, [&] {
    Json::Value out(Json::objectValue);
    const auto sent = real_->getDefaultSensor(type, [&](const SensorInfo& info, Result result) {
      out["result"] = static_cast<int>(result);
      out["sensor"] = to_json(info);
    });
    if (!sent.isOk()) out["failed"] = failure_of(sent);
    return out;
  });
  if (answer.isMember("result")) _hidl_cb(sensor_from(answer["sensor"]), static_cast<Result>(answer["result"].asInt()));
  return status_from(answer);
}

Return<void> ManagerStandIn::createEventQueue(const sp<IEventQueueCallback>& callback, createEventQueue_cb _hidl_cb) {
  static std::atomic<int> last_queue{0};
  sp<IEventQueue> real_queue;
  const Json::Value answer = deck_.call("event-queue", Json::nullValue, [&] {
    Json::Value out(Json::objectValue);
    const int queue = ++last_queue;
    const sp<IEventQueueCallback> ear = callback == nullptr ? nullptr : new Ear(deck_, queue, callback);
    const auto sent = real_->createEventQueue(ear, [&](const sp<IEventQueue>& made, Result result) {
      real_queue = made;
      out["result"] = static_cast<int>(result);
      if (made != nullptr) out["queue"] = queue;
    });
    if (!sent.isOk()) out["failed"] = failure_of(sent);
    return out;
  });
  if (answer.isMember("result")) {
    sp<IEventQueue> queue;
    if (answer.isMember("queue")) {
      deck_.queue_opens(answer["queue"].asInt(), callback);
      queue = new QueueStandIn(deck_, answer["queue"].asInt(), std::move(real_queue));
    }
    _hidl_cb(queue, static_cast<Result>(answer["result"].asInt()));
  }
  return status_from(answer);
}

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

Return<void> HubStandIn::send_ssc_oem_test_msg(const ssc_oem_test_msg& msg, send_ssc_oem_test_msg_cb _hidl_cb) {
  constexpr int kWords = sizeof(ssc_oem_test_msg) / sizeof(int32_t);
  Json::Value request;
  int32_t words[kWords];
  memcpy(words, &msg, sizeof words);
  for (const int32_t word : words) request["message"].append(word);
  const Json::Value answer = deck_.call("hub", request, [&] {
    Json::Value out(Json::objectValue);
    (void)HubMessages::taken();
    const auto sent = real_->send_ssc_oem_test_msg(
        msg, [&](const ssc_oem_test_msg& reply) { out["reply"] = hex(&reply, sizeof reply); });
    if (!sent.isOk()) out["failed"] = failure_of(sent);
    out["told"] = HubMessages::taken();
    return out;
  });
  if (real_ == nullptr) {
    for (const Json::Value& message : answer["told"]) messages_.tell(hub_message_from(message));
  }
  ssc_oem_test_msg reply;
  if (answer.isMember("reply") && from_hex(answer["reply"].asString(), &reply, sizeof reply)) _hidl_cb(reply);
  return status_from(answer);
}

FixtureStandIn::FixtureStandIn(std::unique_ptr<Fixture> real, std::unique_ptr<Deck> deck, std::string root)
    : real_(std::move(real)), deck_(std::move(deck)), root_(std::move(root)) {
  if (real_ != nullptr) real_->on_hub_message([this](const HubMessage& message) { messages_.take(message); });
  host::on_find_service(
      [this](const std::string& descriptor, const host::Service& found) { return find(descriptor, found); });
}

FixtureStandIn::~FixtureStandIn() {
  host::on_find_service({});
  if (real_ != nullptr) real_->on_hub_message({});
}

sp<IBase> FixtureStandIn::find(const std::string& descriptor, const sp<IBase>& found) {
  if (deck_->inside_call()) return found;  // the phone's own look-up
  Json::Value request;
  request["service"] = descriptor;
  const Json::Value answer = deck_->call("find", request, [&] { return Json::Value(found != nullptr); });
  if (!answer.asBool()) return nullptr;
  const std::lock_guard<std::mutex> lock(mutex_);
  // In a replay both services have nothing behind them.
  const void* const key = found != nullptr                           ? static_cast<const void*>(found.get())
                          : descriptor == ISensorManager::descriptor ? static_cast<const void*>(this)
                                                                     : nullptr;
  sp<IBase>& stand_in = stand_ins_[key];
  if (stand_in == nullptr) {
    if (descriptor == ISensorManager::descriptor) {
      stand_in = new ManagerStandIn(*deck_, dynamic_cast<ISensorManager*>(found.get()));
    } else {
      stand_in = new HubStandIn(*deck_, messages_, dynamic_cast<IKestSensorService*>(found.get()));
    }
  }
  return stand_in;
}

std::vector<std::pair<std::string, std::string>> FixtureStandIn::facts() const {
  return settings_from(deck_->call("facts", Json::nullValue, [&] { return to_json(real_->facts()); }));
}

std::vector<std::string> FixtureStandIn::remarks() const {
  return texts_from(deck_->call("remarks", Json::nullValue, [&] { return to_json(real_->remarks()); }));
}

std::map<std::string, std::string> FixtureStandIn::world() const {
  const Settings world = settings_from(deck_->call("world", Json::nullValue, [&] {
    const auto now = real_->world();
    return to_json(Settings(now.begin(), now.end()));
  }));
  return {world.begin(), world.end()};
}

std::string FixtureStandIn::set_world(const std::string& key, const std::string& value) {
  return deck_
      ->call("set-world", to_json(Settings{{key, value}}), [&] { return Json::Value(real_->set_world(key, value)); })
      .asString();
}

Fixture::Arranged FixtureStandIn::arrange(const Settings& settings) {
  const Json::Value answer = deck_->call("arrange", to_json(settings), [&] {
    const Arranged arranged = real_->arrange(settings);
    Json::Value out;
    out["problems"] = to_json(arranged.problems);
    out["notes"] = to_json(arranged.notes);
    return out;
  });
  return {texts_from(answer["problems"]), texts_from(answer["notes"])};
}

std::vector<float> FixtureStandIn::truth(int sensor_type) const {
  const Json::Value answer = deck_->call("truth", sensor_type, [&] {
    Json::Value out(Json::arrayValue);
    for (const float value : real_->truth(sensor_type)) out.append(float_bits(value));
    return out;
  });
  std::vector<float> out;
  for (const Json::Value& bits : answer) out.push_back(float_from_bits(bits));
  return out;
}

Json::Value FixtureStandIn::hub_state() const {
  return deck_->call("hub-state", Json::nullValue, [&] { return real_->hub_state(); });
}

void FixtureStandIn::on_hub_message(std::function<void(const HubMessage&)> listener) {
  messages_.listen(std::move(listener));
}

void FixtureStandIn::reboot() {
  deck_->call("reboot", Json::nullValue, [&] {
    real_->reboot();
    return Json::Value(true);
  });
  if (real_ == nullptr) host::reboot_properties();
}

void FixtureStandIn::factory_reset() {
  deck_->call("factory-reset", Json::nullValue, [&] {
    real_->factory_reset();
    return Json::Value(true);
  });
}

}  // namespace factory::tape
