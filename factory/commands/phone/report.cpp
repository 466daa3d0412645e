// `sensorcal report`: which sensors are calibrated, and why.
#include <algorithm>

#include "cli/terminal.h"
#include "commands/phone/commands.h"
#include "files/json_text.h"
#include "phone/session.h"
#include "phone/verdict.h"
#include "sensors/sensor.h"

namespace factory {
namespace {

Json::Value to_json(const Report& report, bool passed) {
  Json::Value out;
  out["report"] = report.text;
  out["positions"] = json_list(report.verdicts, [](const Verdict& verdict) {
    return json_object({{"position", verdict.position},
                        {"name", verdict.sensor},
                        {"holds", verdict.holds},
                        {"calibrated", verdict.calibrated},
                        {"why", verdict.why}},
                       sensor_json(verdict.type));
  });
  if (!report.warning.empty()) out["warning"] = report.warning;
  out["verdict"] = !report.warning.empty() ? "error" : passed ? "passed" : "failed";
  return out;
}

std::string to_text(const Report& report) {
  std::vector<std::vector<std::string>> rows = {{"pos", "sensor", "calibrated", "the hub holds", "why"}};
  for (const Verdict& verdict : report.verdicts) {
    rows.push_back({std::to_string(verdict.position), verdict.sensor, verdict.calibrated ? good("yes") : bad("no"),
                    verdict.holds, verdict.why});
  }
  const std::string out = "report " + bold(report.text) + "\n\n" + table(rows);
  return report.warning.empty() ? out : out + bad("warning: ") + report.warning + ": this report means nothing\n";
}

int run(const Options& options) {
  Session session(options);
  session.require_ready();
  const Report report = make_report(session);
  const bool passed =
      std::all_of(report.verdicts.begin(), report.verdicts.end(), [](const Verdict& v) { return v.calibrated; });
  print_result(options.json, "report/2", to_json(report, passed), to_text(report));
  return !report.warning.empty() ? kUnreachable : passed ? kPassed : kFailed;
}

}  // namespace

Runner set_up_report(ArgumentParser /*parser*/) { return run; }

}  // namespace factory
