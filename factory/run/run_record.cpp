#include "run/run_record.h"

#include <cutils/properties.h>

#include <cmath>

#include "files/json_text.h"
#include "phone/hub_message.h"
#include "run/identity.h"
#include "sensors/kinds.h"

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

Json::Value list() { return Json::Value(Json::arrayValue); }

Json::Value texts(const std::vector<std::string>& lines) {
  Json::Value out = list();
  for (const std::string& line : lines) out.append(line);
  return out;
}

double milliseconds(double seconds) { return std::round(seconds * 1000) / 1000; }

Json::Value to_json(const Measurement& m) {
  Json::Value out;
  out["name"] = m.name;
  out["axis"] = m.axis;
  out["value"] = json_number(m.value);
  out["unit"] = m.unit;
  out["standard_error"] = optional_number(m.standard_error);
  out["low"] = optional_number(m.low);
  out["high"] = optional_number(m.high);
  out["verdict"] = outcome_name(m.outcome);
  return out;
}

Json::Value to_json(const std::vector<HeldValue>& values) {
  Json::Value out = list();
  for (const HeldValue& value : values) {
    Json::Value entry;
    entry["name"] = value.name;
    entry["unit"] = value.unit;
    entry["values"] = list();
    for (const double number : value.values) entry["values"].append(json_number(static_cast<float>(number)));
    out.append(entry);
  }
  return out;
}

Json::Value to_json(const LogLine& line) {
  Json::Value out;
  out["priority"] = line.priority;
  out["tag"] = line.tag;
  out["text"] = line.text;
  out["thread"] = line.event_thread ? "events" : "caller";
  return out;
}

Json::Value to_json(const Attempt& attempt) {
  Json::Value out;
  out["number"] = attempt.number;
  out["started"] = iso_time(attempt.started);
  out["seconds"] = json_number(milliseconds(attempt.seconds));
  out["verdict"] = outcome_name(attempt.outcome);
  out["reasons"] = texts(attempt.reasons);
  out["hints"] = texts(attempt.hints);
  out["notes"] = texts(attempt.notes);
  out["measurements"] = list();
  for (const Measurement& m : attempt.measurements) out["measurements"].append(to_json(m));
  constexpr const char* kCauses[] = {"variance", "zero_variance", "bias"};
  for (int i = 0; i < 3; ++i) out["restarts"][kCauses[i]] = attempt.restarts[i];
  if (!attempt.window.isNull()) out["window"] = attempt.window;
  out["before"] = to_json(attempt.before);
  out["after"] = to_json(attempt.after);
  out["kept"] = attempt.kept;
  out["put_back"] = attempt.put_back;
  out["undoable"] = attempt.irreversible.empty();
  out["not_undoable"] = texts(attempt.irreversible);
  out["hub"] = list();
  for (const HubMessage& message : attempt.hub) out["hub"].append(factory::to_json(message));
  out["log"] = list();
  for (const LogLine& line : attempt.log) out["log"].append(to_json(line));
  if (attempt.log_dropped > 0) out["log_dropped"] = attempt.log_dropped;
  return out;
}

Json::Value to_json(const StepResult& result) {
  Json::Value out;
  const Step& step = *result.step;
  out["index"] = result.index;
  out["name"] = step.name;
  out["kind"] = kind_name(step.kind);
  out["group"] = result.group;
  const bool sensor = step.kind != StepKind::fixture && step.kind != StepKind::probe && !step.report;
  if (sensor) out["tag"] = tag_of(step.type);
  if (step.kind == StepKind::calibrate) out["param"] = step.param;
  out["verdict"] = outcome_name(result.outcome);
  out["attempts"] = list();
  for (const Attempt& attempt : result.attempts) out["attempts"].append(to_json(attempt));
  return out;
}

Json::Value phone_to_json(Session& session) {
  Json::Value out;
  for (const auto& [name, value] : session.fixture().facts()) out[name == "phone" ? "directory" : name] = value;
  out["properties"] = Json::Value(Json::objectValue);
  for (const char* name : kProperties) {
    char value[PROPERTY_VALUE_MAX];
    if (property_get(name, value, "") > 0) out["properties"][name] = value;
  }
  return out;
}

}  // namespace

Json::Value make_record(Session& session, const Plan& plan, const RunInfo& info, const std::vector<StepResult>& steps,
                        Outcome verdict) {
  Json::Value out;
  out["schema"] = "sensorcal.run/1";
  out["verdict"] = outcome_name(verdict);
  out["marginal"] = false;
  out["serial"] = info.serial;
  out["station"] = info.station;
  out["operator"] = info.operator_name;
  const Clock::time_point ended = session.now();
  out["started"] = iso_time(info.started);
  out["ended"] = iso_time(ended);
  out["seconds"] = json_number(milliseconds(std::chrono::duration<double>(ended - info.started).count()));
  out["plan"]["name"] = plan.name;
  out["plan"]["file"] = plan.file;
  out["plan"]["hash"] = sha256(plan.bytes);
  out["application"]["version"] = SENSORCAL_VERSION;
  out["application"]["build_id"] = build_id("");
  out["library"]["version"] = SENSORCAL_VERSION;  // both are released together
  out["library"]["build_id"] = build_id("libsensor_cal");
  out["phone"] = phone_to_json(session);
  out["remarks"] = texts(session.fixture().remarks());
  out["steps"] = list();
  for (const StepResult& step : steps) {
    if (step.outcome == Outcome::marginal) out["marginal"] = true;
    out["steps"].append(to_json(step));
  }
  return out;
}

}  // namespace factory::plan
