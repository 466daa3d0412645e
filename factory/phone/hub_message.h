// Hub messages in words that people and programs can read.
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "phone/fixture.h"

namespace factory {

// The command's short name, or its number.
std::string command_name(int32_t code);

// The code of a short name or a number; throws AppError with the known names.
int32_t parse_command(const std::string& text);

// One object: time, sensor, command, the words of request and reply as floats or integers, and the hub's remark.
Json::Value to_json(const HubMessage& message);

// One line for a person; reads what to_json() wrote.
std::string to_text(const Json::Value& message);

}  // namespace factory
