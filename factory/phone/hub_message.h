// Hub messages in words that people and programs can read.
#pragma once

#include <string>
#include <vector>

#include "phone/fixture.h"
#include "record/record.h"

namespace factory {

// The code of a short name or a number; throws AppError with the known names.
int32_t parse_command(const std::string& text);

// The words that mean something, as floats or integers.
record::HubMessage decoded(const HubMessage& message);

// One line for a person.
std::string to_text(const record::HubMessage& message);

}  // namespace factory
