// `sensorcal backlight`: the panel's brightness.
#include <memory>
#include <optional>

#include "commands/phone/commands.h"
#include "files/json_text.h"
#include "phone/session.h"
#include "run/calibration.h"

namespace factory {
namespace {

int run(const Options& options, std::optional<int> level) {
  Session session(options);
  if (level && !plan::set_panel_brightness(session, *level)) {
    const int now = plan::panel_brightness(session);
    throw AppError(now < 0 ? kUnreachable : kFailed,
                   "the panel did not take brightness " + std::to_string(*level) +
                       (now < 0 ? ": its node cannot be read" : "; it shows " + std::to_string(now)));
  }
  const int brightness = plan::panel_brightness(session);
  const int maximum = plan::panel_maximum(session);
  if (brightness < 0) throw AppError(kUnreachable, "the panel's brightness node cannot be read");
  print_result(options.json, "backlight/1",
               json_object({{"brightness", brightness}, {"maximum", maximum < 0 ? Json::Value() : maximum}}),
               "brightness " + std::to_string(brightness) + " of " +
                   (maximum < 0 ? "an unknown maximum" : std::to_string(maximum)) + "\n");
  return kPassed;
}

}  // namespace

Runner set_up_backlight(ArgumentParser parser) {
  auto level = std::make_shared<std::optional<int>>();
  parser.add_option("LEVEL", *level, "brightness to set, 0 to 8191", {.low = 0, .high = 8191});
  return [level](const Options& options) { return run(options, *level); };
}

}  // namespace factory
