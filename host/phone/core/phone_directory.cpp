#include "phone/core/phone_directory.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>

#include "phone/core/files.h"
#include "phone/core/json_reader.h"

namespace phone {
namespace {

namespace fs = std::filesystem;

constexpr char kLock[] = ".lock";
constexpr char kProfile[] = "profile.json";
constexpr char kState[] = "state.json";  // written last: a directory without it was never finished
constexpr char kProperties[] = "build.prop";
constexpr char kPersistSensors[] = "/mnt/vendor/persist/sensors";
constexpr const char* kFolders[] = {kPersistSensors, "/mnt/vendor/nvcfg/sensor", "/vendor/etc/sensors"};

std::string read_or_throw(const std::string& path) {
  std::string content;
  const std::string problem = read_file(path, &content);
  if (!problem.empty()) throw PhoneError(problem);
  return content;
}

std::string properties_text(const Profile& profile) {
  std::string text = "# The properties of " + profile.name + ", as its build sets them.\n";
  for (const auto& [name, value] : profile.properties) text += name + "=" + value + "\n";
  return text;
}

// Where a temporary phone lives: in memory where there is such a file system, since phones come and go by the thousand.
fs::path temporary_folder() {
  constexpr char kInMemory[] = "/dev/shm";
  const bool usable = getenv("TMPDIR") == nullptr && access(kInMemory, W_OK | X_OK) == 0;
  return usable ? fs::path(kInMemory) : fs::temp_directory_path();
}

uint64_t random_seed() {
  std::random_device device;
  return uint64_t{device()} << 32 | device();
}

}  // namespace

PhoneDirectory::PhoneDirectory(const PhoneOptions& options) {
  // One that cannot be read leaves no folder behind.
  if (options.directory.empty() || !file_exists(options.directory + "/" + kState))
    profile_ = load_profile(options.profile);
  try {
    make_folder(options.directory);
    read_only_ = options.looks && file_exists(file(kState)) && eaccess(path_.c_str(), W_OK) != 0;
    lock();
    if (file_exists(file(kState))) {
      read();
    } else {
      make(options);
    }
    ++opening_;
    if (!read_only_) write_state();
  } catch (const fs::filesystem_error& error) {
    release();
    throw PhoneError(error.path1().string() + ": " + error.code().message());
  } catch (...) {
    release();
    throw;
  }
}

PhoneDirectory::~PhoneDirectory() { release(); }

void PhoneDirectory::release() {
  std::error_code ignored;
  if (temporary_) fs::remove_all(path_, ignored);
  if (lock_fd_ >= 0) close(lock_fd_);
}

void PhoneDirectory::make_folder(const std::string& wanted) {
  if (wanted.empty()) {
    std::string name = (temporary_folder() / "phone-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw PhoneError(name + ": " + strerror(errno));
    temporary_ = true;
    path_ = name;
    return;
  }
  path_ = fs::absolute(wanted).lexically_normal().string();
  while (path_.size() > 1 && path_.back() == '/') path_.pop_back();
  fs::create_directories(path_);
  if (!file_exists(file(kState)) && !file_exists(file(kLock)) && !fs::is_empty(path_)) {
    throw PhoneError(path_ + ": neither empty nor a phone's directory");
  }
}

void PhoneDirectory::lock() {
  const std::string path = file(kLock);
  const int access = read_only_ ? O_RDONLY : O_RDWR | O_CREAT;
  lock_fd_ = open(path.c_str(), access | O_NOFOLLOW | O_CLOEXEC, 0644);
  if (read_only_) {
    remarks_.push_back(path_ + " cannot be written: what changes is not kept");
    if (lock_fd_ < 0) return remarks_.push_back(path + " is missing: another process may be changing the phone");
  }
  if (lock_fd_ < 0) throw PhoneError(path + ": " + strerror(errno));
  if (flock(lock_fd_, (read_only_ ? LOCK_SH : LOCK_EX) | LOCK_NB) != 0) {
    const int error = errno;
    char holder[16] = {};
    const bool held = error == EWOULDBLOCK && pread(lock_fd_, holder, sizeof holder - 1, 0) > 0;
    throw PhoneError(held ? "the phone " + path_ + " is held by process " + holder +
                                "; wait until it ends, end it, or choose another phone"
                          : "the phone " + path_ + " cannot be locked: " + strerror(error));
  }
  if (read_only_) return;
  const std::string pid = std::to_string(getpid());
  const auto length = static_cast<ssize_t>(pid.size());
  if (pwrite(lock_fd_, pid.data(), pid.size(), 0) != length || ftruncate(lock_fd_, length) != 0) {
    throw PhoneError(path + ": " + strerror(errno));
  }
}

void PhoneDirectory::require_writable() const {
  if (read_only_) throw PhoneError(path_ + ": cannot be written");
}

void PhoneDirectory::make(const PhoneOptions& options) {
  if (file_exists(file(kProfile))) remarks_.push_back(path_ + " was not finished at its first use; made anew");
  seed_ = options.seed ? *options.seed : random_seed();
  write(file(kProfile), profile_->text);
  write(file(kProperties), properties_text(*profile_));
  restore_files();
}

void PhoneDirectory::write(const std::string& path, const std::string& content) const {
  const std::string problem = replace_file(path, content, durable());
  if (!problem.empty()) throw PhoneError(problem);
}

// What a link leads to is not the phone's.
void PhoneDirectory::refuse_linked_folders() const {
  const auto refuse = [this](const fs::path& folder) {
    fs::path at = path_;
    for (const fs::path& part : folder.relative_path()) {
      at /= part;
      if (fs::is_symlink(fs::symlink_status(at))) throw PhoneError(at.string() + ": a link in the place of a folder");
    }
  };
  for (const char* folder : kFolders) refuse(folder);
  for (const auto& [path, content] : profile_->files) refuse(fs::path(path).parent_path());
}

// A file that the profile lays down is replaced, not removed first: whenever this is cut short, it is there.
void PhoneDirectory::restore_files() const {
  refuse_linked_folders();
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(path_ + kPersistSensors, ignored)) {
    const bool laid_down = profile_->files.count(entry.path().string().substr(path_.size())) != 0;
    if (!laid_down || !entry.is_regular_file(ignored)) fs::remove_all(entry.path(), ignored);
  }
  for (const char* folder : kFolders) fs::create_directories(path_ + folder);
  for (const auto& [path, content] : profile_->files) {
    fs::create_directories(fs::path(path_ + path).parent_path());
    write(path_ + path, content);
  }
}

void PhoneDirectory::read() {
  const std::string path = file(kProfile);
  profile_ = parse_profile(read_or_throw(path), path);
  const std::string state_path = file(kState);
  const Json::Value state = parse_json(read_or_throw(state_path), state_path);
  if (!state.isObject() || !state["seed"].isUInt64() || !state["openings"].isUInt()) {
    throw PhoneError(state_path + ": wants seed and openings, whole numbers");
  }
  seed_ = state["seed"].asUInt64();
  opening_ = state["openings"].asUInt();
}

void PhoneDirectory::write_state() const {
  Json::Value state(Json::objectValue);
  state["seed"] = Json::UInt64{seed_};
  state["openings"] = opening_;
  write(file(kState), json_text(state));
}

}  // namespace phone
