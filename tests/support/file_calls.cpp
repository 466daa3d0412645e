// Loaded before a program's other libraries: notes every call that changes or opens a file below a folder, and ends the
// program before one of them, as a power cut would.
//   LD_PRELOAD=libfile_calls.so FILE_CALLS=LOG FILE_CALLS_BELOW=FOLDER [FILE_CALLS_CUT=N] PROGRAM...
// LOG gets a line a call: its number, its kind, a detail, its path and, of a rename, where to, with tabs between. What
// is renamed stays as LOG.N, N the number of its call. A write has two points: before it, and with its first half done.
#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <string>

namespace {

std::atomic<int> g_calls{0};

const char* setting(const char* name) {
  const char* const value = getenv(name);  // NOLINT(concurrency-mt-unsafe): nobody sets any
  return value == nullptr ? "" : value;
}

template <typename Function>
Function* real(Function* /*type*/, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::string path_of(int fd) {
  char path[PATH_MAX];
  const ssize_t length = readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), path, sizeof path);
  return {path, length < 0 ? 0 : static_cast<size_t>(length)};
}

std::string absolute(int folder, const char* path) {
  char here[PATH_MAX];
  const std::filesystem::path base = folder != AT_FDCWD ? path_of(folder) : getcwd(here, sizeof here);
  return (base / path).lexically_normal().string();
}

void cut() { kill(getpid(), SIGKILL); }

// The number of the call; 0 where it is none of ours.
int note(const std::string& kind, const std::string& detail, const std::string& path, const std::string& to = "") {
  const std::string below = setting("FILE_CALLS_BELOW");
  if (below.empty() || (path + "/").compare(0, below.size(), below) != 0) return 0;
  const bool reads = kind == "open" && detail[0] == 'r';  // no point of a cut
  const int number = reads ? 0 : ++g_calls;
  if (!reads && number == atoi(setting("FILE_CALLS_CUT"))) cut();
  const std::string line = std::to_string(number) + "\t" + kind + "\t" + detail + "\t" + path + "\t" + to + "\n";
  const long log =
      syscall(SYS_openat, AT_FDCWD, setting("FILE_CALLS"), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  syscall(SYS_write, log, line.data(), line.size());
  syscall(SYS_close, log);
  return number;
}

int note_open(int folder, const char* path, int flags, unsigned mode) {
  note("open",
       std::string((flags & O_ACCMODE) != O_RDONLY ? "w" : "r") + ((flags & (O_CREAT | O_TRUNC)) != 0 ? "t" : "") +
           ((flags & O_CLOEXEC) != 0 ? "e" : ""),
       absolute(folder, path));
  return static_cast<int>(syscall(SYS_openat, folder, path, flags, mode));
}

unsigned mode_from(int flags, va_list arguments) {
  return (flags & (O_CREAT | __O_TMPFILE)) != 0 ? va_arg(arguments, unsigned) : 0;
}

// At the second point of a write half of it is done.
void before_write(int fd, const void* data, size_t size, off_t at) {
  if (note("write", std::to_string(size), path_of(fd)) == 0 || size < 2) return;
  if (++g_calls != atoi(setting("FILE_CALLS_CUT"))) return;
  at < 0 ? syscall(SYS_write, fd, data, size / 2) : syscall(SYS_pwrite64, fd, data, size / 2, at);
  note("torn", "", path_of(fd));
  cut();
}

void note_rename(int from_folder, const char* from, int to_folder, const char* to) {
  const std::string path = absolute(from_folder, from);
  const int number = note("rename", "", path, absolute(to_folder, to));
  const std::string kept = std::string(setting("FILE_CALLS")) + "." + std::to_string(number);
  if (number != 0) syscall(SYS_linkat, AT_FDCWD, path.c_str(), AT_FDCWD, kept.c_str(), 0);
}

}  // namespace

extern "C" {
#define OPEN(name, parameters, folder)                 \
  int name parameters {                                \
    va_list arguments;                                 \
    va_start(arguments, flags);                        \
    const unsigned mode = mode_from(flags, arguments); \
    va_end(arguments);                                 \
    return note_open(folder, path, flags, mode);       \
  }
OPEN(open, (const char* path, int flags, ...), AT_FDCWD)
OPEN(open64, (const char* path, int flags, ...), AT_FDCWD)
OPEN(openat, (int folder, const char* path, int flags, ...), folder)
OPEN(openat64, (int folder, const char* path, int flags, ...), folder)
int __open_2(const char* path, int flags) { return note_open(AT_FDCWD, path, flags, 0); }
int __open64_2(const char* path, int flags) { return note_open(AT_FDCWD, path, flags, 0); }
#define CALL(result, name, parameters, arguments, noted) \
  result name parameters {                               \
    noted;                                               \
    return real(&name, #name) arguments;                 \
  }
#define FOPEN(name)                                                        \
  CALL(FILE*, name, (const char* path, const char* mode), (path, mode),    \
       note("open",                                                        \
            std::string(*mode == 'r' && strchr(mode, '+') == nullptr ? "r" \
                        : *mode == 'r'                               ? "w" \
                                                                     : "wt") +                           \
                (strchr(mode, 'e') != nullptr ? "e" : ""),                 \
            absolute(AT_FDCWD, path)))
FOPEN(fopen)
FOPEN(fopen64)
CALL(int, fclose, (FILE * file), (file), note("close", "", path_of(fileno(file))))
CALL(int, mkostemp, (char* path, int flags), (path, flags), note("open", "wte", absolute(AT_FDCWD, path)))
CALL(int, mkostemp64, (char* path, int flags), (path, flags), note("open", "wte", absolute(AT_FDCWD, path)))
CALL(ssize_t, write, (int fd, const void* data, size_t size), (fd, data, size), before_write(fd, data, size, -1))
CALL(ssize_t, pwrite, (int fd, const void* data, size_t size, off_t at), (fd, data, size, at),
     before_write(fd, data, size, at))
CALL(ssize_t, pwrite64, (int fd, const void* data, size_t size, off64_t at), (fd, data, size, at),
     before_write(fd, data, size, at))
CALL(ssize_t, writev, (int fd, const iovec* parts, int count), (fd, parts, count),
     before_write(fd, parts[0].iov_base, parts[0].iov_len, -1))
CALL(int, fsync, (int fd), (fd), note("sync", "", path_of(fd)))
CALL(int, fdatasync, (int fd), (fd), note("sync", "", path_of(fd)))
CALL(int, rename, (const char* from, const char* to), (from, to), note_rename(AT_FDCWD, from, AT_FDCWD, to))
CALL(int, renameat, (int a, const char* from, int b, const char* to), (a, from, b, to), note_rename(a, from, b, to))
CALL(int, unlink, (const char* path), (path), note("remove", "", absolute(AT_FDCWD, path)))
CALL(int, unlinkat, (int folder, const char* path, int flags), (folder, path, flags),
     note("remove", "", absolute(folder, path)))
CALL(int, remove, (const char* path), (path), note("remove", "", absolute(AT_FDCWD, path)))
CALL(int, rmdir, (const char* path), (path), note("remove", "", absolute(AT_FDCWD, path)))
CALL(int, mkdir, (const char* path, mode_t mode), (path, mode), note("make", "", absolute(AT_FDCWD, path)))
CALL(int, symlink, (const char* to, const char* path), (to, path), note("make", "", absolute(AT_FDCWD, path)))
CALL(int, link, (const char* from, const char* path), (from, path), note("make", "", absolute(AT_FDCWD, path)))
CALL(int, truncate, (const char* path, off_t size), (path, size), note("change", "", absolute(AT_FDCWD, path)))
CALL(int, ftruncate, (int fd, off_t size), (fd, size), note("change", "", path_of(fd)))
CALL(int, ftruncate64, (int fd, off64_t size), (fd, size), note("change", "", path_of(fd)))
}
