// The one place where a run's record is written as JSON and read from it: docs/formats/run-record.md.
#pragma once

#include <json/json.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "record/record.h"

namespace factory::record {

// Names the place: "steps[2].attempts[0].verdict: ...".
class FormatError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// In the newest form, sensorcal.run/2. What is empty and need not be there is left out.
Json::Value to_json(const Run& run);
Json::Value to_json(const Step& step);
Json::Value to_json(const Window& window);
Json::Value to_json(const HubMessage& message);

// Reads that form and sensorcal.run/1. What it does not know it passes over. Throws FormatError for what is no record.
Run read_run(const std::string& text);

// A line of a hub log. Throws FormatError.
HubMessage read_hub_message(const std::string& text);

// A list of reasons or hints as the record has it; texts alone are read, too. Throws FormatError.
Json::Value to_json(const std::vector<Text>& texts);
std::vector<Text> read_texts(const std::string& json);

}  // namespace factory::record
