#include "real_faults.h"

#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <string.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <vector>

namespace fault_matrix {
namespace {

namespace fs = std::filesystem;

constexpr uid_t kNobody = 65534;
constexpr char kPersist[] = "/mnt/vendor/persist";
constexpr char kSensors[] = "/mnt/vendor/persist/sensors";
constexpr char kLightFile[] = "/mnt/vendor/nvcfg/sensor/lightSensorCali.json";
constexpr char kBrightness[] = "/sys/class/leds/lcd-backlight/brightness";

void give_to_nobody(const std::string& directory) {
  if (chown(directory.c_str(), kNobody, kNobody) != 0) return;
  for (const auto& entry : fs::recursive_directory_iterator(directory)) {
    if (lchown(entry.path().c_str(), kNobody, kNobody) != 0) return;
  }
}

std::string become_nobody() {
  if (geteuid() != 0) return "";
  if (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0) return strerror(errno);
  prctl(PR_SET_DUMPABLE, 1);  // without it the process's own /proc/self/fd belongs to root
  return "";
}

void remove_own_files(const Kind& kind, const std::string& directory) {
  for (const std::string& path : split(kind.files)) fs::remove(directory + path);
}

void seal(const std::string& path) {
  if (fs::is_regular_file(path)) chmod(path.c_str(), 0444);
}

// A partition of four pages, seen by this process alone, on which not a byte is left.
std::string fill_partition(const std::string& directory) {
  const std::string persist = directory + kPersist;
  std::vector<std::pair<std::string, std::string>> files;
  for (const auto& entry : fs::directory_iterator(directory + kSensors)) {
    std::ifstream file(entry.path());
    files.emplace_back(entry.path().string(), std::string(std::istreambuf_iterator<char>(file), {}));
  }
  if (geteuid() != 0) return "a full partition needs a privileged user to make it";
  if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("tmpfs", persist.c_str(), "tmpfs", 0, "size=16k,mode=755") != 0) {
    return std::string("a full partition cannot be made here: ") + strerror(errno);
  }
  fs::create_directories(directory + kSensors);
  for (const auto& [path, text] : files) std::ofstream(path) << text;
  std::ofstream filler(persist + "/filler");
  const std::string page(4096, 'x');
  while (filler << page << std::flush) {
  }
  return "";
}

}  // namespace

std::string arrange_real_fault(Real fault, const Kind& kind, const std::string& directory) {
  if (fault == Real::sealed_folder || fault == Real::full_partition) remove_own_files(kind, directory);
  if (fault == Real::full_partition) {
    const std::string problem = fill_partition(directory);
    if (!problem.empty()) return problem;
  }
  if (geteuid() == 0) give_to_nobody(directory);
  if (fault == Real::sealed_files) {
    for (const auto& entry : fs::directory_iterator(directory + kSensors)) seal(entry.path());
    seal(directory + kLightFile);
  }
  if (fault == Real::sealed_folder) chmod((directory + kSensors).c_str(), 0555);
  if (fault == Real::sealed_panel) seal(directory + kBrightness);
  return become_nobody();
}

}  // namespace fault_matrix
