// The example's start on a Linux host: a new simulated phone takes the place of the real one. Everything else is the
// example as a phone runs it.
//   factory_app_on_host [FAULT...]     what is wrong with the phone: docs/faults.md
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <limits>

#include "factory_app.h"
#include "phone/core/phone.h"

int main(int argc, char** argv) try {
  phone::PhoneOptions options;
  options.speed = std::numeric_limits<double>::infinity();
  options.faults.assign(argv + 1, argv + argc);
  const auto phone = phone::Phone::open(options);
  if (chdir(phone->directory().c_str()) != 0) {
    std::perror(phone->directory().c_str());
    return 3;
  }
  return factory_app();
} catch (const std::exception& error) {
  std::fprintf(stderr, "factory_app_on_host: %s\n", error.what());
  return 2;
}
