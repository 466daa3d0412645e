#include "run/run_record.h"

#include <cmath>

#include "run/identity.h"
#include "sensors/sensor.h"

namespace factory::plan {
namespace {

constexpr const char* kProperties[] = {
    "ro.build.product",
    "ro.product.product.name",
    "ro.build.fingerprint",
    "persist.vendor.sensor.cali_sensor",
    "persist.vendor.sensor.cct_need_lcdbacklight_cali",
    "persist.vendor.goodix.cct_support",
    "persist.vendor.display.under.cct",
    "persist.vendor.display.parse.algorithm",
};

record::Step to_record(const StepResult& result) {
  const Step& step = *result.step;
  record::Step out;
  out.index = result.index;
  out.name = step.name;
  out.kind = kind_name(step.kind);
  out.group = result.group;
  const bool sensor = step.kind != StepKind::fixture && step.kind != StepKind::probe && !step.report;
  if (sensor) out.tag = tag_of(step.type);
  if (sensor && sensor_of(step.type) != nullptr) out.sensor = sensor_of(step.type)->words;
  if (step.kind == StepKind::calibrate) out.param = step.param;
  out.outcome = result.outcome;
  out.attempts.assign(result.attempts.begin(), result.attempts.end());
  // What is told of a run is told in milliseconds: pages made from the run and from its record are the same.
  for (record::Attempt& attempt : out.attempts) {
    attempt.started = std::chrono::floor<std::chrono::milliseconds>(attempt.started);
    attempt.seconds = std::round(attempt.seconds * 1000) / 1000;
  }
  return out;
}

record::Phone phone_of(Session& session) {
  record::Phone out;
  for (const auto& [name, value] : session.fixture().facts()) out.facts[name == "phone" ? "directory" : name] = value;
  for (const char* name : kProperties) {
    if (const std::string value = property(name); !value.empty()) out.properties[name] = value;
  }
  return out;
}

}  // namespace

record::Run make_record(Session& session, const Plan& plan, const RunInfo& info,
                        const std::map<std::string, std::string>& world, const std::vector<StepResult>& steps,
                        Outcome verdict) {
  using std::chrono::floor;
  using std::chrono::milliseconds;
  record::Run out;
  out.outcome = verdict;
  out.serial = info.serial;
  out.station = info.station;
  out.operator_name = info.operator_name;
  out.started = floor<milliseconds>(info.started);
  out.seconds = std::chrono::duration<double>(floor<milliseconds>(session.now()) - out.started).count();
  out.lot = info.lot;
  out.retest_of = info.retest_of;
  out.world = world;
  out.plan.name = plan.name;
  out.plan.version = plan.version;
  out.plan.file = plan.file;
  out.plan.bytes = plan.bytes;
  out.application = {SENSORCAL_VERSION, build_id("")};
  out.library = {SENSORCAL_VERSION, build_id("libsensor_cal")};  // both are released together
  out.phone = phone_of(session);
  out.remarks = session.fixture().remarks();
  if (info.stop_on_failure) out.remarks.emplace_back("the run was to end at its first failure, whatever the plan says");
  for (const StepResult& step : steps) out.steps.push_back(to_record(step));
  return out;
}

}  // namespace factory::plan
