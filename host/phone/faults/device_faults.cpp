#include "phone/faults/device_faults.h"

#include <fcntl.h>
#include <host/property_store.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "phone/core/files.h"
#include "phone/core/phone.h"
#include "phone/core/random.h"

namespace phone {
namespace {

namespace fs = std::filesystem;

constexpr char kBrightness[] = "/sys/class/leds/lcd-backlight/brightness";
constexpr char kPersist[] = "/mnt/vendor/persist";
constexpr char kPersistAway[] = "/mnt/vendor/.persist.away";
// The files that are written on the persist partition. Others cannot get there by the library.
constexpr const char* kPersistFiles[] = {
    "/mnt/vendor/persist/sensors/PSensor_ct1.txt", "/mnt/vendor/persist/sensors/PSensor_ct2.txt",
    "/mnt/vendor/persist/sensors/PSensor3cm_ct.txt", "/mnt/vendor/persist/sensors/scale.txt"};
constexpr char kKept[] = ".kept";                       // the real file, while a link stands in for it
constexpr char kFull[] = "/dev/full";                   // every write to it finds no room
constexpr char kNowhere[] = "/proc/self/nowhere/file";  // nothing can be made there

// The targets that faults give their links; a user's own link has another one.
bool is_stand_in(const std::string& path) {
  std::error_code none;
  const std::string target = fs::read_symlink(path, none).string();
  if (none) return false;
  int pid = 0;
  int fd = 0;
  int length = 0;
  const bool copy = sscanf(target.c_str(), "/proc/%d/fd/%d%n", &pid, &fd, &length) == 2 &&
                    static_cast<size_t>(length) == target.size();
  return copy || target == kFull || target == kNowhere;
}

// Where the real file is while the faults are laid on, one over the other.
std::string real_file(const std::string& path) { return is_stand_in(path) ? path + kKept : path; }

std::string garbage(size_t length, uint64_t seed) {
  const Draws draws = Draws(seed).of("garbage");
  std::string out;
  for (size_t i = 0; i < length; ++i) out += static_cast<char>(draws.bits(i));
  return out;
}

}  // namespace

FileFaults::FileFaults(std::string device_root) : root_(std::move(device_root)) { put_back(); }

FileFaults::~FileFaults() {
  put_back();
  for (const int fd : descriptors_) close(fd);
}

void FileFaults::put_back() const {
  std::error_code ignored;
  if (fs::exists(root_ + kPersistAway, ignored)) {
    fs::remove_all(root_ + kPersist, ignored);
    fs::rename(root_ + kPersistAway, root_ + kPersist, ignored);
  }
  // In one step where there is a real file: a phone cut short in the middle of this finds its file the next time.
  const auto restore = [&](const std::string& path) {
    if (file_exists(path + kKept)) {
      fs::rename(path + kKept, path, ignored);
    } else if (is_stand_in(path)) {
      fs::remove(path, ignored);
    }
  };
  restore(root_ + kBrightness);
  for (const char* path : kPersistFiles) restore(root_ + path);
}

void FileFaults::replace_by_link(const std::string& path, const std::string& target) const {
  std::error_code error;
  if (is_stand_in(path)) {
    fs::remove(path, error);  // of another fault: the real file is kept already
  } else if (file_exists(path)) {
    fs::rename(path, path + kKept, error);
  }
  if (!error) fs::create_symlink(target, path, error);
  if (error) throw PhoneError(path + ": " + error.message());
}

// A sealed copy in memory: it reads like the file, and no process can write it.
std::string FileFaults::unwritable_copy(const std::string& path) {
  std::string content;
  const std::string problem = read_file(path, &content);
  if (!problem.empty()) throw PhoneError(problem);
  const int fd = memfd_create("unwritable", MFD_CLOEXEC | MFD_ALLOW_SEALING);
  if (fd >= 0) descriptors_.push_back(fd);
  if (fd < 0 || write(fd, content.data(), content.size()) != static_cast<ssize_t>(content.size()) ||
      fcntl(fd, F_ADD_SEALS, F_SEAL_WRITE | F_SEAL_GROW | F_SEAL_SHRINK) != 0) {
    throw PhoneError(path + ": cannot be made unwritable here");
  }
  return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(fd);
}

void FileFaults::spoil_file(const Fault& fault, uint64_t seed) const {
  const bool cut = fault.id == FaultId::truncated;
  const std::string path = real_file(root_ + fault.text);
  std::string content;
  const std::string problem = read_file(path, &content);
  if (!problem.empty()) throw OptionError((cut ? "fault truncated: " : "fault garbled: ") + problem);
  content = cut ? content.substr(0, content.size() / 2) : garbage(content.size(), seed);
  const std::string write_problem = replace_file(path, content);
  if (!write_problem.empty()) throw PhoneError(write_problem);
}

void FileFaults::apply(const Faults& faults, uint64_t seed) {
  for (const Fault& fault : faults.all()) {
    if (fault.id == FaultId::truncated || fault.id == FaultId::garbled) spoil_file(fault, seed);
    if (fault.id == FaultId::brightness_missing) replace_by_link(root_ + kBrightness, kNowhere);
    if (fault.id == FaultId::brightness_read_only) {
      replace_by_link(root_ + kBrightness, unwritable_copy(real_file(root_ + kBrightness)));
    }
    if (fault.id == FaultId::persist_absent && file_exists(root_ + kPersist)) {
      fs::rename(root_ + kPersist, root_ + kPersistAway);
    }
    if (!file_exists(root_ + kPersist)) continue;
    for (const char* file : kPersistFiles) {
      const std::string path = root_ + file;
      const std::string real = real_file(path);
      if (fault.id == FaultId::persist_full) replace_by_link(path, kFull);
      if (fault.id == FaultId::persist_read_only) {
        replace_by_link(path, file_exists(real) ? unwritable_copy(real) : kNowhere);
      }
    }
  }
}

PropertyFaults::~PropertyFaults() { host::show_properties(); }

void PropertyFaults::apply(const Faults& faults) {
  for (const Fault* fault : faults.each(FaultId::no_property)) host::hide_property(fault->text, std::nullopt);
  for (const Fault* fault : faults.each(FaultId::property)) {
    const size_t equals = fault->text.find('=');
    host::hide_property(fault->text.substr(0, equals), fault->text.substr(equals + 1));
  }
}

}  // namespace phone
