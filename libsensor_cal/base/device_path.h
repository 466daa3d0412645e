// The library's one door to the device's absolute paths.
#pragma once

#include <string>

// Where the device's `path` lies: itself on a phone. Log lines show the device's path, never this one.
std::string device_path(const char* path);
