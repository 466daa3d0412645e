// `sensorcal report`: which sensors are calibrated, and why.
#include <algorithm>
#include <iostream>

#include "cli/terminal.h"
#include "commands/phone/commands.h"
#include "files/json_text.h"
#include "phone/session.h"
#include "phone/verdict.h"
#include "sensors/sensor.h"

namespace factory {
namespace {

void print_json(const Report& report, bool passed) {
  Json::Value out;
  out["report"] = report.text;
  Json::Value& positions = out["positions"] = Json::Value(Json::arrayValue);
  for (const Verdict& verdict : report.verdicts) {
    Json::Value entry = sensor_json(verdict.type);
    entry["position"] = verdict.position;
    entry["name"] = verdict.sensor;
    entry["holds"] = verdict.holds;
    entry["calibrated"] = verdict.calibrated;
    entry["why"] = verdict.why;
    positions.append(entry);
  }
  if (!report.warning.empty()) out["warning"] = report.warning;
  out["verdict"] = !report.warning.empty() ? "error" : passed ? "passed" : "failed";
  print_document("report/2", out);
}

void print_text(const Report& report) {
  std::cout << "report " << bold(report.text) << "\n\n";
  std::vector<std::vector<std::string>> rows = {{"pos", "sensor", "calibrated", "the hub holds", "why"}};
  for (const Verdict& verdict : report.verdicts) {
    rows.push_back({std::to_string(verdict.position), verdict.sensor, verdict.calibrated ? good("yes") : bad("no"),
                    verdict.holds, verdict.why});
  }
  std::cout << table(rows);
  if (!report.warning.empty()) std::cout << bad("warning: ") << report.warning << ": this report means nothing\n";
}

int run(const Options& options) {
  Session session(options);
  session.require_ready();
  const Report report = make_report(session);
  const bool all =
      std::all_of(report.verdicts.begin(), report.verdicts.end(), [](const Verdict& v) { return v.calibrated; });
  const bool passed = all && report.warning.empty();
  if (options.json) {
    print_json(report, passed);
  } else {
    print_text(report);
  }
  return !report.warning.empty() ? kUnreachable : all ? kPassed : kFailed;
}

}  // namespace

Runner set_up_report(ArgumentParser /*parser*/) { return run; }

}  // namespace factory
