// A folder for one test, gone with it.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>

namespace test {

class Folder {
 public:
  Folder() : path_((std::filesystem::temp_directory_path() / "sensor-cal-test-XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) abort();
  }
  ~Folder() { std::filesystem::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace test
