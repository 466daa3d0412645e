// A device root of a test's own, and the library's log lines without those of its command API.
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

// The lines of the thread that calls, under the tag "libsensor_cal" alone, as "E text". Open descriptors show as N.
inline Lines library_lines(const LogCapture& log) {
  const std::string tag = "/libsensor_cal: ";
  Lines out;
  for (const std::string& line : log.mine()) {
    if (line.compare(1, tag.size(), tag) != 0) continue;
    std::string text = line.substr(0, 1) + " " + line.substr(1 + tag.size());
    const size_t fd = text.find("fd=");
    if (fd != std::string::npos && text[fd + 3] != '-') text = text.substr(0, fd + 3) + "N\n";
    out.push_back(text);
  }
  return out;
}

inline Lines operator+(Lines a, const Lines& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

}  // namespace test
