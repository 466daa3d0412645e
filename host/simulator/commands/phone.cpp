// `sensorcal reboot` and `sensorcal factory-reset`
#include "phone/core/phone.h"
#include "commands/phone/commands.h"
#include "files/json_text.h"
#include "simulator/simulated_phone.h"

namespace factory {
namespace {

void tell(const Options& options, const char* form, const char* text) {
  Json::Value out;
  out["verdict"] = "passed";
  print_result(options.json, form, out, text);
}

int reboot(const Options& options) {
  open_simulated(options)->reboot();
  tell(options, "reboot/1", "rebooted\n");
  return kPassed;
}

int factory_reset(const Options& options) {
  open_simulated(options)->factory_reset();
  tell(options, "factory-reset/1", "the hub holds its defaults; the calibration files are gone\n");
  return kPassed;
}

}  // namespace

Runner set_up_reboot(ArgumentParser /*parser*/) { return reboot; }
Runner set_up_factory_reset(ArgumentParser /*parser*/) { return factory_reset; }

}  // namespace factory
