// `sensorcal check`: the phone's sensors against the limits that Android publishes.
#include <algorithm>
#include <memory>
#include <optional>

#include "check/sensor_check.h"
#include "cli/terminal.h"
#include "commands/phone/commands.h"
#include "files/json_text.h"
#include "files/numbers.h"
#include "phone/session.h"
#include "record/exit_code.h"
#include "record/record_json.h"
#include "record/run_text.h"
#include "sensors/sensor.h"

namespace factory {
namespace {

using record::Measurement;
using record::Outcome;
using record::Step;

constexpr double kSecondsMin = 3;
constexpr double kSecondsMax = 50;

struct Arguments {
  std::vector<std::string> tags;
  double seconds = kSecondsMin;
  std::optional<double> period_ms;
  std::optional<double> reference_hpa;
};

Json::Value to_json(Session& session, const std::vector<Step>& steps, Outcome verdict) {
  const auto step_json = [](const Step& step) { return to_json(step); };
  return json_object({{"sensors", json_list(steps, step_json)}, {"verdict", outcome_name(verdict)}},
                     session.document());
}

// "at most 405 ms", "90 to 220 %"; nothing without a limit.
std::string allowed(const Measurement& m) {
  const std::string unit = m.unit.empty() ? "" : " " + m.unit;
  if (m.low && m.high) return plain(*m.low) + " to " + plain(*m.high) + unit;
  if (m.low) return "at least " + plain(*m.low) + unit;
  return m.high ? (m.strict ? "below " : "at most ") + plain(*m.high) + unit : "";
}

std::string to_text(Session& session, const std::vector<Step>& steps, Outcome verdict) {
  std::string out;
  for (const std::string& remark : session.fixture().remarks()) out += "note: " + remark + "\n";
  std::vector<std::vector<std::string>> rows = {{"sensor", "measured", "value", "allowed", "section", "verdict"}};
  for (const Step& step : steps) {
    for (const Measurement& m : step.attempts[0].measurements) {
      rows.push_back({step.tag, m.name + (m.axis.empty() ? "" : ", " + m.axis),
                      plain(m.value) + (m.unit.empty() ? "" : " " + m.unit), allowed(m), m.section,
                      m.low || m.high ? verdict_text(m.outcome) : ""});
    }
  }
  if (rows.size() > 1) out += table(rows) + "\n";
  for (const Step& step : steps)
    out += attempt_text(step.index, static_cast<int>(steps.size()), step.name, step.attempts[0]);
  return out + "\n" + headline_text(verdict) + "\n";
}

// Aborted where a person ended it, else what the first sensor came to that did not pass.
Outcome verdict_of(Session& session, const std::vector<Step>& steps) {
  const auto missed =
      std::find_if(steps.begin(), steps.end(), [](const Step& step) { return step.outcome != Outcome::passed; });
  if (session.interrupted()) return Outcome::aborted;
  return missed == steps.end() ? Outcome::passed : missed->outcome;
}

int run(const Options& options, const Arguments& arguments) {
  std::vector<int> types;
  for (const std::string& tag : arguments.tags) types.push_back(parse_tag(tag));
  if (arguments.reference_hpa && !types.empty() && std::count(types.begin(), types.end(), sensor_type::pressure) == 0)
    throw AppError(kUsage, "--reference: " + tag_of(types[0]) + " is no barometer: only Bar is held against one");
  Session session(options);
  session.require_ready();
  if (types.empty()) types = checked_types(session);
  if (types.empty()) throw AppError(kFailed, "the phone lists no sensor that a limit is published for");
  std::vector<Step> steps;
  StatusLine status(!options.json);
  for (size_t i = 0; i < types.size() && !session.interrupted(); ++i) {
    Step& step = steps.emplace_back();
    step.index = static_cast<int>(i) + 1;
    step.name = "check " + name_of(types[i]);
    step.kind = "check";
    step.tag = tag_of(types[i]);
    if (const Sensor* sensor = sensor_of(types[i])) step.sensor = sensor->words;
    const auto progress = [&](double seconds) {
      const double left = arguments.seconds * static_cast<double>(types.size() - i) - seconds;
      status.show("[" + std::to_string(step.index) + "/" + std::to_string(types.size()) + "] " + step.tag + "  " +
                  fixed(seconds, 1) + " of " + fixed(arguments.seconds, 1) + " s, " + fixed(std::max(0.0, left), 0) +
                  " s left");
    };
    const CheckRequest request{types[i], arguments.seconds, arguments.period_ms, arguments.reference_hpa};
    step.attempts.push_back(check_sensor(session, request, progress));
    step.outcome = step.attempts[0].outcome;
  }
  status.clear();
  const Outcome verdict = verdict_of(session, steps);
  print_result(options.json, "check/3", to_json(session, steps, verdict), to_text(session, steps, verdict));
  return exit_code(verdict, record::delivered("", [&] { session.require_logs(); }));
}

}  // namespace

Runner set_up_check(ArgumentParser parser) {
  auto arguments = std::make_shared<Arguments>();
  parser.add_option("TAG", arguments->tags,
                    "sensors by tag or type number; accelerometers, gyroscopes, barometer and magnetometers where none "
                    "is named");
  parser.add_option("--seconds", arguments->seconds, "how long each is sampled, 3 to 50",
                    {.shows_default = true, .low = kSecondsMin, .high = kSecondsMax});
  parser.add_option("--period", arguments->period_ms, "sampling period in ms (default: the sensor's shortest)",
                    {.low = 0.5, .high = 1000});
  parser.add_option("--reference", arguments->reference_hpa, "pressure of the reference barometer, hPa (Bar)",
                    {.low = 300, .high = 1100});
  return [arguments](const Options& options) { return run(options, *arguments); };
}

}  // namespace factory
