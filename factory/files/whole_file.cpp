#include "files/whole_file.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <map>

#include "files/app_error.h"

namespace factory {
namespace {

// An open file that closes itself.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() { close_now(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return fd_; }
  // False when the system only now says that it could not keep what was written.
  bool close_now() {
    const int fd = fd_;
    fd_ = -1;
    return fd < 0 || close(fd) == 0;
  }

 private:
  int fd_;
};

[[noreturn]] void fail(const std::string& file) {
  throw AppError(kUnreachable, file + ": cannot be written: " + strerror(errno));
}

[[noreturn]] void refuse(const std::string& option, const std::filesystem::path& file, const std::string& why) {
  throw AppError(kUsage, option + " " + file.string() + ": " + why);
}

// As the process may write it: `place` is the file itself, or the folder in which it will be made.
void require_writable(const std::string& option, const std::filesystem::path& file,
                      const std::filesystem::path& place) {
  if (eaccess(place.c_str(), W_OK) == 0) return;
  refuse(option, file,
         (place == file ? "cannot be written: " : place.string() + " cannot be written: ") + strerror(errno));
}

// Where another option writes the file, too, or it holds what is of another kind.
void require_kind(const std::string& option, const std::string& name, const std::string& begin) {
  static std::map<std::filesystem::path, std::string> taken;
  const std::filesystem::path file = std::filesystem::absolute(name).lexically_normal();
  std::error_code ignored;
  const std::filesystem::file_status found = std::filesystem::status(file, ignored);
  if (exists(found) && !is_regular_file(found)) return;
  const std::string& by = taken.emplace(file, option).first->second;
  if (by != option) refuse(option, file, "is the file of " + by);
  if (exists(found) && !std::filesystem::is_empty(file, ignored) && !begins(file, begin))
    refuse(option, file, "is there already, and is no file of this kind: it stays as it is");
}

void write_in_place(const std::string& file, const std::string& content) {
  Descriptor out(open(file.c_str(), O_WRONLY | O_CLOEXEC));
  if (out.get() < 0 || !write_all(out.get(), content) || !out.close_now()) fail(file);
}

// The rename itself outlives a power cut only with its folder. What cannot be synced is written all the same.
void sync_folder_of(const std::string& file) {
  const std::string folder = std::filesystem::path(file).parent_path().string();
  const Descriptor opened(open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (opened.get() >= 0) fsync(opened.get());
}

// The mode that a new file would get; mkostemp() makes it private to the user.
mode_t usual_mode() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

// Owner and mode of the file that is replaced, where there is one and the system lets them be given.
bool take_rights(int fd, const std::string& target) {
  struct stat old {};
  if (stat(target.c_str(), &old) != 0) return fchmod(fd, usual_mode()) == 0;
  const bool given = fchown(fd, old.st_uid, old.st_gid) == 0;
  return fchmod(fd, old.st_mode & (given ? 07777 : 0777)) == 0;
}

}  // namespace

std::optional<std::string> read_file(const std::string& file, size_t most) {
  const Descriptor in(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  if (in.get() < 0) return {};
  std::string out;
  char block[1 << 16];
  for (ssize_t count = 1; count != 0;) {
    count = read(in.get(), block, sizeof block);
    if (count < 0 && errno != EINTR) return {};
    if (count > 0) out.append(block, static_cast<size_t>(count));
    if (out.size() > most) {
      errno = EFBIG;
      return {};
    }
  }
  return out;
}

bool begins(const std::string& file, const std::string& begin) {
  const Descriptor in(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  std::string bytes(begin.size(), '\0');
  return in.get() >= 0 && read(in.get(), bytes.data(), bytes.size()) >= 0 &&
         std::equal(bytes.begin(), bytes.end(), begin.begin(),
                    [](char is, char wanted) { return wanted == '#' ? isdigit(is) != 0 : is == wanted; });
}

void require_output(const std::string& option, const std::string& file, const std::string& begin) {
  const std::filesystem::path folder = std::filesystem::absolute(file).parent_path();
  std::error_code ignored;
  std::error_code why;
  if (std::filesystem::path(file).filename() == "-")
    refuse(option, "-", "is no file's name; standard output is /dev/stdout");
  if (std::filesystem::is_directory(file, ignored)) refuse(option, file, "is a folder");
  if (!std::filesystem::is_directory(folder, why))
    refuse(option, file, folder.string() + (why ? ": " + why.message() : " is no folder"));
  require_kind(option, file, begin);
  const bool in_place = std::filesystem::exists(file, ignored) && !std::filesystem::is_regular_file(file, ignored);
  require_writable(option, file, in_place ? std::filesystem::path(file) : folder);
}

void require_output_folder(const std::string& option, const std::string& folder) {
  const std::filesystem::path wanted = std::filesystem::absolute(folder).lexically_normal();
  std::filesystem::path there = wanted;
  std::error_code ignored;
  while (!std::filesystem::exists(there, ignored)) there = there.parent_path();
  if (!std::filesystem::is_directory(there, ignored))
    refuse(option, wanted, (there == wanted ? "" : there.string() + " ") + "is no folder");
  require_writable(option, wanted, there);
}

std::string reason_of(const std::exception& error) {
  const auto* of_file = dynamic_cast<const std::filesystem::filesystem_error*>(&error);
  return of_file == nullptr ? error.what() : of_file->path1().string() + ": " + of_file->code().message();
}

bool write_all(int fd, const std::string& text) {
  for (size_t done = 0; done < text.size();) {
    const ssize_t count = write(fd, text.data() + done, text.size() - done);
    if (count < 0 && errno != EINTR) return false;
    if (count > 0) done += static_cast<size_t>(count);
  }
  return true;
}

void replace_file(const std::string& file, const std::string& content) {
  std::error_code ignored;
  const std::filesystem::file_status status = std::filesystem::status(file, ignored);
  if (exists(status) && !is_regular_file(status)) return write_in_place(file, content);
  // A link goes on pointing at the file, which is what gets replaced.
  const std::string target = exists(status) ? std::filesystem::canonical(file, ignored).string() : file;

  std::string temporary = target + ".XXXXXX";
  Descriptor out(mkostemp(temporary.data(), O_CLOEXEC));
  if (out.get() < 0) fail(file);
  const bool whole = write_all(out.get(), content) && take_rights(out.get(), target) && fsync(out.get()) == 0 &&
                     out.close_now() && rename(temporary.c_str(), target.c_str()) == 0;
  if (whole) return sync_folder_of(target);
  const int why = errno;
  unlink(temporary.c_str());
  errno = why;
  fail(file);
}

}  // namespace factory
