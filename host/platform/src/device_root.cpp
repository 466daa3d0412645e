#include <host/device_root.h>

#include <stdlib.h>

#include <utility>

namespace {

std::string& root() {
  static std::string* const folder = [] {
    const char* from_environment = getenv("SENSOR_CAL_ROOT");
    return new std::string(from_environment == nullptr ? "" : from_environment);
  }();
  return *folder;
}

std::function<void()>& before_open_hook() {
  static auto* const hook = new std::function<void()>;
  return *hook;
}

}  // namespace

namespace host {

void set_device_root(const std::string& folder) { root() = folder; }

std::string device_root() { return root(); }

std::function<void()> on_device_path(std::function<void()> before_open) {
  return std::exchange(before_open_hook(), std::move(before_open));
}

}  // namespace host

std::string device_path(const char* path) {
  if (before_open_hook()) before_open_hook()();
  return path[0] == '/' ? root() + path : std::string(path);
}
