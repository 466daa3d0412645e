// Hub messages in words that people and programs can read.
#pragma once

#include <OemTestMsg.h>

#include <string>
#include <vector>

#include "phone/fixture.h"
#include "record/record.h"

namespace factory {

// The row of a short name, or one without a name for a code; throws AppError(kUsage) with the names that come near.
oem_test_msg::CodeRow parse_command(const std::string& text);

// The words of a command by name are as many, and of the kind, as its row has; those of a code without a name are what
// they look like: 12 an integer, 12.0 and 12f floats. Throws AppError(kUsage).
std::vector<int32_t> parse_words(const oem_test_msg::CodeRow& command, const std::vector<std::string>& texts);

// Whether the answer says that the hub did not do it: has no such code, not for this sensor, or not with these words.
bool refused(const HubMessage& message);

// The words that mean something, as floats or integers.
record::HubMessage decoded(const HubMessage& message);

// Where the hub refused what it was told by one of the messages whose answers the library does not look at; else empty.
std::string refusal(const HubMessage& message);

// One line for a person.
std::string to_text(const record::HubMessage& message);

}  // namespace factory
