// The sample windows of a record, as the page's script reads them.
#pragma once

#include <json/json.h>

#include <string>

namespace factory {

// Names the attempt's window in the page and in its data.
std::string window_id(const Json::Value& step, const Json::Value& attempt);

bool has_samples(const Json::Value& attempt);

// JSON by window_id() that may stand inside a <script> element: no "<" and nothing beyond ASCII.
std::string chart_data(const Json::Value& record);

}  // namespace factory
