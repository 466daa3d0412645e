// A folder for one test, and what a test reads back.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

class Folder {
 public:
  Folder() : path_(mkdtemp(name_)) {}
  ~Folder() { std::filesystem::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::string file(const std::string& name) const { return path_ + "/" + name; }
  size_t count() const { return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(path_), {})); }

 private:
  char name_[32] = "/tmp/report_test.XXXXXX";
  std::string path_;
};

inline std::string content(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

inline size_t occurrences(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}
