#include "records.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>
#include <cmath>
#include <memory>

#include "files/json_text.h"
#include "store/run_id.h"

namespace factory::store {
namespace {

bool on_server() { return getenv("SENSORCAL_TEST_POSTGRESQL") != nullptr; }

int control(const std::string& what) {
  return system(("\"" SERVER_CONTROL "\" " + what).c_str());  // NOLINT(concurrency-mt-unsafe)
}

// Where on_postgresql.sh wants the server, which it also stops. One for all tests of this process.
std::string server_folder() {
  static const std::string kFolder = [] {
    std::string folder = getenv("SENSORCAL_TEST_POSTGRESQL");  // NOLINT(concurrency-mt-unsafe)
    if (control("start " + folder) != 0) throw std::runtime_error("the server did not start");
    return folder;
  }();
  return kFolder;
}

std::string server_uri(const std::string& name) {
  return "postgresql:///" + name + "?host=" + server_folder() + "&user=tester";
}

const char* verdict_of(const MadeValue& v) { return v.value >= v.low && v.value <= v.high ? "passed" : "failed"; }

Json::Value attempt_of(const std::vector<MadeValue>& values, int number, int samples) {
  Json::Value out;
  out["number"] = number;
  out["started"] = "2025-11-24T16:00:00.000Z";
  out["seconds"] = 1.5;
  out["verdict"] = "passed";
  out["measurements"] = Json::Value(Json::arrayValue);
  for (const MadeValue& v : values) {
    Json::Value m;
    m["name"] = v.name;
    m["axis"] = "x";
    m["value"] = json_number(v.value);
    m["unit"] = "m/s^2";
    m["standard_error"] = 0.0001;
    m["low"] = json_number(v.low);
    m["high"] = json_number(v.high);
    m["verdict"] = verdict_of(v);
    if (m["verdict"] == "failed") out["verdict"] = "failed";
    out["measurements"].append(m);
  }
  if (out["verdict"] == "failed") out["reasons"].append("out of limits");
  for (int i = 0; i < samples; ++i) {
    Json::Value& sample = out["window"]["samples"].append(Json::Value());
    sample["event"] = i + 1;
    sample["values"].append(0.25 * i);
    sample["values"].append(-1);
    sample["state"] = i == 0 ? "settling" : "accepted";
  }
  return out;
}

}  // namespace

Json::Value record_of(const MadeRun& run) {
  Json::Value out;
  out["schema"] = "sensorcal.run/1";
  out["id"] = make_run_id(std::chrono::system_clock::time_point(std::chrono::milliseconds(run.started_ms)));
  out["verdict"] = run.verdict;
  out["marginal"] = false;
  out["serial"] = run.serial;
  out["station"] = run.station;
  out["operator"] = "op";
  out["seconds"] = 12.25;
  out["plan"]["name"] = run.plan;
  out["plan"]["hash"] = "abc";
  out["application"]["version"] = run.version;
  out["phone"]["profile"] = run.profile;
  out["steps"] = Json::Value(Json::arrayValue);
  Json::Value step;
  step["index"] = 1;
  step["name"] = "Acc";
  step["kind"] = "calibrate";
  step["tag"] = "Acc";
  step["param"] = 1;
  step["verdict"] = run.verdict == "passed" ? "passed" : "failed";
  for (const auto& values : run.attempts)
    step["attempts"].append(attempt_of(values, static_cast<int>(step["attempts"].size()) + 1, run.samples));
  out["steps"].append(step);
  return out;
}

Folder::Folder() {
  std::string name = (std::filesystem::temp_directory_path() / "store-XXXXXX").string();
  path_ = mkdtemp(name.data());
}

Folder::~Folder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::vector<std::string> kinds() {
  if (on_server()) return {"postgresql"};
  return {"sqlite"};
}

Uri fresh_place(const std::string& kind, const Folder& folder) {
  static std::atomic<int> count = 0;
  if (kind == "sqlite") return parse_uri("sqlite:" + folder.file("store.db"));
  const std::string name = "test_" + std::to_string(++count);
  Database(parse_uri(server_uri("store")), Database::Access::create).run("CREATE DATABASE " + name);
  return parse_uri(server_uri(name));
}

void stop_server(const std::string& mode) { ASSERT_EQ(control("stop " + server_folder() + " " + mode), 0); }
void start_server() { ASSERT_EQ(control("start " + server_folder()), 0); }

long long number_from(Database* database, const std::string& sql) {
  long long number = 0;
  database->sql() << sql, soci::into(number);
  return number;
}

}  // namespace factory::store
