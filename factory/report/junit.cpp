// JUnit's XML: a step is a test case. Why it failed is in <failure>, every attempt in <system-out>.
#include <algorithm>

#include "files/json_text.h"
#include "files/replace_file.h"
#include "report/markup.h"
#include "report/record_view.h"
#include "report/report.h"

namespace factory {
namespace {

std::string seconds_text(double seconds) {
  char text[40];
  snprintf(text, sizeof text, "%.3f", seconds);
  return text;
}

double step_seconds(const Json::Value& step) {
  double out = 0;
  for (const Json::Value& attempt : list(step, "attempts")) out += finite(member(attempt, "seconds")).value_or(0);
  return out;
}

void append_lines(const Json::Value& texts, const char* before, std::string* out) {
  for (const Json::Value& text : texts) *out += before + text_of(text) + "\n";
}

std::string attempt_text(const Json::Value& attempt) {
  std::string out = "attempt " + text_of(attempt, "number") + ": " + text_of(attempt, "verdict") + ", " +
                    duration(member(attempt, "seconds")) + "\n";
  append_lines(list(attempt, "reasons"), "  why: ", &out);
  append_lines(list(attempt, "hints"), "  try: ", &out);
  append_lines(list(attempt, "notes"), "  note: ", &out);
  for (const Json::Value& measurement : list(attempt, "measurements")) {
    const std::string allowed = limits(measurement);
    const std::string axis = text_of(measurement, "axis");
    out += "  " + text_of(measurement, "name") + (axis.empty() ? "" : " " + axis) + ": " +
           value_with_error(measurement) + (allowed.empty() ? "" : " (" + allowed + ")") + " " +
           text_of(measurement, "verdict") + "\n";
  }
  if (const std::string causes = restarts_by_cause(attempt); !causes.empty()) out += "  restarts: " + causes + "\n";
  return out;
}

// <failure>, <error>, <skipped> or nothing.
Markup outcome(const Json::Value& step) {
  const std::string verdict = text_of(step, "verdict");
  const Json::Value& attempt = last_attempt(step);
  const Json::Value& reasons = list(attempt, "reasons");
  const std::string first = reasons.empty() ? verdict : text_of(reasons[0]);
  if (verdict == "skipped") return Markup::element("skipped", {{"message", first}}, {});
  if (verdict != "failed" && verdict != "aborted") return {};
  std::string all;
  append_lines(reasons, "", &all);
  append_lines(list(attempt, "hints"), "try: ", &all);
  return Markup::element(verdict == "failed" ? "failure" : "error", {{"message", first}, {"type", verdict}},
                         Markup::text(all));
}

Markup test_case(const std::string& suite, const Json::Value& step) {
  const std::string group = text_of(step, "group");
  std::string attempts;
  for (const Json::Value& attempt : list(step, "attempts")) attempts += attempt_text(attempt);
  Markup content = outcome(step);
  if (!attempts.empty()) content += Markup::element("system-out", Markup::text(attempts));
  return Markup::element("testcase",
                         {{"classname", group.empty() ? suite : suite + "." + group},
                          {"name", text_of(step, "index") + " " + step_name(step)},
                          {"time", seconds_text(step_seconds(step))}},
                         content) +
         Markup::own("\n");
}

void add_properties(const std::string& prefix, const Json::Value& object, Markup* out) {
  if (!object.isObject()) return;
  for (const std::string& name : object.getMemberNames()) {
    const Json::Value& value = object[name];
    if (value.isObject()) {
      add_properties(prefix + name + ".", value, out);
    } else if (!value.isArray()) {
      *out += Markup::element("property", {{"name", prefix + name}, {"value", text_of(value)}}, {}) + Markup::own("\n");
    }
  }
}

std::string count_of(const Json::Value& record, const char* verdict) {
  const Json::Value& steps = list(record, "steps");
  return std::to_string(std::count_if(steps.begin(), steps.end(),
                                      [&](const Json::Value& step) { return text_of(step, "verdict") == verdict; }));
}

}  // namespace

void write_junit(const Json::Value& record, const std::string& file) {
  const std::string plan = text_of(member(record, "plan"), "name");
  const std::string suite = plan.empty() ? "sensorcal" : plan;
  Markup properties;
  // The serial number, the station, the phone: everything that is no list.
  add_properties("", record, &properties);
  Markup content = Markup::element("properties", properties) + Markup::own("\n");
  for (const Json::Value& step : list(record, "steps")) content += test_case(suite, step);
  std::string timestamp = text_of(record, "started").substr(0, 19);  // the form has no fraction and no zone
  const Markup whole = Markup::element("testsuite",
                                       {{"name", suite},
                                        {"tests", std::to_string(list(record, "steps").size())},
                                        {"failures", count_of(record, "failed")},
                                        {"errors", count_of(record, "aborted")},
                                        {"skipped", count_of(record, "skipped")},
                                        {"time", seconds_text(finite(member(record, "seconds")).value_or(0))},
                                        {"timestamp", timestamp},
                                        {"hostname", text_of(record, "station")}},
                                       content);
  replace_file(file,
               "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + Markup::element("testsuites", whole).str() + "\n");
}

}  // namespace factory
