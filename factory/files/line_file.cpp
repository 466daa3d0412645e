#include "files/line_file.h"

#include <errno.h>
#include <string.h>

#include "files/app_error.h"
#include "files/whole_file.h"

namespace factory {

LineFile::LineFile(const std::string& option, const std::string& path, const std::string& begin)
    : name_(option + " " + path) {
  if (path.empty()) return;
  require_output(option, path, begin);
  file_ = fopen(path.c_str(), "we");
  if (file_ == nullptr) throw AppError(kUsage, name_ + ": " + strerror(errno));
  setvbuf(file_, nullptr, _IOLBF, BUFSIZ);  // a program that is killed leaves whole lines
}

LineFile::~LineFile() {
  if (file_ != nullptr) fclose(file_);
}

void LineFile::write(const std::string& line) {
  if (file_ != nullptr && fputs((line + "\n").c_str(), file_) < 0) problem_ = errno;
}

void LineFile::require_whole() {
  if (file_ != nullptr && fflush(file_) != 0) problem_ = errno;
  if (problem_ != 0) throw AppError(kUnreachable, name_ + ": lines are missing: " + strerror(problem_));
}

}  // namespace factory
