// `sensorcal check`: the phone's sensors against the limits that Android publishes.
#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "check/sensor_check.h"
#include "cli/terminal.h"
#include "commands/phone/commands.h"
#include "files/json_text.h"
#include "files/numbers.h"
#include "phone/session.h"
#include "record/exit_code.h"
#include "sensors/sensor.h"

namespace factory {
namespace {

constexpr double kSecondsMin = 3;
constexpr double kSecondsMax = 50;

struct Arguments {
  std::vector<std::string> tags;
  double seconds = kSecondsMin;
  std::optional<double> period_ms;
  std::optional<double> reference_hpa;
};

Json::Value to_json(Session& session, const std::vector<SensorCheck>& done, record::Outcome verdict) {
  Json::Value out = session.document();
  out["sensors"] = json_list(done, [](const SensorCheck& check) { return to_json(check); });
  out["verdict"] = outcome_name(verdict);
  return out;
}

std::string to_text(Session& session, const std::vector<SensorCheck>& done, bool passed) {
  std::string out;
  for (const std::string& remark : session.fixture().remarks()) out += "note: " + remark + "\n";
  std::vector<std::vector<std::string>> rows = {{"sensor", "limit", "measured", "allowed", "section", "result"}};
  for (const SensorCheck& check : done) {
    for (auto& row : table_rows(check)) rows.push_back(std::move(row));
  }
  out += table(rows) + "\n";
  for (const SensorCheck& check : done) {
    for (const std::string& line : failures(check)) out += line + "\n";
  }
  return out +
         (session.interrupted() ? bad("interrupted")
          : passed              ? good("all sensors keep within the limits")
                                : bad("not all sensors keep within the limits")) +
         "\n";
}

int run(const Options& options, const Arguments& arguments) {
  std::vector<int> types;
  for (const std::string& tag : arguments.tags) types.push_back(parse_tag(tag));
  Session session(options);
  session.require_ready();
  if (types.empty()) types = checked_types(session);
  if (types.empty()) throw AppError(kFailed, "the phone lists no sensor that a limit is published for");
  std::vector<SensorCheck> done;
  {
    StatusLine status(!options.json);
    for (size_t i = 0; i < types.size() && !session.interrupted(); ++i) {
      const auto progress = [&](double seconds) {
        const double left = arguments.seconds * static_cast<double>(types.size() - i) - seconds;
        status.show("[" + std::to_string(i + 1) + "/" + std::to_string(types.size()) + "] " + tag_of(types[i]) + "  " +
                    fixed(seconds, 1) + " of " + fixed(arguments.seconds, 1) + " s, " + fixed(std::max(0.0, left), 0) +
                    " s left");
      };
      done.push_back(
          check_sensor(session, {types[i], arguments.seconds, arguments.period_ms, arguments.reference_hpa}, progress));
    }
  }
  const bool passed = !session.interrupted() &&
                      std::all_of(done.begin(), done.end(), [](const SensorCheck& check) { return check.passed(); });
  using record::Outcome;
  const Outcome verdict = session.interrupted()            ? Outcome::aborted
                          : passed                         ? Outcome::passed
                          : session.sensor_service_there() ? Outcome::failed
                                                           : Outcome::error;
  print_result(options.json, "check/2", to_json(session, done, verdict), to_text(session, done, passed));
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
