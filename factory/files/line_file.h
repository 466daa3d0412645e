// A file that lines go to while a command works.
#pragma once

#include <cstdio>
#include <string>

namespace factory {

// Its owner sees to it that one thread at a time calls.
class LineFile {
 public:
  // Written anew for `option`; without a path no file. `begin` as of require_output(). Throws AppError.
  LineFile(const std::string& option, const std::string& path, const std::string& begin);
  ~LineFile();
  LineFile(const LineFile&) = delete;
  LineFile& operator=(const LineFile&) = delete;

  bool there() const { return file_ != nullptr; }
  void write(const std::string& line);
  // Throws AppError(kUnreachable) where the file has not all lines so far.
  void require_whole();

 private:
  const std::string name_;  // with the option
  std::FILE* file_ = nullptr;
  int problem_ = 0;  // errno of the first line that is missing
};

}  // namespace factory
