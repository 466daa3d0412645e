// How what crosses to the phone is written in a trace. Floats keep their bits.
#pragma once

#include <android/hardware/sensors/1.0/types.h>
#include <hidl/Status.h>
#include <json/json.h>

#include <string>
#include <vector>

#include "files/numbers.h"
#include "phone/fixture.h"

namespace factory::trace {

using SensorInfo = ::android::hardware::sensors::V1_0::SensorInfo;
using SensorEvent = ::android::hardware::sensors::V1_0::Event;
using ::android::hardware::Status;

// False: not so many bytes in hex.
bool from_hex(const std::string& text, void* bytes, size_t size);
std::string bytes_from_hex(const std::string& text);

Json::Value to_json(const SensorInfo& info);
SensorInfo sensor_from(const Json::Value& json);
std::vector<SensorInfo> sensors_from(const Json::Value& json);

Json::Value to_json(const SensorEvent& event);
SensorEvent event_from(const Json::Value& json);

// What became of a call that did not get through.
Json::Value failure_of(const ::android::hardware::details::return_status& sent);
// From an answer's "failed".
Status status_from(const Json::Value& answer);

Json::Value to_json(const HubMessage& message);
std::vector<HubMessage> hub_messages_from(const Json::Value& json);

Json::Value to_json(const std::vector<std::string>& texts);
std::vector<std::string> texts_from(const Json::Value& json);
Json::Value to_json(const Fixture::Settings& settings);
Fixture::Settings settings_from(const Json::Value& json);

// Throws Json::Exception where an answer is not as the interceptors write and read it.
void check_answer(const std::string& name, const Json::Value& answer);

}  // namespace factory::trace
