// From the text of a plan to its blocks: the outline. What each kind of step takes is in plan_steps.cpp.
#include <SensorType.h>

#include <errno.h>
#include <string.h>

#include <algorithm>
#include <map>

#include "files/app_error.h"
#include "files/json_text.h"
#include "files/whole_file.h"
#include "run/plan_json.h"
#include "sensors/sensor.h"

namespace factory::plan {
namespace {

bool parse(const std::string& file, const std::string& bytes, Json::Value* root, std::vector<std::string>* problems) {
  std::string why;
  if (parse_json_of_people(bytes, root, &why)) return true;
  int row = 1;
  int column = 1;
  int text = 0;  // nested too deep has no place
  (void)sscanf(why.c_str(), "Line %d, Column %d: %n", &row, &column, &text);
  problems->push_back(file + ":" + std::to_string(row) + ":" + std::to_string(column) +
                      ": no valid JSON: " + why.substr(static_cast<size_t>(text)));
  return false;
}

bool overlaps(const PlacedJson& value) { return !value.has("overlap") || value["overlap"].truth(); }

Block read_group(const PlacedJson& value) {
  value.only_keys({"group", "repeat", "on_failure", "overlap", "steps"});
  Block block;
  block.group = value["group"].text();
  block.repeat = value["repeat"].whole(1, kAttemptsMax, 1);
  block.stop_on_failure = stops(value["on_failure"]);
  block.overlap = overlaps(value);
  const PlacedJson steps = value["steps"];
  if (!steps->isArray() || steps->empty()) {
    value.problem("a group needs a list of steps");
    return block;
  }
  for (Json::ArrayIndex i = 0; i < steps->size(); ++i) {
    if (steps[i]->isObject() && steps[i].has("group")) {
      steps[i].problem("a group cannot hold another group");
    } else {
      block.steps.push_back(read_step(steps[i]));
    }
  }
  return block;
}

Block read_single(const PlacedJson& value) {
  Block block;
  block.steps.push_back(read_step(value));
  block.stop_on_failure = block.steps[0].stop_on_failure;
  return block;
}

// A sensor that repeats one value passes where it is looked at under one stimulus alone.
void note_single_stimuli(Plan* plan) {
  std::map<std::string, std::string> world;
  std::map<int, std::set<std::string>> seen;
  std::vector<int> calibrated;
  for (const Block& block : plan->blocks) {
    for (const Step& step : block.steps) {
      for (const auto& [key, value] : step.world) world[key] = value;
      const Sensor* sensor = sensor_of(step.type);
      if (sensor == nullptr || sensor->stimulus == nullptr) continue;
      const bool calibrates = step.kind == StepKind::calibrate && !is_self_test(step.param);
      if (calibrates && std::count(calibrated.begin(), calibrated.end(), step.type) == 0)
        calibrated.push_back(step.type);
      const bool looks = calibrates && step.param >= 0 && !step.channel && find_kind(step.type, step.param) != nullptr;
      if (!looks && step.kind != StepKind::verify) continue;
      const bool dark = sensor->stimulus == std::string("lux") && world["dark-box"] == "on";
      seen[step.type].insert(dark ? "dark" : world[sensor->stimulus]);
      if (step.far) seen[step.type].insert("none");
    }
  }
  for (const int type : calibrated) {
    if (seen[type].size() > 1) continue;
    const std::string stimulus = sensor_of(type)->stimulus;
    const std::string seen_under =
        seen[type].empty() ? "not looked at under any " + stimulus : "looked at under one " + stimulus + " only";
    plan->notes.push_back(name_of(type) + " is " + seen_under + ": one that repeats a value passes; verify it under " +
                          (seen[type].empty() ? "two" : "another"));
  }
}

// What a step measures is counted by its group and name: a name that comes again gets a number.
void number_names(Plan* plan) {
  std::set<std::pair<std::string, std::string>> given;
  for (const Block& block : plan->blocks) {
    for (const Step& step : block.steps) given.emplace(block.group, step.name);
  }
  std::set<std::pair<std::string, std::string>> taken = given;
  for (Block& block : plan->blocks) {
    for (Step& step : block.steps) {
      if (given.erase({block.group, step.name}) > 0) continue;  // its first
      const std::string name = step.name;
      for (int time = 2; !taken.emplace(block.group, step.name).second; ++time)
        step.name = name + " (" + std::to_string(time) + ")";
    }
  }
}

Plan sound(Plan plan, const std::vector<std::string>& problems) {
  if (problems.empty()) return plan;
  std::string all = "the plan cannot be run; nothing was done";
  for (const std::string& problem : problems) all += "\n" + problem;
  throw AppError(kUsage, all);
}

}  // namespace

bool sets_thresholds(const Step& step) {
  constexpr int kThresholds = 2;
  return step.type == sensor_type::proximity && step.param == kThresholds && !step.channel;
}

size_t looks_together(const Block& block, size_t first) {
  std::vector<int> chips;
  for (size_t i = first; block.overlap && i < block.steps.size(); ++i) {
    const Step& step = block.steps[i];
    const bool looks = step.kind == StepKind::verify && !step.near;
    const Sensor* sensor = looks ? sensor_of(step.type) : nullptr;
    if (sensor == nullptr || sensor->alone != nullptr || std::count(chips.begin(), chips.end(), sensor->used_type) != 0)
      break;
    chips.push_back(sensor->used_type);
  }
  return std::max<size_t>(chips.size(), 1);
}

bool runs_beside(const Step& step, const Step& calibration) {
  const auto may = [](const Step& one) {
    const Sensor* sensor = sensor_of(one.type);
    const bool alone = one.kind != StepKind::calibrate || one.channel || is_panel_run(one.param);
    return !alone && sensor != nullptr && sensor->alone == nullptr;
  };
  if (!may(calibration)) return false;
  const Sensor* const sensors[] = {sensor_of(step.type), sensor_of(calibration.type)};
  if (step.kind == StepKind::fixture) {
    return std::none_of(step.world.begin(), step.world.end(),
                        [&](const auto& setting) { return may_notice(*sensors[1], setting.first); });
  }
  if (!may(step)) return false;
  const bool both_scales = sensors[0]->result == Result::channel_scale && sensors[1]->result == Result::channel_scale;
  return !both_scales && sensors[0]->used_type != sensors[1]->used_type;
}

bool next_runs_beside(const Block& block, size_t at) {
  return block.overlap && at + 1 < block.steps.size() && runs_beside(block.steps[at + 1], block.steps[at]);
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
  if (!parse(file, bytes, &parsed, problems)) return plan;
  const PlacedJson::Source source{file, bytes, problems};
  const PlacedJson root(source, parsed);
  if (!root->isObject()) {
    root.problem("a plan is a JSON object");
    return plan;
  }
  root.only_keys({"format", "name", "version", "about", "for", "overlap", "steps"});
  if (*root["format"] != "sensorcal.plan/1") root["format"].problem("give \"sensorcal.plan/1\"");
  if (!root.has("name")) root["name"].problem("a plan needs a name");
  plan.name = root["name"].text();
  plan.version = root["version"].text();
  (void)root["about"].text();
  plan.phones = root["for"].texts();
  const bool overlap = overlaps(root);
  const PlacedJson steps = root["steps"];
  if (!steps->isArray() || steps->empty()) {
    steps.problem("a plan needs a list of steps");
    return plan;
  }
  for (Json::ArrayIndex i = 0; i < steps->size(); ++i)
    plan.blocks.push_back(steps[i]->isObject() && steps[i].has("group") ? read_group(steps[i]) : read_single(steps[i]));
  for (Block& block : plan.blocks) block.overlap &= overlap;
  number_names(&plan);
  note_single_stimuli(&plan);
  return plan;
}

Plan read_plan(const std::string& file, std::vector<std::string>* problems) {
  if (const std::optional<std::string> bytes = read_file(file)) return parse_plan(file, *bytes, problems);
  problems->push_back(file + ": " + (errno == EISDIR ? "is a folder" : strerror(errno)));
  return {};
}

Plan load_plan(const std::string& file) {
  std::vector<std::string> problems;
  return sound(read_plan(file, &problems), problems);
}

Plan load_plan(const std::string& file, const std::string& bytes) {
  std::vector<std::string> problems;
  return sound(parse_plan(file, bytes, &problems), problems);
}

}  // namespace factory::plan
