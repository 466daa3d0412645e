// `sensorcal collect`
#include <iostream>

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

Runner set_up_collect(ArgumentParser /*parser*/) { return collect; }

}  // namespace factory
