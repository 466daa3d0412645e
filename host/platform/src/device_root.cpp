#include <host/device_root.h>

#include <stdlib.h>

namespace {

std::string& root() {
  static std::string* const folder = [] {
    const char* from_environment = getenv("SENSOR_CAL_ROOT");
    return new std::string(from_environment == nullptr ? "" : from_environment);
  }();
  return *folder;
}

}  // namespace

namespace host {

void set_device_root(const std::string& folder) { root() = folder; }

std::string device_root() { return root(); }

}  // namespace host

std::string device_path(const char* path) { return path[0] == '/' ? root() + path : std::string(path); }
