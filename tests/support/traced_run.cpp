#include "traced_run.h"

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <stddef.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

namespace fs = std::filesystem;

enum class Kind { open, write, sync, rename, remove, change };

// Which argument says what: the paths' folder descriptors (or -1) and paths, for an open its flags.
struct Call {
  long number;
  Kind kind;
  int folder;  // argument with the path's folder; -1: the working directory
  int path;    // argument with the path; for writes and syncs the descriptor
  int other;   // flags of an open; path of a rename's target; length of a write
};

constexpr Call kCalls[] = {
    {SYS_openat, Kind::open, 0, 1, 2},       {SYS_write, Kind::write, -1, 0, 2},
    {SYS_pwrite64, Kind::write, -1, 0, 2},   {SYS_writev, Kind::write, -1, 0, 2},
    {SYS_fsync, Kind::sync, -1, 0, -1},      {SYS_fdatasync, Kind::sync, -1, 0, -1},
    {SYS_renameat, Kind::rename, 0, 1, 3},   {SYS_renameat2, Kind::rename, 0, 1, 3},
    {SYS_unlinkat, Kind::remove, 0, 1, -1},  {SYS_mkdirat, Kind::change, 0, 1, -1},
    {SYS_symlinkat, Kind::change, 1, 2, -1}, {SYS_linkat, Kind::change, 2, 3, -1},
    {SYS_truncate, Kind::change, -1, 0, -1}, {SYS_ftruncate, Kind::change, -1, -1, -1},
#ifdef SYS_rename  // what newer processors have no call for
    {SYS_open, Kind::open, -1, 0, 1},        {SYS_creat, Kind::open, -1, 0, -1},
    {SYS_rename, Kind::rename, -1, 0, 1},    {SYS_unlink, Kind::remove, -1, 0, -1},
    {SYS_mkdir, Kind::change, -1, 0, -1},    {SYS_rmdir, Kind::remove, -1, 0, -1},
    {SYS_symlink, Kind::change, -1, 1, -1},
#endif
};

const Call* find_call(unsigned long number) {
  for (const Call& call : kCalls) {
    if (static_cast<unsigned long>(call.number) == number) return &call;
  }
  return nullptr;
}

// In the child: from here on the calls of the table stop it, all others run at full speed.
void stop_at_calls() {
  std::vector<sock_filter> code = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
  for (const Call& call : kCalls) {
    code.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call.number), 0, 1));
    code.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRACE));
  }
  code.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  const sock_fprog program{static_cast<unsigned short>(code.size()), code.data()};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
    _exit(127);
  }
}

std::string bytes_at(pid_t task, unsigned long address, size_t length) {
  std::string out(length, '\0');
  const iovec here{out.data(), length};
  const iovec there{reinterpret_cast<void*>(address), length};
  const ssize_t n = process_vm_readv(task, &here, 1, &there, 1, 0);
  out.resize(n < 0 ? 0 : static_cast<size_t>(n));
  return out;
}

std::string text_at(pid_t task, unsigned long address) {
  std::string out;
  while (out.size() < PATH_MAX) {
    const size_t to_page_end = 4096 - (address + out.size()) % 4096;
    const std::string part = bytes_at(task, address + out.size(), to_page_end);
    const size_t end = part.find('\0');
    out += part.substr(0, end);
    if (end != std::string::npos || part.empty()) break;
  }
  return out;
}

std::string link_of(const std::string& link) {
  std::error_code ignored;
  return fs::read_symlink(link, ignored).string();
}

std::string content_of(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

// One run in progress.
class Tracer {
 public:
  Tracer(const TracedRun& run, pid_t child) : run_(run), child_(child) {}

  FileHistory follow();

 private:
  void on_call(pid_t task);
  void note(pid_t task, const Call& call, const uint64_t* args, const std::string& path);
  void note_rename(pid_t task, const Call& call, const uint64_t* args, const std::string& from);
  void note_write(const std::string& path);
  bool point() { return ++history_.points == run_.cut_at; }
  void cut() {
    cut_ = true;
    kill(child_, SIGKILL);
  }
  void write_half(pid_t task, const Call& call, const uint64_t* args, const std::string& path);
  std::string subject(pid_t task, const Call& call, const uint64_t* args) const;
  std::string path_at(pid_t task, int folder, unsigned long address, const uint64_t* args) const;
  bool inside(const std::string& path) const { return (path + "/").compare(0, run_.folder.size(), run_.folder) == 0; }

  const TracedRun& run_;
  const pid_t child_;
  FileHistory history_;
  bool cut_ = false;
  std::set<std::string> unsynced_;  // files with data, folders with names that the disk may not have
};

FileHistory Tracer::follow() {
  for (;;) {
    int status = 0;
    const pid_t task = waitpid(-1, &status, __WALL);
    if (task < 0) break;
    if (WIFEXITED(status) && task == child_ && run_.exit_code != nullptr) *run_.exit_code = WEXITSTATUS(status);
    if (!WIFSTOPPED(status)) continue;
    const int event = status >> 16;
    if (event == PTRACE_EVENT_SECCOMP && !cut_) on_call(task);
    ptrace(PTRACE_CONT, task, 0, event == 0 ? WSTOPSIG(status) : 0);
  }
  if (!cut_) {
    for (const std::string& path : unsynced_) {
      if (fs::is_directory(path)) history_.problems.push_back(path + ": never synced after a rename in it");
    }
  }
  return history_;
}

std::string Tracer::path_at(pid_t task, int folder, unsigned long address, const uint64_t* args) const {
  const std::string path = text_at(task, address);
  if (!path.empty() && path[0] == '/') return fs::path(path).lexically_normal().string();
  const std::string proc = "/proc/" + std::to_string(task);
  const int fd = folder < 0 ? AT_FDCWD : static_cast<int>(args[folder]);
  const std::string base = link_of(fd == AT_FDCWD ? proc + "/cwd" : proc + "/fd/" + std::to_string(fd));
  return (fs::path(base) / path).lexically_normal().string();
}

// The path that the call is about.
std::string Tracer::subject(pid_t task, const Call& call, const uint64_t* args) const {
  const bool by_descriptor = call.kind == Kind::write || call.kind == Kind::sync || call.path < 0;
  if (by_descriptor) return link_of("/proc/" + std::to_string(task) + "/fd/" + std::to_string(args[0]));
  return path_at(task, call.folder, args[call.path], args);
}

void Tracer::on_call(pid_t task) {
  __ptrace_syscall_info info{};
  if (ptrace(PTRACE_GET_SYSCALL_INFO, task, sizeof info, &info) <= 0) return;
  const Call* const call = find_call(info.seccomp.nr);
  if (call == nullptr) return;
  const uint64_t* const args = info.seccomp.args;
  const std::string path = subject(task, *call, args);
  if (!inside(path)) return;
  if (call->kind == Kind::open && call->other >= 0) {
    const auto flags = static_cast<unsigned>(args[call->other]);
    if ((flags & O_CLOEXEC) == 0) history_.inherited.insert(path);
    if ((flags & O_ACCMODE) != O_RDONLY) history_.changed.insert(path);
    if ((flags & (O_CREAT | O_TRUNC)) == 0) return;
  }
  if (point()) return cut();
  if (call->kind == Kind::write && args[call->other] > 1 && point()) {
    write_half(task, *call, args, path);
    return cut();
  }
  note(task, *call, args, path);
}

void Tracer::note_write(const std::string& path) {
  ++history_.writes[path];
  unsynced_.insert(path);
}

void Tracer::note(pid_t task, const Call& call, const uint64_t* args, const std::string& path) {
  if (call.kind != Kind::sync && call.kind != Kind::write) history_.changed.insert(path);
  switch (call.kind) {
    case Kind::open:
      history_.writes[path] = 0;
      history_.written_in_place.insert(path);
      break;
    case Kind::write:
      note_write(path);
      history_.written_in_place.insert(path);
      break;
    case Kind::sync:
      unsynced_.erase(path);
      break;
    case Kind::rename:
      note_rename(task, call, args, path);
      break;
    case Kind::remove:
      history_.whole[path] = std::nullopt;
      break;
    case Kind::change:
      break;
  }
}

void Tracer::note_rename(pid_t task, const Call& call, const uint64_t* args, const std::string& from) {
  const int folder = call.folder < 0 ? -1 : 2;
  const std::string to = path_at(task, folder, args[call.other], args);
  if (unsynced_.count(from) != 0) history_.problems.push_back(to + ": renamed before its data was synced");
  history_.whole[to] = content_of(from);
  history_.changed.insert(to);
  history_.written_in_place.erase(from);
  unsynced_.insert(fs::path(to).parent_path().string());
}

// By this process, through the program's own open file: the call itself then does not take place.
void Tracer::write_half(pid_t task, const Call& call, const uint64_t* args, const std::string& path) {
  const std::string proc = "/proc/" + std::to_string(task);
  std::string data;
  if (call.number == SYS_writev) {
    const std::string parts = bytes_at(task, args[1], args[2] * sizeof(iovec));
    for (size_t at = 0; at + sizeof(iovec) <= parts.size(); at += sizeof(iovec)) {
      iovec part{};
      memcpy(&part, parts.data() + at, sizeof part);
      data += bytes_at(task, reinterpret_cast<unsigned long>(part.iov_base), part.iov_len);
    }
  } else {
    data = bytes_at(task, args[1], args[2]);
  }
  off_t offset = static_cast<off_t>(args[3]);
  if (call.number != SYS_pwrite64) {
    std::ifstream info(proc + "/fdinfo/" + std::to_string(args[0]));
    std::string word;
    info >> word >> offset;  // "pos:" and the number
  }
  const int fd = open((proc + "/fd/" + std::to_string(args[0])).c_str(), O_WRONLY | O_CLOEXEC);
  const size_t half = data.size() / 2;
  if (fd < 0 || pwrite(fd, data.data(), half, offset) != static_cast<ssize_t>(half)) {
    history_.problems.push_back(path + ": the half of a write could not be done");
  }
  if (fd >= 0) close(fd);
  history_.written_in_place.insert(path);
  history_.torn.insert(path);
}

[[noreturn]] void become(const std::vector<std::string>& command, int go) {
  char byte = 0;
  if (read(go, &byte, 1) != 1) _exit(127);
  const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (const int fd : {0, 1, 2}) dup2(nowhere, fd);
  std::vector<char*> words;
  for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  stop_at_calls();
  execv(words[0], words.data());
  _exit(127);
}

}  // namespace

FileHistory TracedRun::run() const {
  int go[2];
  if (pipe2(go, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("no process");
  if (child == 0) become(command, go[0]);
  constexpr unsigned long kOptions =
      PTRACE_O_TRACESECCOMP | PTRACE_O_TRACECLONE | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK | PTRACE_O_EXITKILL;
  const bool seized = ptrace(PTRACE_SEIZE, child, 0, kOptions) == 0;
  const char byte = 1;
  if (!seized) kill(child, SIGKILL);
  if (write(go[1], &byte, 1) != 1) kill(child, SIGKILL);
  close(go[0]);
  close(go[1]);
  if (!seized) {
    waitpid(child, nullptr, 0);
    throw std::runtime_error("programs cannot be traced here (ptrace)");
  }
  return Tracer(*this, child).follow();
}
