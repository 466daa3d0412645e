#include "records.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>
#include <cmath>
#include <memory>

#include "store/run_id.h"

namespace factory::store {
namespace {

bool on_server() { return getenv("SENSORCAL_TEST_POSTGRESQL") != nullptr; }

// Where on_postgresql.sh wants the server, which it stops. One for all tests of this process.
std::string server_folder() {
  static const std::string kFolder = [] {
    std::string folder = getenv("SENSORCAL_TEST_POSTGRESQL");  // NOLINT(concurrency-mt-unsafe)
    // NOLINTNEXTLINE(concurrency-mt-unsafe)
    if (system(("\"" SERVER_CONTROL "\" start " + folder).c_str()) != 0)
      throw std::runtime_error("the server did not start");
    return folder;
  }();
  return kFolder;
}

// A database of its own would be three hundred files.
Uri server_uri(const std::string& schema) {
  return parse_uri("postgresql:///store?host=" + server_folder() + "&user=tester&options=-csearch_path%3D" + schema);
}

record::Attempt attempt_of(const std::vector<MadeValue>& values, int number, int samples) {
  using record::Outcome;
  record::Attempt out;
  out.number = number;
  out.started = record::Clock::time_point(std::chrono::milliseconds(1764000000000));
  out.seconds = 1.5;
  for (const MadeValue& v : values) {
    const bool good = v.value >= v.low && v.value <= v.high;
    out.measurements.push_back(
        {v.name, "x", v.value, "m/s^2", 0.0001, v.low, v.high, good ? Outcome::passed : Outcome::failed});
    if (!good) out.outcome = Outcome::failed;
  }
  if (out.outcome == Outcome::failed) out.reasons = {{"limits", {"x"}, "out of limits"}};
  if (samples > 0) out.window = {"m/s^2", {"x", "y"}, 20, {}, {}, {}};
  for (int i = 0; i < samples; ++i) {
    out.window->samples.push_back(
        {i + 1, {0.25 * i, -1}, i == 0 ? record::SampleState::settling : record::SampleState::accepted});
  }
  return out;
}

}  // namespace

record::Run record_of(const MadeRun& run) {
  record::Run out;
  out.started = record::Clock::time_point(std::chrono::milliseconds(run.started_ms));
  out.id = make_run_id(out.started);
  out.outcome = run.verdict;
  out.serial = run.serial;
  out.station = run.station;
  out.operator_name = "op";
  out.seconds = 12.25;
  out.plan.name = run.plan;
  out.plan.bytes = "abc";
  out.application.version = run.version;
  out.phone.facts["profile"] = run.profile;
  record::Step& step = out.steps.emplace_back();
  step.name = "Acc";
  step.kind = "calibrate";
  step.tag = "Acc";
  step.param = 1;
  step.outcome = run.verdict;
  for (const auto& values : run.attempts)
    step.attempts.push_back(attempt_of(values, static_cast<int>(step.attempts.size()) + 1, run.samples));
  return out;
}

std::vector<std::string> kinds() {
  if (on_server()) return {"postgresql"};
  return {"sqlite"};
}

Uri fresh_place(const std::string& kind, const Folder& folder) {
  static std::atomic<int> count = 0;
  if (kind == "sqlite") return parse_uri("sqlite:" + folder.file("store.db"));
  const std::string name = "test_" + std::to_string(++count);
  Database(server_uri("public"), Database::Access::create).run("CREATE SCHEMA " + name);
  return server_uri(name);
}

long long number_from(Database* database, const std::string& sql) {
  long long number = 0;
  database->sql() << sql, soci::into(number);
  return number;
}

}  // namespace factory::store
