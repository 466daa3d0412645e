// A folder for one test, gone with it. In memory where there is such a file system: a phone writes its hub's store at
// every change, and would wait for the disk.
#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace test {

class Folder {
 public:
  Folder() {
    const bool in_memory = access("/dev/shm", W_OK | X_OK) == 0;
    const std::filesystem::path parent = in_memory ? "/dev/shm" : std::filesystem::temp_directory_path();
    path_ = (parent / "sensor-cal-test-XXXXXX").string();
    if (mkdtemp(path_.data()) == nullptr) abort();
  }
  ~Folder() { std::filesystem::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }
  auto entries() const { return std::distance(std::filesystem::directory_iterator(path_), {}); }

 private:
  std::string path_;
};

// Every byte of a file; nothing where there is none.
inline std::string content(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace test
