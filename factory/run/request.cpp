#include "run/request.h"

#include <algorithm>

#include "files/app_error.h"
#include "files/json_text.h"
#include "files/numbers.h"
#include "phone/fixture_settings.h"
#include "sensors/sensor.h"

namespace factory::plan {
namespace {

bool says(const std::vector<std::string>& world, const std::string& key) {
  return std::any_of(world.begin(), world.end(),
                     [&](const std::string& setting) { return setting.rfind(key + "=", 0) == 0; });
}

Json::Value fixture_of(const Request& request, const std::vector<std::string>& world) {
  Json::Value out;
  if (request.channel) return out;
  for (const Need& need : step_of(request.type, request.param)->needs) {
    if (!says(world, need.key)) out[need.key] = need.value;
  }
  return out;
}

// Offsets and light are held against what the fixture says. Golden values say nothing of the lamp that they were taken
// under, thresholds nothing of the target's distance, and what the hub or the chip finds is held against nothing: only
// what is said of the fixture can show that it is another one.
void require_fixture(const Request& request, const std::vector<std::string>& world) {
  if (request.channel) return;
  const Sensor* kind = find_kind(request.type, request.param);
  if (kind != nullptr && (kind->result == Result::offset || kind->result == Result::lux_scale)) return;
  for (const Need& need : step_of(request.type, request.param)->needs) {
    std::string wanted;
    if (!read_setting(need.key, need.value, Bare::refused, &wanted).empty()) continue;
    for (const std::string& setting : world) {
      if (setting.rfind(std::string(need.key) + "=", 0) != 0 || setting == need.key + ("=" + wanted)) continue;
      throw AppError(kUsage, tag_of(request.type) + " is calibrated with " + need.key + "=" + wanted +
                                 ", not with --world " + setting);
    }
  }
}

Json::Value calibration_of(const Request& request) {
  Json::Value out;
  out["calibrate"] = tag_of(request.type);
  if (request.channel) {
    out["channel"] = *request.channel;
    out["target"] = plain_exactly(request.target) + " counts";
    out["screen"] = request.screen;
    return out;
  }
  out["param"] = request.param;
  if (request.reference_hpa) out["reference"] = plain_exactly(*request.reference_hpa) + " hPa";
  return out;
}

Plan read_back(const Json::Value& json) {
  std::vector<std::string> problems;
  Plan plan = parse_plan("", json_pretty(json) + "\n", &problems);
  if (!problems.empty()) throw AppError(kUsage, problems.front());
  return plan;
}

Json::Value empty_plan(const std::string& name) {
  Json::Value out;
  out["format"] = "sensorcal.plan/1";
  out["name"] = name;
  out["steps"] = Json::Value(Json::arrayValue);
  return out;
}

}  // namespace

Plan plan_of(const std::string& name, const std::vector<Request>& requests, const std::vector<std::string>& world) {
  Json::Value plan = empty_plan(name);
  for (const Request& request : requests) {
    const std::string problem =
        request.channel ? channel_problem(request.type, request.screen) : step_problem(request.type, request.param);
    if (!problem.empty()) throw AppError(kUsage, problem);
    require_fixture(request, world);
    Json::Value step = calibration_of(request);
    const Json::Value fixture = fixture_of(request, world);
    constexpr int kThresholds = 2;
    if (!request.channel && request.type == sensor_type::proximity && request.param == kThresholds) step["far"] = true;
    Json::Value group;
    group["group"] = tag_of(request.type);
    group["on_failure"] = "go on";
    if (!fixture.isNull()) group["steps"][0]["fixture"] = fixture;
    group["steps"].append(step);
    plan["steps"].append(group);
  }
  return read_back(plan);
}

Plan plan_of_register(int type, int number, int value) {
  Json::Value plan = empty_plan("write " + tag_of(type) + " register");
  Json::Value step;
  step["write"] = tag_of(type);
  step["value"] = "register";
  step["to"].append(number);
  step["to"].append(value);
  plan["steps"].append(step);
  return read_back(plan);
}

}  // namespace factory::plan
