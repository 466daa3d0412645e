#include "support/device_files.h"

#include <fcntl.h>
#include <host/device_root.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>

#include "support/checks.h"

namespace fuzz {

const std::string& device_root() {
  // Lives as long as the process: libFuzzer leaves with exit() and without.
  static const std::string* const root = [] {
    const char* folder = getenv("TMPDIR");
    std::string name = std::string(folder == nullptr ? "/dev/shm" : folder) + "/fuzz_XXXXXX";
    HOLDS(mkdtemp(name.data()) != nullptr);
    host::set_device_root(name);
    return new std::string(name);
  }();
  [[maybe_unused]] static const int registered = atexit([] {
    std::error_code ignored;
    std::filesystem::remove_all(device_root(), ignored);
  });
  return *root;
}

DeviceFile::DeviceFile(const char* device_path) : path_(device_root() + device_path) {
  std::filesystem::create_directories(std::filesystem::path(path_).parent_path());
  open_again();
}

void DeviceFile::open_again() {
  fd_ = open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  HOLDS(fd_ >= 0);
}

void DeviceFile::set(const std::string& text) {
  if (fd_ < 0) open_again();
  HOLDS(pwrite(fd_, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()));
  HOLDS(ftruncate(fd_, static_cast<off_t>(text.size())) == 0);
}

std::string DeviceFile::get() {
  if (fd_ < 0) return "";
  const off_t size = lseek(fd_, 0, SEEK_END);
  std::string text(static_cast<size_t>(size), '\0');
  HOLDS(pread(fd_, text.data(), text.size(), 0) == size);
  return text;
}

void DeviceFile::remove() {
  if (fd_ < 0) return;
  close(fd_);
  fd_ = -1;
  unlink(path_.c_str());
}

}  // namespace fuzz
