// `sensorcal calibrate`, `selftest`, `sar`, `tof` and `channel`: single steps of plans.
#include <memory>
#include <optional>

#include "commands/phone/commands.h"
#include "sensors/sensor.h"

namespace factory {
namespace {

constexpr int kGolden = -1;
constexpr int kSelfTest = 4;
constexpr int kSoftSar = -1;

struct Arguments {
  std::vector<std::string> tags;
  int param = 0;
  bool golden = false;
  std::optional<double> reference_hpa;
};

int calibrate(const Options& options, const Arguments& arguments, const std::string& name) {
  std::vector<plan::Step> steps;
  bool compared = false;
  for (const std::string& tag : arguments.tags) {
    plan::Step& step = steps.emplace_back();
    step.type = parse_tag(tag);
    step.param = arguments.param;
    if (arguments.golden && step_of(step.type, kGolden) == nullptr)
      throw AppError(kUsage, "--golden: " + tag + " has no golden values; " + golden_tags() + " have");
    if (step.type == sensor_type::pressure && step.param == 0) step.reference_hpa = arguments.reference_hpa;
    compared = compared || step.reference_hpa;
  }
  if (arguments.reference_hpa && !compared) throw AppError(kUsage, "--reference: only the offset of Bar has one");
  return run_request(options, plan::plan_of(name, steps, options.world));
}

int sar(const Options& options, int chip, bool soft, const std::vector<int>& address) {
  const int type = chip == 1 ? sensor_type::sar : sensor_type::sar_second;
  if (!address.empty())
    return run_request(options, plan::plan_of_write(type, "register", {address.begin(), address.end()}));
  plan::Step step;
  step.type = type;
  step.param = soft ? kSoftSar : 0;
  return run_request(options, plan::plan_of("sar", {step}, options.world));
}

}  // namespace

Runner set_up_calibrate(ArgumentParser parser) {
  auto arguments = std::make_shared<Arguments>();
  parser.add_option("TAG", arguments->tags, "sensors by tag (Acc, Gyr, ...) or type number, in this order",
                    {.required = true});
  parser.add_option("--param", arguments->param, "step of the calibration, as the library takes it",
                    {.shows_default = true});
  parser.add_flag("--golden", arguments->golden, "collect golden channel values on a golden phone (streams)",
                  {.excludes = "--param"});
  parser.add_option("--reference", arguments->reference_hpa, "pressure of the reference barometer, hPa (Bar)",
                    {.low = 300, .high = 1100});
  return [arguments](const Options& options) {
    if (arguments->golden) arguments->param = kGolden;
    return calibrate(options, *arguments, "calibrate");
  };
}

Runner set_up_selftest(ArgumentParser parser) {
  auto arguments = std::make_shared<Arguments>();
  arguments->param = kSelfTest;
  parser.add_option("TAG", arguments->tags, "sensors by tag or type number", {.required = true});
  return [arguments](const Options& options) { return calibrate(options, *arguments, "selftest"); };
}

Runner set_up_sar(ArgumentParser parser) {
  auto chip = std::make_shared<int>(1);
  auto soft = std::make_shared<bool>(false);
  auto address = std::make_shared<std::vector<int>>();
  parser.add_option("CHIP", *chip, "SAR chip 1 or 2", {.shows_default = true, .low = 1, .high = 2});
  parser.add_flag("--soft", *soft, "the soft calibration, which keeps a baseline of its own");
  parser.add_option("--register", *address, "write a register instead: number and value",
                    {.excludes = "--soft", .values = 2});
  return [=](const Options& options) { return sar(options, *chip, *soft, *address); };
}

Runner set_up_tof(ArgumentParser parser) {
  auto arguments = std::make_shared<Arguments>();
  arguments->tags = {"Tof"};
  parser.add_option("STEP", arguments->param, "5 reference, 6 offset, 7 crosstalk (Prx only), in this order",
                    {.required = true, .low = 5, .high = 7});
  parser.add_option("--sensor", arguments->tags[0], "Tof, or Prx where it is a time-of-flight part",
                    {.shows_default = true});
  return [arguments](const Options& options) { return calibrate(options, *arguments, "tof"); };
}

Runner set_up_channel(ArgumentParser parser) {
  auto tag = std::make_shared<std::string>();
  auto step = std::make_shared<plan::Step>();
  auto number = std::make_shared<int>(0);
  auto target = std::make_shared<float>(0);
  parser.add_option("TAG", *tag, "Lux or Lux_B", {.required = true});
  parser.add_option("CHANNEL", *number, "channel", {.required = true, .low = 0, .high = kLastChannel});
  parser.add_option("TARGET", *target, "value that the channel is to show", {.required = true, .low = 0, .high = 1e6});
  parser.add_flag("--screen", step->screen, "the screen's channel");
  return [=](const Options& options) {
    step->type = parse_tag(*tag);
    step->channel = *number;
    step->target = static_cast<double>(*target);
    return run_request(options, plan::plan_of("channel", {*step}, options.world));
  };
}

}  // namespace factory
