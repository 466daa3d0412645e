// Where the device's absolute paths lie on this host. Host only.
#pragma once

#include <functional>
#include <string>

namespace host {

// Sets the folder that stands for the device's "/"; an empty text puts the paths back where they are. It outranks the
// environment variable SENSOR_CAL_ROOT, which is read once, at the first use. Not to be called while other threads
// open files.
void set_device_root(const std::string& folder);

std::string device_root();

// Called on the asking thread before every answer of device_path(): a simulated phone brings its device nodes up to
// date there, since the caller is about to open one. Empty: nobody. Returns who was called before. Not to be changed
// while other threads open files.
std::function<void()> on_device_path(std::function<void()> before_open);

}  // namespace host

// The host's version of the library's one door to absolute paths: below the device root when one is set. Relative
// paths are left alone.
std::string device_path(const char* path);
