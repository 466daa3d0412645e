#include "report/chart_data.h"

#include "report/record_view.h"

namespace factory {

std::string window_id(const Json::Value& step, const Json::Value& attempt) {
  return "window-" + text_of(step, "index") + "-" + text_of(attempt, "number");
}

bool has_samples(const Json::Value& attempt) { return !list(member(attempt, "window"), "samples").empty(); }

std::string chart_data(const Json::Value& record) {
  Json::Value windows(Json::objectValue);
  for (const Json::Value& step : list(record, "steps")) {
    for (const Json::Value& attempt : list(step, "attempts")) {
      if (has_samples(attempt)) windows[window_id(step, attempt)] = attempt["window"];
    }
  }
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["precision"] = 9;
  builder["emitUTF8"] = false;
  std::string out;
  for (const char c : Json::writeString(builder, windows)) {
    // "</script>" in a name would end the data.
    if (c == '<') {
      out += "\\u003c";
    } else {
      out += c;
    }
  }
  return out;
}

}  // namespace factory
