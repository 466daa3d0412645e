// A single request as a plan: what is calibrated by name goes through the steps, and the judge, of plans.
#include "files/app_error.h"
#include "files/json_text.h"
#include "files/numbers.h"
#include "phone/fixture_settings.h"
#include "run/plan.h"
#include "sensors/sensor.h"
#include "sensors/stored_values.h"

namespace factory::plan {
namespace {

// What of the fixture the step needs and nobody said. Offsets and light are held against what the fixture says. Golden
// values say nothing of the lamp that they were taken under, thresholds nothing of the target's distance, and what the
// hub or the chip finds is held against nothing: only what is said of the fixture can show that it is another one.
Json::Value fixture_of(const Step& step, const std::vector<std::string>& world) {
  Json::Value out;
  if (step.channel) return out;
  const Sensor* kind = find_kind(step.type, step.param);
  const bool compared = kind != nullptr && (kind->result == Result::offset || kind->result == Result::lux_scale);
  for (const Need& need : step_of(step.type, step.param)->needs) {
    const std::string key = std::string(need.key) + "=";
    std::string wanted;
    const bool free = compared || !read_setting(need.key, need.value, Bare::refused, &wanted).empty();
    bool said = false;
    for (const std::string& setting : world) {
      if (setting.rfind(key, 0) != 0) continue;
      said = true;
      if (free || setting == key + wanted) continue;
      throw AppError(kUsage,
                     tag_of(step.type) + " is calibrated with " + key + wanted + ", not with --world " + setting);
    }
    if (!said) out[need.key] = need.value;
  }
  return out;
}

Json::Value calibration_of(const Step& step) {
  Json::Value out;
  out["calibrate"] = tag_of(step.type);
  if (step.channel) {
    out["channel"] = *step.channel;
    out["target"] = plain_exactly(step.target) + " counts";
    out["screen"] = step.screen;
    return out;
  }
  out["param"] = step.param;
  if (sets_thresholds(step)) out["far"] = true;
  if (step.reference_hpa) out["reference"] = plain_exactly(*step.reference_hpa) + " hPa";
  return out;
}

Plan read_back(const Json::Value& json) {
  std::vector<std::string> problems;
  Plan plan = parse_plan("", json_pretty(json) + "\n", &problems);
  if (problems.empty()) return plan;
  // ":9:12: steps[0].to: what" is of a place that nobody wrote.
  const std::string& problem = problems.front();
  const size_t what = problem.find(": ", problem.find(": ") + 2);
  throw AppError(kUsage, problem.substr(what + 2));
}

Json::Value empty_plan(const std::string& name) {
  return json_object({{"format", "sensorcal.plan/1"}, {"name", name}, {"steps", Json::Value(Json::arrayValue)}});
}

}  // namespace

Plan plan_of(const std::string& name, const std::vector<Step>& steps, const std::vector<std::string>& world) {
  Json::Value plan = empty_plan(name);
  for (const Step& step : steps) {
    const std::string problem =
        step.channel ? channel_problem(step.type, step.screen) : step_problem(step.type, step.param);
    if (!problem.empty()) throw AppError(kUsage, problem);
    const Json::Value fixture = fixture_of(step, world);
    Json::Value group = json_object({{"group", tag_of(step.type)}, {"on_failure", "go on"}});
    if (!fixture.isNull()) group["steps"][0]["fixture"] = fixture;
    group["steps"].append(calibration_of(step));
    plan["steps"].append(group);
  }
  return read_back(plan);
}

Plan plan_of_write(int type, const std::string& value, const std::vector<double>& numbers) {
  Json::Value plan = empty_plan("write " + tag_of(type) + " " + value);
  Json::Value step = json_object({{"write", tag_of(type)}, {"value", value}});
  const std::string unit = stored_value(type, value)->unit(type);
  for (const double number : numbers)
    step["to"].append(unit.empty() ? Json::Value(number) : plain_exactly(number) + " " + unit);
  plan["steps"].append(step);
  return read_back(plan);
}

}  // namespace factory::plan
