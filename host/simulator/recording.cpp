#include "simulator/recording.h"

#include <errno.h>
#include <string.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "files/json_text.h"

namespace factory {
namespace {

namespace fs = std::filesystem;

constexpr char kRunFile[] = "/run.json";
constexpr char kPlanFile[] = "/plan.json";
constexpr char kRecordFile[] = "/record.json";

bool read(const std::string& file, std::string* bytes) {
  std::ifstream in(file, std::ios::binary);
  if (!in) return false;
  std::stringstream text;
  text << in.rdbuf();
  *bytes = text.str();
  return true;
}

void write(const std::string& file, const std::string& bytes) {
  std::ofstream out(file, std::ios::binary);
  out << bytes;
  out.close();
  if (!out) throw AppError(kUsage, "--record " + file + ": " + strerror(errno));
}

Json::Value parse(const std::string& file, const std::string& bytes) {
  Json::Value out;
  if (!parse_json(bytes, &out) || !out.isObject()) throw AppError(kUsage, file + ": not JSON as a recording has it");
  return out;
}

// What may differ between two runs of one plan on one phone, wherever it stands in a record.
const std::set<std::string>& not_promised() {
  static const std::set<std::string> kFields = {"application", "library", "started", "ended",
                                                "seconds",     "time",    "log",     "log_dropped"};
  return kFields;
}

void compare(const std::string& place, const Json::Value& a, const Json::Value& b, std::vector<std::string>* out) {
  if (a.isObject() && b.isObject()) {
    std::set<std::string> names;
    for (const std::string& name : a.getMemberNames()) names.insert(name);
    for (const std::string& name : b.getMemberNames()) names.insert(name);
    for (const std::string& name : names) {
      if (not_promised().count(name) != 0) continue;
      compare(place.empty() ? name : place + "." + name, a[name], b[name], out);
    }
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

void write_head(const std::string& folder, const RunHead& head, const Json::Value& options) {
  Json::Value out;
  out["format"] = kRecordingFormat;
  out["application"] = SENSORCAL_VERSION;
  out["plan"] = head.plan_file;
  out["serial"] = head.serial;
  out["station"] = head.station;
  out["operator"] = head.operator_name;
  out["speed"] = head.speed;
  out["options"] = options;
  write(folder + kPlanFile, head.plan_bytes);
  write(folder + kRunFile, json_pretty(out) + "\n");
}

void write_record(const std::string& folder, const Json::Value& record) {
  write(folder + kRecordFile, json_pretty(record) + "\n");
}

RunHead read_head(const std::string& folder) {
  const std::string file = folder + kRunFile;
  std::string bytes;
  if (!read(file, &bytes)) throw AppError(kUsage, folder + ": not a recording: " + file + " cannot be read");
  const Json::Value head = parse(file, bytes);
  if (head["format"] != kRecordingFormat)
    throw AppError(kUsage, file + ": its format is " + json_line(head["format"]) + "; this program replays \"" +
                               kRecordingFormat +
                               "\": replay it with the version that recorded it, or record the run again");
  RunHead run;
  if (!read(folder + kPlanFile, &run.plan_bytes)) throw AppError(kUsage, folder + kPlanFile + ": cannot be read");
  try {
    run.plan_file = head["plan"].asString();
    run.serial = head["serial"].asString();
    run.station = head["station"].asString();
    run.operator_name = head["operator"].asString();
    run.speed = head["speed"].asString();
  } catch (const Json::Exception& error) {
    throw AppError(kUsage, file + ": the recording is damaged: " + error.what());
  }
  return run;
}

Json::Value recorded_record(const std::string& folder) {
  std::string bytes;
  if (!read(folder + kRecordFile, &bytes)) return Json::nullValue;
  return parse(folder + kRecordFile, bytes);
}

std::vector<std::string> differences(const Json::Value& recorded, const Json::Value& replayed) {
  std::vector<std::string> out;
  compare("", recorded, replayed, &out);
  return out;
}

}  // namespace factory
