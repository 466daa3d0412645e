#include "phone/core/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace phone {
namespace {

// Takes errno, so it comes first after what failed.
std::string failure(const std::string& path, const char* what) { return path + ": " + what + ": " + strerror(errno); }

// A pipe or a device would be waited for, or never end.
bool is_regular(int fd) {
  struct stat status;
  return ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

bool write_all(int fd, const std::string& content) {
  size_t done = 0;
  while (done < content.size()) {
    const ssize_t n = ::write(fd, content.data() + done, content.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

// The rename itself outlives a power cut only with its directory.
void sync_folder_of(const std::string& path) {
  const size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  ::fsync(fd);
  ::close(fd);
}

}  // namespace

std::string read_file(const std::string& path, std::string* content) {
  content->clear();
  const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return failure(path, "cannot be opened");
  if (!is_regular(fd)) {
    ::close(fd);
    return path + ": not a regular file";
  }
  std::string error;
  char buffer[16384];
  for (;;) {
    const ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) error = failure(path, "cannot be read");
    if (n <= 0) break;
    content->append(buffer, static_cast<size_t>(n));
  }
  ::close(fd);
  return error;
}

std::string replace_file(const std::string& path, const std::string& content, bool durable) {
  // One name, since one process holds a phone: what a killed one left is written over.
  const std::string temporary = path + ".new";
  constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  const int fd = ::open(temporary.c_str(), kFlags, 0644);
  if (fd < 0) return failure(path, "cannot be written");
  std::string error;
  if (!write_all(fd, content) || (durable && ::fsync(fd) != 0)) error = failure(path, "cannot be written");
  if (::close(fd) != 0 && error.empty()) error = failure(path, "cannot be written");
  if (error.empty() && ::rename(temporary.c_str(), path.c_str()) != 0) error = failure(path, "cannot be replaced");
  if (!error.empty()) {
    ::unlink(temporary.c_str());
    return error;
  }
  if (durable) sync_folder_of(path);
  return "";
}

bool file_exists(const std::string& path) {
  struct stat status;
  return ::lstat(path.c_str(), &status) == 0 || errno != ENOENT;
}

}  // namespace phone
