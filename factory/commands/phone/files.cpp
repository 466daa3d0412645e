// `sensorcal files`: whether the file that the library writes in place is whole.
#include <memory>

#include "cli/terminal.h"
#include "commands/phone/commands.h"
#include "files/json_text.h"
#include "phone/held_values.h"

namespace factory {
namespace {

int run(const Options& options, bool repair) {
  Session session(options);
  const LightFile before = light_file();
  if (repair) repair_light_file();
  const LightFile state = light_file();
  const std::string path = "/" + std::string(LightFile::kPath);
  const bool repaired = repair && before.copied && !before.whole && state.whole;
  // A phone without the file has no sensor that needs it, or was never calibrated.
  const bool passed = state.whole || !state.there;
  const Json::Value out = json_object({{"path", path},
                                       {"there", state.there},
                                       {"whole", state.whole},
                                       {"copied", state.copied},
                                       {"repaired", repaired},
                                       {"verdict", passed ? "passed" : "failed"}},
                                      session.document());
  std::string text = path + ": " + (!state.there ? faint("missing") : state.whole ? good("whole") : bad("no JSON"));
  if (repaired) text += ", as it was before the step that was cut off: calibrate the light sensor again";
  if (state.copied) {
    text += "; a step that may have written it was cut off, `sensorcal files --repair` ";
    text += state.whole ? "takes away the copy from before it" : "puts back what it held before";
  } else if (!passed) {
    text += ", and there is no copy of what it held";
  }
  print_result(options.json, "files/1", out, text + "\n");
  return passed ? kPassed : kFailed;
}

}  // namespace

Runner set_up_files(ArgumentParser parser) {
  auto repair = std::make_shared<bool>(false);
  parser.add_flag("--repair", *repair, "puts back the copy from before a step that was cut off");
  return [repair](const Options& options) { return run(options, *repair); };
}

}  // namespace factory
