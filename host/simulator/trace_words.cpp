#include "simulator/trace_words.h"

#include <array>
#include <bit>
#include <span>

#include "files/json_text.h"
#include "simulator/device_files.h"
#include "simulator/trace.h"

namespace factory::trace {
namespace {

constexpr int kWords = 18;

int digit(char c) { return c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1; }

Json::Value words(const int32_t* values) { return json_list(std::span(values, kWords)); }

void words_from(const Json::Value& json, int32_t* out) {
  for (int i = 0; i < kWords; ++i) out[i] = json[static_cast<Json::ArrayIndex>(i)].asInt();
}

Json::Value float_bits(float value) { return std::bit_cast<uint32_t>(value); }
float float_from_bits(const Json::Value& json) { return std::bit_cast<float>(json.asUInt()); }

}  // namespace

bool from_hex(const std::string& text, void* bytes, size_t size) {
  if (text.size() != 2 * size) return false;
  auto* const out = static_cast<unsigned char*>(bytes);
  for (size_t i = 0; i < size; ++i) {
    const int high = digit(text[2 * i]);
    const int low = digit(text[2 * i + 1]);
    if (high < 0 || low < 0) return false;
    out[i] = static_cast<unsigned char>(high * 16 + low);
  }
  return true;
}

std::string bytes_from_hex(const std::string& text) {
  std::string out(text.size() / 2, '\0');
  return from_hex(text, out.data(), out.size()) ? out : "";
}

Json::Value to_json(const SensorInfo& info) {
  return json_object({{"handle", info.sensorHandle},
                      {"name", info.name.c_str()},
                      {"vendor", info.vendor.c_str()},
                      {"version", info.version},
                      {"type", static_cast<int>(info.type)},
                      {"type_text", info.typeAsString.c_str()},
                      {"max_range", float_bits(info.maxRange)},
                      {"resolution", float_bits(info.resolution)},
                      {"power", float_bits(info.power)},
                      {"min_delay", info.minDelay},
                      {"max_delay", info.maxDelay},
                      {"fifo_reserved", info.fifoReservedEventCount},
                      {"fifo_max", info.fifoMaxEventCount},
                      {"permission", info.requiredPermission.c_str()},
                      {"flags", info.flags}});
}

SensorInfo sensor_from(const Json::Value& json) {
  SensorInfo info{};
  info.sensorHandle = json["handle"].asInt();
  info.name = json["name"].asString();
  info.vendor = json["vendor"].asString();
  info.version = json["version"].asInt();
  info.type = static_cast<decltype(info.type)>(json["type"].asInt());
  info.typeAsString = json["type_text"].asString();
  info.maxRange = float_from_bits(json["max_range"]);
  info.resolution = float_from_bits(json["resolution"]);
  info.power = float_from_bits(json["power"]);
  info.minDelay = json["min_delay"].asInt();
  info.maxDelay = json["max_delay"].asInt();
  info.fifoReservedEventCount = json["fifo_reserved"].asUInt();
  info.fifoMaxEventCount = json["fifo_max"].asUInt();
  info.requiredPermission = json["permission"].asString();
  info.flags = json["flags"].asUInt();
  return info;
}

std::vector<SensorInfo> sensors_from(const Json::Value& json) {
  std::vector<SensorInfo> out;
  for (const Json::Value& info : json) out.push_back(sensor_from(info));
  return out;
}

Json::Value to_json(const SensorEvent& event) {
  return json_object({{"time", event.timestamp},
                      {"handle", event.sensorHandle},
                      {"type", static_cast<int>(event.sensorType)},
                      {"data", hex(&event.u, sizeof event.u)}});
}

SensorEvent event_from(const Json::Value& json) {
  SensorEvent event{};
  event.timestamp = json["time"].asInt64();
  event.sensorHandle = json["handle"].asInt();
  event.sensorType = static_cast<decltype(event.sensorType)>(json["type"].asInt());
  if (!from_hex(json["data"].asString(), &event.u, sizeof event.u))
    throw Json::RuntimeError("an event's data are not " + std::to_string(sizeof event.u) + " bytes in hex");
  return event;
}

Json::Value failure_of(const ::android::hardware::details::return_status& sent) {
  return json_object({{"dead", sent.isDeadObject()}, {"why", sent.description()}});
}

Status status_from(const Json::Value& answer) {
  const Json::Value& failed = answer["failed"];
  if (failed.isNull()) return Status::ok();
  if (failed["dead"].asBool()) return Status::fromStatusT(::android::DEAD_OBJECT);
  return Status::fromExceptionCode(Status::EX_TRANSACTION_FAILED, failed["why"].asString().c_str());
}

Json::Value to_json(const HubMessage& message) {
  Json::Value out = json_object({{"time", message.time_ns}, {"request", words(message.request)}});
  if (message.answered) out["reply"] = words(message.reply);
  out["note"] = message.note;
  return out;
}

HubMessage hub_message_from(const Json::Value& json) {
  HubMessage out;
  out.time_ns = json["time"].asInt64();
  words_from(json["request"], out.request);
  out.answered = json.isMember("reply");
  if (out.answered) words_from(json["reply"], out.reply);
  out.note = json["note"].asString();
  return out;
}

std::vector<HubMessage> hub_messages_from(const Json::Value& json) {
  std::vector<HubMessage> out;
  for (const Json::Value& message : json) out.push_back(hub_message_from(message));
  return out;
}

Json::Value to_json(const std::vector<std::string>& texts) { return json_list(texts); }

std::vector<std::string> texts_from(const Json::Value& json) {
  std::vector<std::string> out;
  for (const Json::Value& text : json) out.push_back(text.asString());
  return out;
}

Json::Value to_json(const Fixture::Settings& settings) {
  return json_list(settings, [](const auto& setting) { return json_list(std::array{setting.first, setting.second}); });
}

Fixture::Settings settings_from(const Json::Value& json) {
  Fixture::Settings out;
  for (const Json::Value& entry : json) out.emplace_back(entry[0].asString(), entry[1].asString());
  return out;
}

void check_answer(const std::string& name, const Json::Value& answer) {
  using J = const Json::Value&;
  const auto truth_value = [](J a) { (void)a.asBool(); };
  const auto text = [](J a) { (void)a.asString(); };
  const auto texts = [](J a) { (void)texts_from(a); };
  const auto settings = [](J a) { (void)settings_from(a); };
  const auto reply = [](J a) {
    int32_t words[kWords];
    if (!a.isNull() && !from_hex(a.asString(), words, sizeof words))
      throw Json::RuntimeError("a reply is not " + std::to_string(kWords) + " words in hex");
  };
  const struct {
    const char* name;
    const char* member;  // empty: the answer itself
    void (*read)(J);
  } kRows[] = {
      {kFind, "", truth_value},
      {"sensor-list", "sensors", [](J a) { (void)sensors_from(a); }},
      {"default-sensor", "sensor", [](J a) { (void)sensor_from(a); }},
      {"event-queue", "there", truth_value},
      {kEnable, "enabling", [](J a) { (void)a.asInt(); }},
      {kDisable, "enabling", [](J a) { (void)a.asInt(); }},
      {"hub", "told", [](J a) { (void)hub_messages_from(a); }},
      {"hub", "reply", reply},
      {"files", "", [](J a) { DeviceFiles::check(a); }},
      {"time", "", [](J a) { (void)a.asInt64(); }},
      {"chance", "", [](J a) { (void)a.asInt64(); }},
      {"facts", "", settings},
      {"world", "", settings},
      {"remarks", "", texts},
      {"set-world", "", text},
      {"asks-operator", "", truth_value},
      {"arrange", "problems", texts},
      {"arrange", "notes", texts},
  };
  bool known = false;
  for (const auto& row : kRows) {
    if (name != row.name) continue;
    known = true;
    row.read(*row.member == '\0' ? answer : answer[row.member]);
  }
  if (!known) throw Json::RuntimeError("nothing that is asked has the name " + name);
  if (!answer.isObject() || name == "files") return;
  (void)status_from(answer);
  (void)answer["result"].asInt();
}

}  // namespace factory::trace
