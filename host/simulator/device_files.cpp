#include "simulator/device_files.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "files/json_text.h"
#include "files/whole_file.h"
#include "phone/options.h"
#include "simulator/trace_words.h"

namespace factory::trace {
namespace {

namespace fs = std::filesystem;

std::string read_bytes(const fs::path& path) { return read_file(path, SIZE_MAX).value_or(""); }

// What lies at the top of the root is the simulated phone's own; the device's files lie deeper.
bool of_device(const fs::directory_entry& entry, const std::string& root) {
  return entry.path().parent_path() != root || entry.is_directory();
}

// Links to devices and to nowhere are no files; the one into memory is.
bool holds_bytes(const fs::directory_entry& entry) {
  std::error_code ignored;
  return entry.is_regular_file(ignored);
}

template <typename Visit>
void each(const std::string& root, const Visit& visit) {
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
    if (of_device(entry, root)) visit(entry, "/" + entry.path().lexically_relative(root).string());
  }
}

}  // namespace

std::vector<std::string> copy_device_files(const std::string& root, const std::string& folder) {
  std::vector<std::string> unwritable;
  fs::create_directories(folder);
  each(root, [&](const fs::directory_entry& entry, const std::string& path) {
    const std::string target = folder + path;
    if (entry.is_symlink() && !holds_bytes(entry)) {
      fs::copy_symlink(entry.path(), target);
    } else if (entry.is_directory()) {
      fs::create_directories(target);
      fs::permissions(target, entry.status().permissions());
    } else if (holds_bytes(entry)) {
      fs::copy_file(entry.path(), target);  // with its permissions
      if (entry.is_symlink()) unwritable.push_back(path);
    }
  });
  return unwritable;
}

DeviceFiles::DeviceFiles(std::string root) : root_(std::move(root)), first_(read_all()), seen_(first_) {}

std::map<std::string, std::string> DeviceFiles::read_all() const {
  std::map<std::string, std::string> out;
  each(root_, [&](const fs::directory_entry& entry, const std::string& path) {
    if (holds_bytes(entry)) out[path] = read_bytes(entry.path());
  });
  return out;
}

void DeviceFiles::look() {
  seen_ = read_all();
  for (const auto& [path, bytes] : seen_) {
    const auto before = first_.find(path);
    if (before == first_.end() || before->second != bytes) noted_.insert(path);
  }
  for (const auto& [path, bytes] : first_) {
    if (seen_.count(path) == 0) noted_.insert(path);
  }
}

Json::Value DeviceFiles::changed() const {
  Json::Value out(Json::objectValue);
  for (const std::string& path : noted_) {
    const auto now = seen_.find(path);
    out[path] = now == seen_.end() ? Json::Value() : Json::Value(hex(now->second.data(), now->second.size()));
  }
  return out;
}

void DeviceFiles::check(const Json::Value& changes) {
  for (const std::string& path : changes.getMemberNames()) {
    const fs::path inside(path);
    const bool climbs = std::find(inside.begin(), inside.end(), "..") != inside.end();
    if (climbs || !inside.is_absolute()) throw Json::RuntimeError("a file of the device is " + json_line(path));
    if (!changes[path].isNull()) (void)changes[path].asString();
  }
}

void DeviceFiles::apply(const Json::Value& changes) const {
  std::error_code ignored;
  for (const std::string& path : changes.getMemberNames()) {
    const fs::path file = root_ + path;
    if (changes[path].isNull()) {
      fs::remove(file, ignored);
      continue;
    }
    fs::create_directories(file.parent_path(), ignored);
    const std::string bytes = bytes_from_hex(changes[path].asString());
    if (read_bytes(file) == bytes && fs::exists(file, ignored)) continue;
    std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
  }
}

ScratchRoot::ScratchRoot(const std::string& recorded, const std::vector<std::string>& unwritable) {
  path_ = (fs::temp_directory_path() / "sensorcal-replay-XXXXXX").string();
  if (mkdtemp(path_.data()) == nullptr) throw AppError(kUnreachable, path_ + ": cannot be made");
  try {
    fs::copy(recorded, path_, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    for (const std::string& path : unwritable) make_unwritable(path_ + path);
  } catch (const std::exception& error) {
    remove();
    throw AppError(kUsage, error.what());
  }
}

// A sealed copy in memory behind a link: no process can write it, whoever it is.
void ScratchRoot::make_unwritable(const std::string& path) {
  const std::string bytes = read_bytes(path);
  const int fd = memfd_create("unwritable", MFD_CLOEXEC | MFD_ALLOW_SEALING);
  if (fd >= 0) descriptors_.push_back(fd);
  if (fd < 0 || write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()) ||
      fcntl(fd, F_ADD_SEALS, F_SEAL_WRITE | F_SEAL_GROW | F_SEAL_SHRINK) != 0)
    throw AppError(kUnreachable, path + ": cannot be made unwritable here");
  fs::remove(path);
  fs::create_symlink("/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(fd), path);
}

void ScratchRoot::remove() {
  std::error_code ignored;
  if (!path_.empty()) fs::remove_all(path_, ignored);
  for (const int fd : descriptors_) close(fd);
  descriptors_.clear();
  path_.clear();
}

}  // namespace factory::trace
