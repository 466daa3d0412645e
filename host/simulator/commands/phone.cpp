// `sensorcal reboot` and `sensorcal factory-reset`
#include <iostream>

#include "commands/phone/commands.h"
#include "phone/core/phone.h"
#include "simulator/simulated_phone.h"

namespace factory {
namespace {

int reboot(const Options& options) {
  open_simulated(options)->reboot();
  if (!options.json) std::cout << "rebooted\n";
  return kPassed;
}

int factory_reset(const Options& options) {
  open_simulated(options)->factory_reset();
  if (!options.json) std::cout << "the hub holds its defaults; the calibration files are gone\n";
  return kPassed;
}

}  // namespace

Runner set_up_reboot(ArgumentParser /*parser*/) { return reboot; }
Runner set_up_factory_reset(ArgumentParser /*parser*/) { return factory_reset; }

}  // namespace factory
