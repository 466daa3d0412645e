// From the text of a plan to its blocks: the outline. What each kind of step takes is in plan_steps.cpp.
#include <SensorType.h>

#include <errno.h>
#include <string.h>

#include <sstream>

#include "files/app_error.h"
#include "files/whole_file.h"
#include "run/plan_steps.h"

namespace factory::plan {
namespace {

constexpr int kAttemptsMax = 20;

// Strict JSON: no comments, no second key of the same name, nothing behind the end.
bool parse_json(const std::string& file, const std::string& bytes, Json::Value* root,
                std::vector<std::string>* problems) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  std::istringstream in(bytes);
  std::string errors;
  try {
    if (Json::parseFromStream(builder, in, root, &errors)) return true;
  } catch (const std::exception& error) {
    problems->push_back(file + ":1:1: no valid JSON: " + error.what());  // nested too deep
    return false;
  }
  // "* Line 3, Column 5\n  what\n", once or more.
  std::istringstream lines(errors);
  std::string line;
  std::string place = "1:1";
  while (std::getline(lines, line)) {
    int row = 0;
    int column = 0;
    if (sscanf(line.c_str(), "* Line %d, Column %d", &row, &column) == 2) {
      place = std::to_string(row) + ":" + std::to_string(column);
    } else if (const size_t text = line.find_first_not_of(' ');
               text != std::string::npos && line.rfind("See Line", 2) != 2) {
      problems->push_back(file + ":" + place + ": no valid JSON: " + line.substr(text));
    }
  }
  return false;
}

Block read_group(PlanJson& json, const Json::Value& value, const std::string& where) {
  json.only_keys(value, where, {"group", "repeat", "on_failure", "steps"});
  Block block;
  block.group = json.text(value, where, "group", "");
  block.repeat = json.whole(value, where, "repeat", 1, kAttemptsMax, 1);
  block.stop_on_failure = json.stops(value, where);
  const Json::Value& steps = value["steps"];
  if (!steps.isArray() || steps.empty()) {
    json.problem(value, where, "a group needs a list of steps");
    return block;
  }
  for (Json::ArrayIndex i = 0; i < steps.size(); ++i) {
    const std::string place = where + ".steps[" + std::to_string(i) + "]";
    if (steps[i].isObject() && steps[i].isMember("group")) {
      json.problem(steps[i], place, "a group cannot hold another group");
    } else {
      block.steps.push_back(read_step(json, steps[i], place));
    }
  }
  return block;
}

Block read_single(PlanJson& json, const Json::Value& value, const std::string& where) {
  Block block;
  block.steps.push_back(read_step(json, value, where));
  block.stop_on_failure = block.steps[0].stop_on_failure;
  return block;
}

}  // namespace

const char* kind_name(StepKind kind) {
  constexpr const char* kNames[] = {"fixture", "calibrate", "verify", "check", "probe", "write"};
  return kNames[static_cast<int>(kind)];
}

bool sets_thresholds(const Step& step) {
  constexpr int kThresholds = 2;
  return step.kind == StepKind::calibrate && step.type == sensor_type::proximity && step.param == kThresholds;
}

int Plan::step_count() const {
  size_t count = 0;
  for (const Block& block : blocks) count += block.steps.size();
  return static_cast<int>(count);
}

Plan parse_plan(const std::string& file, const std::string& bytes, std::vector<std::string>* problems) {
  Plan plan;
  plan.file = file;
  plan.bytes = bytes;
  Json::Value parsed;
  if (!parse_json(file, bytes, &parsed, problems)) return plan;
  const Json::Value& root = parsed;  // a look at a key that is missing must not add it
  PlanJson json(file, bytes, problems);
  if (!root.isObject()) {
    json.problem(root, "", "a plan is a JSON object");
    return plan;
  }
  json.only_keys(root, "", {"format", "name", "version", "about", "for", "steps"});
  if (root["format"] != "sensorcal.plan/1") {
    json.problem(root.isMember("format") ? root["format"] : root, "format", "give \"sensorcal.plan/1\"");
  }
  if (!root.isMember("name")) json.problem(root, "name", "a plan needs a name");
  plan.name = json.text(root, "", "name", "");
  plan.version = json.text(root, "", "version", "");
  json.text(root, "", "about", "");
  plan.phones = json.texts(root, "", "for");
  const Json::Value& steps = root["steps"];
  if (!steps.isArray() || steps.empty()) {
    json.problem(root.isMember("steps") ? steps : root, "steps", "a plan needs a list of steps");
    return plan;
  }
  for (Json::ArrayIndex i = 0; i < steps.size(); ++i) {
    const std::string where = "steps[" + std::to_string(i) + "]";
    const bool group = steps[i].isObject() && steps[i].isMember("group");
    plan.blocks.push_back(group ? read_group(json, steps[i], where) : read_single(json, steps[i], where));
  }
  return plan;
}

Plan read_plan(const std::string& file, std::vector<std::string>* problems) {
  if (const std::optional<std::string> bytes = read_file(file)) return parse_plan(file, *bytes, problems);
  problems->push_back(file + ": " + (errno == EISDIR ? "is a folder" : strerror(errno)));
  return {};
}

Plan load_plan(const std::string& file) {
  std::vector<std::string> problems;
  Plan plan = read_plan(file, &problems);
  if (problems.empty()) return plan;
  std::string all = "the plan cannot be run; nothing was done";
  for (const std::string& problem : problems) all += "\n" + problem;
  throw AppError(kUsage, all);
}

}  // namespace factory::plan
