#include "report/chart_data.h"

#include "record/record_json.h"

namespace factory {

std::string window_id(const record::Step& step, const record::Attempt& attempt) {
  return "window-" + std::to_string(step.index) + "-" + std::to_string(attempt.number);
}

bool has_samples(const record::Attempt& attempt) { return attempt.window && !attempt.window->samples.empty(); }

std::string chart_data(const record::Run& run) {
  Json::Value windows(Json::objectValue);
  for (const record::Step& step : run.steps) {
    for (const record::Attempt& attempt : step.attempts) {
      if (has_samples(attempt)) windows[window_id(step, attempt)] = to_json(*attempt.window);
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
