// JUnit's XML: a step is a test case. Why it failed is in <failure>, every attempt in <system-out>.
#include <algorithm>

#include "files/numbers.h"
#include "files/time_text.h"
#include "files/whole_file.h"
#include "record/run_text.h"
#include "report/markup.h"
#include "report/report.h"
#include "report/words.h"

namespace factory {
namespace {

using record::Outcome;

template <typename T>
void append_lines(const std::vector<T>& texts, const char* before, std::string* out) {
  for (const std::string& text : texts) *out += before + text + "\n";
}

std::string attempt_text(const record::Attempt& attempt) {
  std::string out = "attempt " + std::to_string(attempt.number) + ": " + outcome_name(attempt.outcome) + ", " +
                    duration(attempt.seconds) + "\n";
  append_lines(attempt.reasons, "  why: ", &out);
  append_lines(attempt.hints, "  try: ", &out);
  append_lines(attempt.notes, "  note: ", &out);
  for (const record::Measurement& m : attempt.measurements) {
    const std::string allowed = limits(m);
    out += "  " + m.name + (m.axis.empty() ? "" : " " + m.axis) + ": " + value_with_error(m) +
           (allowed.empty() ? "" : " (" + allowed + ")") + " " + outcome_name(m.outcome) + "\n";
  }
  if (const std::string causes = record::restarts_text(attempt); !causes.empty()) out += "  restarts: " + causes + "\n";
  return out;
}

// <failure>, <error>, <skipped> or nothing. An error is whatever left the phone unjudged.
Markup result(const record::Step& step) {
  const std::string verdict = outcome_name(step.outcome);
  static const record::Attempt kNone;
  const record::Attempt& last = step.attempts.empty() ? kNone : step.attempts.back();
  const std::string first = last.reasons.empty() ? verdict : last.reasons[0].text;
  if (step.outcome == Outcome::skipped) return element("skipped", {{"message", first}}, {});
  if (passes(step.outcome)) return {};
  std::string all;
  append_lines(last.reasons, "", &all);
  append_lines(last.hints, "try: ", &all);
  return element(step.outcome == Outcome::failed ? "failure" : "error", {{"message", first}, {"type", verdict}}, all);
}

Markup test_case(const std::string& suite, const record::Step& step) {
  std::string attempts;
  for (const record::Attempt& attempt : step.attempts) attempts += attempt_text(attempt);
  Markup content = result(step);
  if (!attempts.empty()) content += element("system-out", attempts);
  return element("testcase",
                 {{"classname", step.group.empty() ? suite : suite + "." + step.group},
                  {"name", std::to_string(step.index) + " " + step_name(step)},
                  {"time", fixed(seconds_of(step), 3)}},
                 content) +
         Markup::own("\n");
}

// The serial number, the station, the phone: everything that is no list.
std::map<std::string, std::string> properties_of(const record::Run& run) {
  std::map<std::string, std::string> out = {
      {"application.build_id", run.application.build_id},
      {"application.version", run.application.version},
      {"ended", iso_time(run.ended())},
      {"library.build_id", run.library.build_id},
      {"library.version", run.library.version},
      {"marginal", run.marginal() ? "true" : "false"},
      {"operator", run.operator_name},
      {"plan.file", run.plan.file},
      {"plan.hash", run.plan.sha256},
      {"plan.name", run.plan.name},
      {"seconds", number_in_full(run.seconds)},
      {"serial", run.serial},
      {"started", iso_time(run.started)},
      {"station", run.station},
      {"verdict", outcome_name(run.outcome)},
  };
  const std::pair<const char*, const std::string&> kRare[] = {
      {"id", run.id}, {"lot", run.lot}, {"plan.version", run.plan.version}, {"retest_of", run.retest_of}};
  for (const auto& [name, value] : kRare) {
    if (!value.empty()) out[name] = value;
  }
  for (const auto& [name, value] : run.phone.facts) out["phone." + name] = value;
  for (const auto& [name, value] : run.phone.properties) out["phone.properties." + name] = value;
  return out;
}

std::string count_of(const record::Run& run, std::initializer_list<Outcome> outcomes) {
  return std::to_string(std::count_if(run.steps.begin(), run.steps.end(), [&](const record::Step& step) {
    return std::count(outcomes.begin(), outcomes.end(), step.outcome) != 0;
  }));
}

}  // namespace

void write_junit(const record::Run& run, const std::string& file) {
  const std::string suite = run.plan.name.empty() ? "sensorcal" : run.plan.name;
  Markup properties;
  for (const auto& [name, value] : properties_of(run))
    properties += element("property", {{"name", name}, {"value", value}}, {}) + Markup::own("\n");
  Markup content = element("properties", properties) + Markup::own("\n");
  for (const record::Step& step : run.steps) content += test_case(suite, step);
  const Markup whole =
      element("testsuite",
              {{"name", suite},
               {"tests", std::to_string(run.steps.size())},
               {"failures", count_of(run, {Outcome::failed})},
               {"errors", count_of(run, {Outcome::aborted, Outcome::error})},
               {"skipped", count_of(run, {Outcome::skipped})},
               {"time", fixed(run.seconds, 3)},
               {"timestamp", iso_time(run.started).substr(0, 19)},  // the form has no fraction and no zone
               {"hostname", run.station}},
              content);
  replace_file(file, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + element("testsuites", whole).str() + "\n");
}

}  // namespace factory
