#include "base/device_path.h"

std::string device_path(const char* path) { return path; }
