// `sensorcal plan check`: what is wrong with plans, without a phone.
#include <memory>

#include "cli/terminal.h"
#include "commands/phone/commands.h"
#include "files/json_text.h"
#include "files/words.h"
#include "run/plan.h"

namespace factory {
namespace {

// "FILE:LINE:COLUMN: what"; a file that cannot be read has no place.
Json::Value to_json(const std::string& file, const std::string& problem) {
  Json::Value out;
  const char* rest = problem.c_str() + file.size() + 1;
  int line = 0;
  int column = 0;
  int end = 0;
  if (sscanf(rest, "%d:%d:%n", &line, &column, &end) == 2) {
    out["line"] = line;
    out["column"] = column;
  }
  out["text"] = rest + end + 1;
  return out;
}

int check(const Options& options, const std::vector<std::string>& files) {
  Json::Value out;
  std::string text;
  bool passed = true;
  for (const std::string& file : files) {
    std::vector<std::string> problems;
    const plan::Plan plan = plan::read_plan(file, &problems);
    passed = passed && problems.empty();
    const auto problem_json = [&](const std::string& problem) { return to_json(file, problem); };
    out["plans"].append(json_object({{"file", file},
                                     {"name", plan.name},
                                     {"steps", plan.step_count()},
                                     {"verdict", problems.empty() ? "passed" : "failed"},
                                     {"problems", json_list(problems, problem_json)},
                                     {"notes", json_list(plan.notes)}}));
    for (const std::string& problem : problems) text += problem + "\n";
    for (const std::string& note : plan.notes) text += "note: " + file + ": " + note + "\n";
    if (problems.empty())
      text += file + ": " + good("no problem found") + ", " + counted(plan.step_count(), "step") + "\n";
  }
  out["verdict"] = passed ? "passed" : "failed";
  print_result(options.json, "plan-check/1", out, text);
  return passed ? kPassed : kUsage;
}

}  // namespace

Runner set_up_plan(ArgumentParser parser) {
  auto files = std::make_shared<std::vector<std::string>>();
  parser.add_subcommand("check", "list all that is wrong with plans, with the places", [] {})
      .add_option("FILES", *files, "plan files (JSON)", {.required = true});
  return [files](const Options& options) { return check(options, *files); };
}

}  // namespace factory
