// Records of runs that never took place, in the form of docs/formats/run-record.md.
#pragma once

#include <json/json.h>

#include <string>

namespace records {

// Four steps, all well; one measurement inside its marginal band, one step that took two attempts.
Json::Value passed();
// A walked phone, a stuck gyroscope, a silent barometer, a light sensor off the mark; the rest skipped.
Json::Value failed();
// A small failed run whose every text is `text`.
Json::Value with_text_everywhere(const std::string& text);

// Markup, quotes, control characters, broken UTF-8, separators of JavaScript, writing from right to left.
std::string hostile_text();

}  // namespace records
