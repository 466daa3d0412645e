// `sensorcal reboot` and `sensorcal factory-reset`
#include <iostream>

#include "commands/commands.h"
#include "phone/session.h"

namespace factory {
namespace {

int reboot(const Options& options) {
  const auto fixture = open_fixture(options);
  fixture->reboot();
  if (!options.json) std::cout << "rebooted\n";
  return kPassed;
}

int factory_reset(const Options& options) {
  const auto fixture = open_fixture(options);
  fixture->factory_reset();
  if (!options.json) std::cout << "the hub holds its defaults; the calibration files are gone\n";
  return kPassed;
}

}  // namespace

Runner set_up_reboot(ArgumentParser /*parser*/) { return reboot; }
Runner set_up_factory_reset(ArgumentParser /*parser*/) { return factory_reset; }

}  // namespace factory
