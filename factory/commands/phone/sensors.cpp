// `sensorcal sensors`
#include "cli/terminal.h"
#include "commands/phone/commands.h"
#include "files/json_text.h"
#include "phone/session.h"
#include "sensors/sensor.h"

namespace factory {
namespace {

using ::android::hardware::sensors::V1_0::SensorInfo;

// The record that the sensor is bound to, or -1 when another sensor of its record came first or none has one.
int bound_record(SensorCalibration& cal, const SensorInfo& info) {
  constexpr int kMotion = 8;
  const Sensor* sensor = sensor_of(static_cast<int>(info.type));
  const int number = sensor == nullptr ? -1 : sensor->record;
  if (number < 0) return -1;
  const _sensor_info& record = number < kMotion ? cal.motion_info[number] : cal.env_info[number - kMotion];
  return record.present != 0 && record.info.sensorHandle == info.sensorHandle ? number : -1;
}

Json::Value to_json(Session& session, const std::vector<int>& answers) {
  Json::Value out = session.document();
  out["sensors"] = json_list(session.cal().sensor_list, [&](const SensorInfo& info) {
    const int record = bound_record(session.cal(), info);
    return json_object({{"handle", info.sensorHandle},
                        {"record", record < 0 ? Json::Value() : record},
                        {"name", info.name.c_str()},
                        {"vendor", info.vendor.c_str()}},
                       sensor_json(static_cast<int>(info.type)));
  });
  for (size_t i = 0; i < answers.size(); ++i) out["probes"][probes()[i].key] = answers[i];
  return out;
}

std::string to_text(Session& session, const std::vector<int>& answers) {
  std::string out;
  for (const auto& [name, value] : session.fixture().facts()) out += faint(name + " ") + value + "  ";
  std::vector<std::vector<std::string>> rows = {{"handle", "type", "tag", "record", "name", "vendor"}};
  for (const SensorInfo& info : session.cal().sensor_list) {
    const int type = static_cast<int>(info.type);
    const int record = bound_record(session.cal(), info);
    const std::string tag = tag_of(type);
    rows.push_back({std::to_string(info.sensorHandle), std::to_string(type), tag == std::to_string(type) ? "-" : tag,
                    record < 0 ? "-" : std::to_string(record), info.name.c_str(), info.vendor.c_str()});
  }
  std::vector<std::vector<std::string>> asked = {{"probe", "answer"}};
  for (size_t i = 0; i < answers.size(); ++i)
    asked.push_back(
        {probes()[i].question, probe_text(answers[i]) + (answers[i] < 0 ? " (the library takes this for yes)" : "")});
  out += "\n\n" + table(rows) + "\n" + table(asked);
  for (const std::string& remark : session.fixture().remarks()) out += "note: " + remark + "\n";
  return out;
}

int run(const Options& options) {
  Session session(options);
  session.require_ready();
  std::vector<int> answers;
  for (const Probe& probe : probes()) answers.push_back((session.cal().*probe.ask)());
  // Without the service each answer is "no such sensor".
  if (!session.sensor_service_there())
    throw AppError(kUnreachable, std::string("the sensor service is gone; ") + kLookAtServices);
  print_result(options.json, "sensors/1", to_json(session, answers), to_text(session, answers));
  return kPassed;
}

}  // namespace

Runner set_up_sensors(ArgumentParser /*parser*/) { return run; }

}  // namespace factory
