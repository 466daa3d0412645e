// Where the device's absolute paths lie on this host. Host only.
#pragma once

#include <string>

namespace host {

// Sets the folder that stands for the device's "/"; an empty text puts the paths back where they are. It outranks the
// environment variable SENSOR_CAL_ROOT, which is read once, at the first use. Not to be called while other threads
// open files.
void set_device_root(const std::string& folder);

std::string device_root();

}  // namespace host

// The host's version of the library's one door to absolute paths: below the device root when one is set. Relative
// paths are left alone.
std::string device_path(const char* path);
