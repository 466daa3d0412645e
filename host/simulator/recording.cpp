#include "simulator/recording.h"

#include <errno.h>
#include <string.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "files/json_text.h"
#include "files/whole_file.h"
#include "record/record_json.h"

namespace factory {
namespace {

namespace fs = std::filesystem;

constexpr char kRunFile[] = "/run.json";
constexpr char kPlanFile[] = "/plan.json";
constexpr char kRecordFile[] = "/record.json";

void write(const std::string& file, const std::string& bytes) {
  std::ofstream out(file, std::ios::binary);
  out << bytes;
  out.close();
  if (!out) throw AppError(kUsage, "--record " + file + ": " + strerror(errno));
}

// What the head of a recording has of a run; the plan's bytes are a file of their own.
template <typename Head, typename Field>
void each_field(Head& head, Field field) {
  field("plan", head.plan_file);
  field("serial", head.order.serial);
  field("station", head.order.station);
  field("operator", head.order.operator_name);
  field("speed", head.speed);
  field("lot", head.order.lot);
  field("retest_of", head.order.retest_of);
}

// What differs from run to run. The plan's hash says whether its bytes are the same.
constexpr const char* kOthersAlways[] = {"application", "library", "started", "ended",       "seconds", "from_s",
                                         "to_s",        "time",    "log",     "log_dropped", "id",      "bytes"};

void compare(const std::string& place, const Json::Value& a, const Json::Value& b, std::vector<std::string>* out) {
  if (a.isObject() && b.isObject()) {
    std::set<std::string> names;
    for (const Json::Value* side : {&a, &b}) {
      for (const std::string& name : side->getMemberNames()) names.insert(name);
    }
    for (const char* name : kOthersAlways) names.erase(name);
    for (const std::string& name : names) compare(place.empty() ? name : place + "." + name, a[name], b[name], out);
  } else if (a.isArray() && b.isArray() && a.size() == b.size()) {
    for (Json::ArrayIndex i = 0; i < a.size(); ++i) compare(place + "[" + std::to_string(i) + "]", a[i], b[i], out);
  } else if (a.isArray() && b.isArray()) {
    out->push_back(place + ": " + std::to_string(a.size()) + " entries recorded, now " + std::to_string(b.size()));
  } else if (json_line(a) != json_line(b)) {
    out->push_back(place + ": recorded " + json_line(a) + ", now " + json_line(b));
  }
}

}  // namespace

void make_recording(const std::string& folder) {
  std::error_code error;
  fs::create_directories(folder, error);
  if (error) throw AppError(kUsage, "--record " + folder + ": " + error.message());
  if (!fs::is_empty(folder, error) || error)
    throw AppError(kUsage, "--record " + folder + ": not an empty folder; each recording has one of its own");
}

void write_head(const std::string& folder, const RunHead& head) {
  Json::Value out = json_object({{"format", kRecordingFormat}, {"application", SENSORCAL_VERSION}});
  each_field(head, [&](const char* name, const std::string& value) { out[name] = value; });
  if (head.order.stop_on_failure) out["on_failure"] = "stop";
  write(folder + kPlanFile, head.plan_bytes);
  write(folder + kRunFile, json_pretty(out) + "\n");
}

void write_record(const std::string& folder, const record::Run& record) {
  write(folder + kRecordFile, json_pretty(to_json(record)) + "\n");
}

RunHead read_head(const std::string& folder) {
  const std::string file = folder + kRunFile;
  const auto text = read_file(file);
  if (!text) throw AppError(kUsage, folder + ": not a recording: " + file + " cannot be read");
  Json::Value head;
  if (!parse_json(*text, &head) || !head.isObject()) throw AppError(kUsage, file + ": not JSON as a recording has it");
  if (head["format"] != kRecordingFormat)
    throw AppError(kUsage, file + ": its format is " + json_line(head["format"]) + "; this program replays \"" +
                               kRecordingFormat +
                               "\": replay it with the version that recorded it, or record the run again");
  const auto plan = read_file(folder + kPlanFile);
  if (!plan) throw AppError(kUsage, folder + kPlanFile + ": cannot be read");
  RunHead run;
  run.plan_bytes = *plan;
  try {
    each_field(run, [&](const char* name, std::string& value) { value = head[name].asString(); });
    run.order.stop_on_failure = head["on_failure"] == "stop";
  } catch (const Json::Exception& error) {
    throw AppError(kUsage, file + ": the recording is damaged: " + error.what());
  }
  return run;
}

std::optional<record::Run> recorded_record(const std::string& folder) {
  const auto bytes = read_file(folder + kRecordFile);
  if (!bytes) return {};
  try {
    return record::read_run(*bytes);
  } catch (const record::FormatError& error) {
    throw AppError(kUsage, folder + kRecordFile + ": " + error.what());
  }
}

std::vector<std::string> differences(const record::Run& recorded, const record::Run& now) {
  std::vector<std::string> out;
  compare("", to_json(recorded), to_json(now), &out);
  return out;
}

}  // namespace factory
