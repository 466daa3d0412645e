#include "judge.h"

#include <algorithm>
#include <chrono>
#include <filesystem>

#include "sensors/sensor.h"
#include "station.h"

namespace acceptance {
namespace {

namespace fs = std::filesystem;

std::string one_line(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

// A good phone passes, a flawed one fails for its flaw and keeps nothing of that sensor; a moved one may do either.
void judge_run(const Case& phone, const RunResult& run, std::vector<std::string>* misses) {
  if (phone.population == Population::good) {
    for (const Failure& failure : run.failures) misses->push_back("good, but failed: " + one_line(failure.text));
    if (!run.passed && run.failures.empty()) misses->push_back("good, but failed without a reason");
  }
  if (!phone.flaw) return;
  if (run.passed) misses->push_back("passed in spite of " + phone.flaw->sensor + " " + phone.flaw->what);
  const int type = factory::parse_tag(phone.flaw->sensor);
  const auto of_flaw = [&](const Failure& failure) { return failure.type == type; };
  const bool named = std::any_of(run.failures.begin(), run.failures.end(), [&](const Failure& failure) {
    return of_flaw(failure) && failure.calibration && failure.text.find(factory::name_of(type)) != std::string::npos;
  });
  if (!named) misses->push_back("no calibration failed that names " + phone.flaw->sensor);
  for (const Failure& failure : run.failures) {
    // What a group did not come to shows in later steps too.
    if (!of_flaw(failure) && failure.calibration) misses->push_back("its flaw is elsewhere: " + one_line(failure.text));
  }
}

void judge_residuals(const Case& phone, const RunResult& run, std::vector<Residual>* residuals,
                     std::vector<std::string>* misses) {
  for (Residual& residual : *residuals) {
    // A scale may be found to be exactly the one that the hub comes with: on a phone that passed, that is a result.
    residual.stored = residual.stored || (run.passed && residual.set);
    const bool flawed = phone.flaw && residual.sensor == phone.flaw->sensor;
    if (!residual.stored && run.passed) misses->push_back("passed, but nothing is stored: " + residual.sensor);
    if (residual.stored && flawed) misses->push_back("kept in spite of its flaw: " + residual.sensor);
    // What one look could not see, a later one of the plan did: the phone failed for it, and nobody takes it for good.
    const bool seen = std::any_of(run.failures.begin(), run.failures.end(), [&](const Failure& failure) {
      return !failure.calibration && failure.text.find(residual.sensor) != std::string::npos;
    });
    if (residual.stored && residual.exceeds() && !seen) {
      misses->push_back("kept with a residual of " + std::to_string(residual.value) + " " + residual.unit + " over " +
                        std::to_string(residual.limit) + ": " + residual.sensor);
    }
  }
  std::erase_if(*residuals, [](const Residual& residual) { return !residual.stored; });
}

}  // namespace

Verdict try_phone(const Case& phone, const std::string& directory) {
  const auto start = std::chrono::steady_clock::now();
  Verdict out;
  out.number = phone.number;
  try {
    const RunResult run = run_plan(phone, directory);
    out.passed = run.passed;
    out.residuals = measure_residuals(directory);
    judge_run(phone, run, &out.misses);
    judge_residuals(phone, run, &out.residuals, &out.misses);
  } catch (const std::exception& error) {
    out.misses.push_back(std::string("not judged: ") + error.what());
  }
  fs::current_path("/");  // the application stood in the phone
  fs::remove_all(directory);
  fs::remove(directory + "-profile.json");
  out.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return out;
}

Json::Value to_json(const Verdict& verdict) {
  Json::Value out;
  out["number"] = Json::UInt64{verdict.number};
  out["passed"] = verdict.passed;
  out["seconds"] = verdict.seconds;
  out["misses"] = out["residuals"] = Json::Value(Json::arrayValue);
  for (const std::string& miss : verdict.misses) out["misses"].append(miss);
  for (const Residual& residual : verdict.residuals) {
    Json::Value& entry = out["residuals"].append(Json::Value());
    entry["sensor"] = residual.sensor;
    entry["value"] = residual.value;
    entry["limit"] = residual.limit;
    entry["unit"] = residual.unit;
  }
  return out;
}

Verdict from_json(const Json::Value& json) {
  Verdict out;
  out.number = json["number"].asUInt64();
  out.passed = json["passed"].asBool();
  out.seconds = json["seconds"].asDouble();
  for (const Json::Value& miss : json["misses"]) out.misses.push_back(miss.asString());
  for (const Json::Value& entry : json["residuals"]) {
    out.residuals.push_back({entry["sensor"].asString(), true, true, entry["value"].asDouble(),
                             entry["limit"].asDouble(), entry["unit"].asString()});
  }
  return out;
}

}  // namespace acceptance
