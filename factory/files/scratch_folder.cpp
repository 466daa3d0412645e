#include "files/scratch_folder.h"

#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <set>
#include <thread>

namespace factory {
namespace {

namespace fs = std::filesystem;

// Never destroyed: a thread may leave the process while another one returns from main().
std::mutex& folders_mutex() {
  static std::mutex& mutex = *new std::mutex;
  return mutex;
}

std::set<std::string>& folders() {  // guarded by folders_mutex()
  static std::set<std::string>& folders = *new std::set<std::string>;
  return folders;
}

}  // namespace

ScratchFolder::ScratchFolder(const fs::path& place, const std::string& name)
    : path_((place / (name + "-XXXXXX")).string()) {
  const std::lock_guard<std::mutex> lock(folders_mutex());
  if (mkdtemp(path_.data()) == nullptr) throw AppError(kUnreachable, path_ + ": cannot be made");
  folders().insert(path_);
}

ScratchFolder::~ScratchFolder() {
  const std::lock_guard<std::mutex> lock(folders_mutex());
  std::error_code ignored;
  fs::remove_all(path_, ignored);
  folders().erase(path_);
}

std::unique_lock<std::mutex> hold_scratch_folders() { return std::unique_lock<std::mutex>(folders_mutex()); }

void leave_process(ExitCode code, const std::string& text) {
  // Held to the end: whoever comes to make or remove a folder meanwhile waits there, and does not end the process
  // before.
  folders_mutex().lock();
  for (const std::string& path : folders()) {
    // Other threads may still write there.
    constexpr int kTries = 20;
    std::error_code error;
    for (int i = 0; i < kTries && fs::exists(path, error); ++i) {
      fs::remove_all(path, error);
      if (error) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  (void)!write(STDERR_FILENO, text.data(), text.size());
  _exit(code);
}

}  // namespace factory
