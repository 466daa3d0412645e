#include "station/child.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <string.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

#include "cli/terminal.h"
#include "files/app_error.h"

extern char** environ;

namespace factory::station {
namespace {

using std::chrono::milliseconds;

constexpr size_t kLineMax = size_t{16} << 20U;  // a run's record has less by far
constexpr size_t kTailMax = 1500;
constexpr int kLookMs = 100;
constexpr milliseconds kOfNoRunner{500};  // nothing that it says makes sense
constexpr int kSignals[] = {SIGTERM, SIGKILL};
constexpr milliseconds kBetweenSignals{2000};
constexpr milliseconds kAfterwords{300};  // what a child of its own still holds open is nobody's any more

// Both ends close by themselves in every other child.
struct Pipe {
  Pipe() {
    if (pipe2(ends, O_CLOEXEC) != 0) throw AppError(kUnreachable, std::string("no pipe: ") + strerror(errno));
  }
  ~Pipe() {
    for (const int end : ends) {
      if (end >= 0) close(end);
    }
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  int take(int which) {
    const int end = std::exchange(ends[which], -1);
    fcntl(end, F_SETFL, O_NONBLOCK);
    return end;
  }
  int ends[2] = {-1, -1};
};

void close_now(int* fd) {
  if (*fd >= 0) close(*fd);
  *fd = -1;
}

}  // namespace

Child::Child(const Runner::Order& order) : leaving_(order.leaving) {
  Pipe in;
  Pipe out;
  Pipe err;
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addchdir_np(&files, order.folder.c_str());
  posix_spawn_file_actions_adddup2(&files, in.ends[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&files, out.ends[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&files, err.ends[1], STDERR_FILENO);
  posix_spawnattr_t how;
  posix_spawnattr_init(&how);
  // A group of its own: Ctrl-C on the terminal is the station's, which lets its runners put things back.
  posix_spawnattr_setflags(&how, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&how, &signals);
  for (const int signal : {SIGINT, SIGTERM, SIGPIPE}) sigaddset(&signals, signal);
  posix_spawnattr_setsigdefault(&how, &signals);
  std::vector<char*> words;
  for (const std::string& word : order.command) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  std::vector<char*> around;
  for (const std::string& value : order.environment) around.push_back(const_cast<char*>(value.c_str()));
  for (char** own = environ; *own != nullptr; ++own) around.push_back(*own);
  around.push_back(nullptr);
  const int error = posix_spawnp(&pid_, words[0], &files, &how, words.data(), around.data());
  posix_spawnattr_destroy(&how);
  posix_spawn_file_actions_destroy(&files);
  if (error != 0) throw AppError(kUnreachable, order.command[0] + " cannot be started: " + strerror(error));
  in_ = in.take(1);
  out_ = out.take(0);
  err_ = err.take(0);
  exit_ = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));  // -1 on an old system: it is then looked for
}

Child::~Child() {
  // Before it is waited for: until then its number is no other group's.
  kill(-pid_, SIGKILL);
  while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
  }
  for (int* fd : {&in_, &out_, &err_, &exit_}) close_now(fd);
}

bool Child::exchange(int wake, std::string* unsaid, const std::function<bool(const std::string&)>& on_line) {
  if (in_ < 0) unsaid->clear();
  const short writes = unsaid->empty() ? 0 : POLLOUT;
  // A descriptor of -1 is passed over; of an input that nobody reads any more only the error is told.
  pollfd fds[] = {{out_, POLLIN, 0}, {err_, POLLIN, 0}, {in_, writes, 0}, {wake, POLLIN, 0}, {exit_, POLLIN, 0}};
  if (exited_) fds[4].fd = -1;
  poll(fds, std::size(fds), kLookMs);
  if (fds[0].revents != 0) read_lines(on_line);
  if (fds[1].revents != 0) read_words();
  if (fds[2].revents != 0) write_some(unsaid, (fds[2].revents & (POLLERR | POLLHUP)) == 0);
  look_for_exit();
  urge();
  const bool all_said = out_ < 0 && err_ < 0;
  return !(exited_ && (all_said || Clock::now() > *exited_ + kAfterwords));
}

void Child::read_lines(const std::function<bool(const std::string&)>& on_line) {
  char part[65536];
  const ssize_t count = read(out_, part, sizeof part);
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
  if (count <= 0) {
    close_now(&out_);
    if (!unread_.empty()) end({"runner-unfinished", {}, "its last line has no end"});
    return end({});
  }
  heard_ = Clock::now();
  if (!why_.text.empty()) return;  // what it says now counts no more
  const size_t searched = unread_.size();
  unread_.append(part, static_cast<size_t>(count));
  size_t begin = 0;
  for (size_t at = unread_.find('\n', searched); at != std::string::npos; at = unread_.find('\n', begin)) {
    if (!on_line(unread_.substr(begin, at - begin))) {
      const std::string said = visible(unread_.substr(begin, std::min<size_t>(at - begin, 100)));
      end({"runner-nonsense", {said}, "it says what is no event of a run: " + said}, kOfNoRunner);
      return unread_.clear();
    }
    begin = at + 1;
  }
  unread_.erase(0, begin);
  if (unread_.size() <= kLineMax) return;
  end({"runner-endless", {}, "it says a line without an end"}, kOfNoRunner);
  unread_ = {};
}

void Child::read_words() {
  char part[4096];
  const ssize_t count = read(err_, part, sizeof part);
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
  if (count <= 0) return close_now(&err_);
  tail_.append(part, static_cast<size_t>(count));
  if (tail_.size() > kTailMax) tail_.erase(0, tail_.size() - kTailMax);
}

void Child::write_some(std::string* unsaid, bool is_read) {
  const ssize_t count = is_read ? write(in_, unsaid->data(), unsaid->size()) : -1;
  if (count >= 0) {
    unsaid->erase(0, static_cast<size_t>(count));
  } else if (!is_read || (errno != EAGAIN && errno != EINTR)) {
    close_now(&in_);
  }
}

void Child::end(const record::Text& why, milliseconds leaving) {
  if (why_.text.empty()) why_ = why;
  close_now(&in_);
  if (ending_) return;
  ending_ = Clock::now();
  leaving_ = leaving;
}

void Child::urge() {
  if (!ending_ || exited_) return;
  const auto due = *ending_ + leaving_ + signals_ * kBetweenSignals;
  if (signals_ >= static_cast<int>(std::size(kSignals)) || Clock::now() < due) return;
  if (why_.text.empty()) why_ = {"runner-hangs", {}, "it did not end when it was asked to"};
  kill(-pid_, kSignals[signals_++]);
}

void Child::look_for_exit() {
  siginfo_t info{};
  if (exited_ || waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) != 0 || info.si_pid == 0)
    return;
  exited_ = Clock::now();
  if (info.si_code == CLD_EXITED) {
    code_ = info.si_status;
  } else if (why_.text.empty()) {
    const std::string signal = strsignal(info.si_status);
    why_ = {"runner-killed", {signal}, "it was ended by a signal: " + signal};
  }
}

RunnerEnd Child::ended() const {
  const size_t end = tail_.find_last_not_of(" \r\n");
  return {code_, why_, visible(end == std::string::npos ? "" : tail_.substr(0, end + 1))};
}

}  // namespace factory::station
