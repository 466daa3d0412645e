// `sensorcal selftest`, `sar`, `tof`, `channel` and `collect`: the calibrations that are one command to the hub.
#include <iostream>
#include <memory>
#include <optional>

#include "cli/terminal.h"
#include "commands/commands.h"
#include "files/json_text.h"
#include "phone/fixture_needs.h"
#include "phone/hub_watch.h"
#include "phone/session.h"
#include "run/calibration.h"
#include "sensors/kinds.h"

namespace factory {
namespace {

constexpr int kSelfTest = 4;
constexpr int kSoftSar = -1;
constexpr char kNothingKnown[] = "what it did is not known";

// Prints one step's result and says whether it passed.
bool show(const Options& options, const std::string& what, const std::string& sensor, double result, bool passed) {
  if (options.json) {
    Json::Value out;
    out["step"] = what;
    out["sensor"] = sensor;
    out["result"] = json_number(result);
    out["passed"] = passed;
    std::cout << json_pretty(out) << "\n";
  } else {
    std::cout << sensor << " " << what << "  "
              << (passed ? good("passed") : bad("FAILED") + ", the hub answered " + plain(result)) << "\n";
  }
  return passed;
}

int calibrate_step(const Options& options, int type, int param, const std::string& what) {
  Session session(options);
  session.require_ready();
  const FixtureSetUp fixture = set_up_fixture(session, type, param);
  for (const std::string& setting : fixture.set) {
    if (!options.json) std::cout << "fixture: " << setting << "\n";
  }
  if (session.interrupted()) return kInterrupted;
  if (!fixture.problems.empty()) throw AppError(kFailed, tag_of(type) + " " + what + ": " + fixture.problems.front());
  HubWatch hub(session);
  const int result = session.cal().sensor_calibrate(type, param);
  hub.require(kNothingKnown);
  return show(options, what, tag_of(type), result, result == 0) ? kPassed : kFailed;
}

int self_test(const Options& options, const std::vector<std::string>& tags) {
  int worst = kPassed;
  std::vector<int> types;
  for (const std::string& tag : tags) types.push_back(parse_tag(tag));
  Session session(options);
  session.require_ready();
  for (const int type : types) {
    HubWatch hub(session);
    const int result = session.cal().sensor_calibrate(type, kSelfTest);
    hub.require(kNothingKnown);
    if (!show(options, "self-test", tag_of(type), result, result == 0)) worst = kFailed;
  }
  return worst;
}

int sar_register(const Options& options, int type, const std::vector<int>& adr) {
  Session session(options);
  session.require_ready();
  HubWatch hub(session);
  int words[2] = {adr[0], adr[1]};
  const int result = type == sensor_type::sar ? session.cal().sensor_set_sar_reg(type, words)
                                              : session.cal().sensor_set_sarsec_reg(type, words);
  hub.require(kNothingKnown);
  return show(options, "register " + std::to_string(words[0]) + " = " + std::to_string(words[1]), tag_of(type), result,
              result == 0)
             ? kPassed
             : kFailed;
}

int channel(const Options& options, const std::string& tag, int number, float target, bool screen) {
  const int type = parse_tag(tag);
  Session session(options);
  session.require_ready();
  HubWatch hub(session);
  const int result = screen ? session.cal().cal_api->postScreenChannelData_api(type, number, target)
                            : session.cal().sensor_calibrate(type, number, target);
  hub.require(kNothingKnown);
  return show(options, (screen ? "screen channel " : "channel ") + std::to_string(number), tag_of(type), result,
              result == 0)
             ? kPassed
             : kFailed;
}

int collect(const Options& options) {
  Session session(options);
  session.require_ready();
  HubWatch hub(session);
  const int value = session.cal().collectData();
  hub.require("the sample is not known");
  if (options.json) {
    Json::Value out;
    out["value"] = value;
    std::cout << json_pretty(out) << "\n";
  } else {
    std::cout << "the hub's sample: " << value << "\n";
  }
  return kPassed;
}

}  // namespace

Runner set_up_selftest(ArgumentParser parser) {
  auto tags = std::make_shared<std::vector<std::string>>();
  parser.add_option("TAG", *tags, "sensors by tag or type number").required();
  return [tags](const Options& options) { return self_test(options, *tags); };
}

Runner set_up_sar(ArgumentParser parser) {
  auto chip = std::make_shared<int>(1);
  auto soft = std::make_shared<bool>(false);
  auto adr = std::make_shared<std::vector<int>>();
  parser.add_option("CHIP", *chip, "SAR chip 1 or 2").range(1, 2).capture_default_str();
  parser.add_flag("--soft", *soft, "the soft calibration, which keeps a baseline of its own");
  parser.add_option("--register", *adr, "write a register instead: number and value").values(2).excludes("--soft");
  return [=](const Options& options) {
    const int type = *chip == 1 ? sensor_type::sar : sensor_type::sar_second;
    if (!adr->empty()) return sar_register(options, type, *adr);
    return calibrate_step(options, type, *soft ? kSoftSar : 0, *soft ? "soft calibration" : "calibration");
  };
}

Runner set_up_tof(ArgumentParser parser) {
  auto step = std::make_shared<int>(5);
  auto sensor = std::make_shared<std::string>("Tof");
  parser.add_option("STEP", *step, "5 reference, 6 offset, 7 crosstalk (Prx only), in this order")
      .range(5, 7)
      .required();
  parser.add_option("--sensor", *sensor, "Tof, or Prx where it is a time-of-flight part").capture_default_str();
  return [=](const Options& options) {
    return calibrate_step(options, parse_tag(*sensor), *step, "time-of-flight step " + std::to_string(*step));
  };
}

Runner set_up_channel(ArgumentParser parser) {
  auto tag = std::make_shared<std::string>();
  auto number = std::make_shared<int>(0);
  auto target = std::make_shared<float>(0);
  auto screen = std::make_shared<bool>(false);
  parser.add_option("TAG", *tag, "Lux or Lux_B").required();
  parser.add_option("CHANNEL", *number, "channel").required();
  parser.add_option("TARGET", *target, "value that the channel is to show").in_range(0, 1e9).required();
  parser.add_flag("--screen", *screen, "the screen's channel");
  return [=](const Options& options) { return channel(options, *tag, *number, *target, *screen); };
}

Runner set_up_collect(ArgumentParser /*parser*/) { return collect; }

}  // namespace factory
