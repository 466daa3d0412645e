#include "simulator/device_files.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "files/json_text.h"
#include "files/scratch_folder.h"
#include "files/whole_file.h"
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
  const auto held = hold_scratch_folders();
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

}  // namespace factory::trace
