// A device root of a test's own.
#pragma once

#include <host/device_root.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "folder.h"
#include "log_capture.h"

namespace test {

class DeviceDir {
 public:
  DeviceDir() { host::set_device_root(root_.path()); }
  ~DeviceDir() { host::set_device_root(""); }

  // All paths are the device's.
  std::string host_path(const std::string& path) const { return root_.path() + path; }
  void write(const std::string& path, const std::string& text) const {
    std::filesystem::create_directories(std::filesystem::path(host_path(path)).parent_path());
    std::ofstream(host_path(path), std::ios::trunc) << text;
  }
  std::string read(const std::string& path) const { return content(host_path(path)); }
  void remove(const std::string& path) const { std::filesystem::remove_all(host_path(path)); }
  // Puts a link in the place of `path`: for nodes that behave like another file of this host.
  void link(const std::string& path, const std::string& target) const {
    remove(path);
    std::filesystem::create_symlink(target, host_path(path));
  }

 private:
  const Folder root_;
};

}  // namespace test
