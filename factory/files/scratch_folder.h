// Folders that nobody is to find once the program is gone, and the way out of it that sees to that.
#pragma once

#include <filesystem>
#include <mutex>
#include <string>

#include "files/app_error.h"

namespace factory {

// A new folder, gone at the end: with this object, or with the process where leave_process() ends it.
class ScratchFolder {
 public:
  // Its name begins with `name`. Throws AppError.
  ScratchFolder(const std::filesystem::path& place, const std::string& name);
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// While it is held nobody ends the process by leave_process(), and once that is under way nobody gets it: for who makes
// folders within one, which would be there again.
std::unique_lock<std::mutex> hold_scratch_folders();

// Ends the process where it stands, whatever its other threads do, with `text` on standard error. No signal's handler
// may call this.
[[noreturn]] void leave_process(ExitCode code, const std::string& text);

}  // namespace factory
