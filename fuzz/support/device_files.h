// A device root in memory, below $TMPDIR or /dev/shm. Its files stay open between runs: to set one costs two system
// calls.
#pragma once

#include <string>

namespace fuzz {

// Makes the device root at the first call; it goes when the process ends in order. Returns the folder.
const std::string& device_root();

class DeviceFile {
 public:
  explicit DeviceFile(const char* device_path);
  DeviceFile(const DeviceFile&) = delete;
  DeviceFile& operator=(const DeviceFile&) = delete;

  void set(const std::string& text);
  std::string get();
  void remove();

 private:
  void open_again();

  const std::string path_;
  int fd_ = -1;
};

}  // namespace fuzz
