#include "line/station.h"

#include <json/json.h>

#include <filesystem>
#include <iostream>
#include <memory>

#include "files/json_text.h"
#include "line/phone_run.h"
#include "line/uploader.h"
#include "phone/options.h"
#include "simulator/drawn_phone.h"

namespace factory::line {
namespace {

Json::Value parsed(const std::string& line) {
  Json::Value out;
  if (!parse_json(line, &out) || !out.isObject()) throw AppError(kUsage, "a station is started by the line");
  return out;
}

template <typename Task, typename Field>
void each_field(Task& task, Field field) {
  field("station", task.station);
  field("seed", task.seed);
  field("fault_rate", task.fault_rate);
  field("plan_file", task.plan_file);
  field("plan_bytes", task.plan_bytes);
  field("profile", task.profile);
  field("store", task.store);
  field("spool", task.spool);
  field("folder", task.folder);
  field("patience_s", task.patience_s);
}

StationTask to_task(const Json::Value& json) {
  StationTask out;
  each_field(out, [&](const char* name, auto& value) { value = json[name].as<std::decay_t<decltype(value)>>(); });
  return out;
}

class Station {
 public:
  explicit Station(const StationTask& task)
      : task_(task),
        plan_(plan::parse_plan(task.plan_file, task.plan_bytes, &problems_)),
        sensors_(sensors_of(plan_)),
        uploader_(store::parse_uri(task.store), task.spool) {
    if (!problems_.empty()) throw AppError(kUsage, problems_.front());
  }

  // The phone's verdict, once its run is kept.
  std::string run(uint64_t number, const std::string& id) {
    namespace fs = std::filesystem;
    const std::string directory = task_.folder + "/" + station_name(task_.station);
    const std::string profile_file = directory + "-profile.json";
    // A station that died may have left a phone behind.
    fs::remove_all(directory);
    PhoneJob job;
    job.seed = task_.seed + number;
    job.directory = directory;
    job.profile = task_.profile;
    job.serial = serial_of(job.seed);
    job.station = station_name(task_.station);
    job.station_seed = station_seed(task_.seed, task_.station);
    const auto fault = draw_fault(job.seed, task_.fault_rate, sensors_, task_.profile, profile_file);
    if (fault) {
      job.profile = fault->profile;
      job.fault = fault->fault;
    }
    PhoneRun run = run_phone(plan_, job);
    if (run.interrupted) throw AppError(kInterrupted, "interrupted");
    fs::current_path("/");  // the application stood in the phone
    fs::remove_all(directory);
    run.record.id = id;
    uploader_.keep(run.record);
    return outcome_name(run.record.outcome);
  }

  int finish() { return uploader_.finish(task_.patience_s); }

 private:
  const StationTask task_;
  std::vector<std::string> problems_;
  const plan::Plan plan_;
  const std::vector<std::string> sensors_;
  Uploader uploader_;
};

void answer(const Json::Value& json) { std::cout << json_line(json) << std::endl; }

}  // namespace

std::string to_line(const StationTask& task) {
  Json::Value out;
  each_field(task, [&](const char* name, const auto& value) { out[name] = value; });
  return json_line(out);
}

int run_station() {
  std::string line;
  if (!std::getline(std::cin, line)) throw AppError(kUsage, "a station is started by the line");
  Station station(to_task(parsed(line)));
  while (std::getline(std::cin, line)) {
    const Json::Value phone = parsed(line);
    Json::Value done;
    done["number"] = phone["number"];
    done["verdict"] = station.run(phone["number"].asUInt64(), phone["id"].asString());
    answer(done);
  }
  Json::Value over;
  over["waiting"] = station.finish();
  answer(over);
  return kPassed;
}

}  // namespace factory::line
