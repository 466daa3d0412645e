// `sensorcal collect`
#include "commands/phone/commands.h"
#include "files/json_text.h"
#include "phone/hub_watch.h"

namespace factory {
namespace {

int collect(const Options& options) {
  Session session(options);
  session.require_ready();
  HubWatch hub(session);
  const int value = session.cal().collectData();
  hub.require("the sample is not known");
  Json::Value out;
  out["value"] = value;
  print_result(options.json, "collect/1", out, "the hub's sample: " + std::to_string(value) + "\n");
  return kPassed;
}

}  // namespace

Runner set_up_collect(ArgumentParser /*parser*/) { return collect; }

}  // namespace factory
