// `sensorcal calibrate`
#include <iostream>
#include <memory>
#include <optional>

#include "cli/terminal.h"
#include "commands/commands.h"
#include "files/json_text.h"
#include "phone/session.h"
#include "run/calibration.h"
#include "run/progress.h"

namespace factory {
namespace {

struct Arguments {
  std::vector<std::string> tags;
  int param = 0;
  bool golden = false;
  std::optional<double> reference_hpa;
};

Json::Value summary(Session& session, const std::vector<Calibration>& done, bool passed) {
  Json::Value out;
  out["schema"] = "sensorcal.calibrate/1";
  for (const auto& [name, value] : session.fixture().facts()) out["phone"][name] = value;
  for (const auto& [key, value] : session.fixture().world()) out["world"][key] = value;
  Json::Value& remarks = out["remarks"] = Json::Value(Json::arrayValue);
  for (const std::string& remark : session.fixture().remarks()) remarks.append(remark);
  Json::Value& results = out["results"] = Json::Value(Json::arrayValue);
  for (const Calibration& c : done) results.append(to_json(c));
  out["passed"] = passed;
  return out;
}

int run(const Options& options, const Arguments& arguments) {
  constexpr int kGoldenParam = -1;
  const int param = arguments.golden ? kGoldenParam : arguments.param;
  std::vector<int> types;
  for (const std::string& tag : arguments.tags) {
    types.push_back(parse_tag(tag));
    if (!can_calibrate(types.back(), param)) {
      throw AppError(kUsage,
                     tag + ": there is no calibration with --param " + std::to_string(param) + " for this sensor");
    }
  }
  Session session(options);
  session.require_ready();
  if (!options.json) {
    for (const std::string& remark : session.fixture().remarks()) std::cout << "note: " << remark << "\n";
  }
  std::vector<Calibration> done;
  bool passed = true;
  bool unreachable = false;
  for (const int type : types) {
    {
      const Kind* kind = find_kind(type, param);
      const Progress progress(tag_of(type), session.log(), kind == nullptr ? 0 : kind->events, !options.json);
      done.push_back(
          calibrate(session, {type, param, type == sensor_type::pressure ? arguments.reference_hpa : std::nullopt}));
    }
    passed = passed && done.back().passed;
    unreachable = unreachable || done.back().unreachable;
    if (!options.json) std::cout << to_text(done.back()) << std::flush;
    if (session.interrupted()) break;
  }
  if (options.json) std::cout << json_pretty(summary(session, done, passed)) << "\n";
  return session.interrupted() ? kInterrupted : passed ? kPassed : unreachable ? kUnreachable : kFailed;
}

}  // namespace

Runner set_up_calibrate(ArgumentParser parser) {
  auto arguments = std::make_shared<Arguments>();
  parser.add_option("TAG", arguments->tags, "sensors by tag (Acc, Gyr, ...) or type number, in this order").required();
  parser.add_option("--param", arguments->param, "step of the calibration, as the library takes it")
      .capture_default_str();
  parser.add_flag("--golden", arguments->golden, "collect golden channel values on a golden phone (streams)")
      .excludes("--param");
  parser.add_option("--reference", arguments->reference_hpa, "pressure of the reference barometer, hPa (Bar)")
      .in_range(300, 1100);
  return [arguments](const Options& options) { return run(options, *arguments); };
}

}  // namespace factory
