#include "line/worker_pool.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

#include "cli/terminal.h"
#include "files/json_text.h"
#include "files/whole_file.h"
#include "line/phone_run.h"
#include "store/run_id.h"

namespace factory::line {
namespace {

using Clock = std::chrono::steady_clock;

// A phone that a station dies over so often is the station's death.
constexpr int kTriesMax = 3;
constexpr int kSilentDeathsMax = 3;
constexpr int kTellMs = 200;
// What stations have, after Ctrl-C, to keep the run under way.
constexpr std::chrono::milliseconds kLastWords{150};

// A process of this very program. In a process group of its own: Ctrl-C on the terminal is for the line alone, which
// tells its stations.
pid_t spawn_station(int input, int output) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  std::string arguments[] = {"sensorcal", "line", "--station-process"};
  char* argv[] = {arguments[0].data(), arguments[1].data(), arguments[2].data(), nullptr};
  pid_t pid = -1;
  const int error = posix_spawn(&pid, "/proc/self/exe", &actions, &attributes, argv, environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  if (error != 0) throw AppError(kUnreachable, std::string("a station cannot be started: ") + strerror(error));
  return pid;
}

std::string how_it_ended(int status) {
  return WIFSIGNALED(status) ? "was ended by signal " + std::to_string(WTERMSIG(status))
                             : "ended with code " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

std::string spool_of(const std::string& spools, int station) { return spools + "/" + station_name(station) + ".db"; }

WorkerPool::WorkerPool(const StationTask& task, const std::string& spools, int stations, uint64_t phones)
    : task_(task), spools_(spools), workers_(static_cast<size_t>(stations)) {
  for (int i = 0; i < stations; ++i) workers_[static_cast<size_t>(i)].station = i;
  result_.phones = phones;
}

WorkerPool::~WorkerPool() {
  for (Worker& worker : workers_) {
    close_pipes(&worker);
    if (worker.pid < 0) continue;
    kill(worker.pid, SIGKILL);
    waitpid(worker.pid, nullptr, 0);
  }
}

void WorkerPool::close_pipes(Worker* worker) {
  for (int* fd : {&worker->to, &worker->from}) {
    close(*fd);
    *fd = -1;
  }
}

void WorkerPool::start(Worker* worker) {
  int to[2];
  int from[2];
  if (pipe2(to, O_CLOEXEC) != 0 || pipe2(from, O_CLOEXEC) != 0) throw AppError(kUnreachable, "no pipe");
  worker->to = to[1];
  worker->from = from[0];
  worker->unread.clear();
  worker->busy = worker->has_spoken = worker->finished = false;
  worker->pid = spawn_station(to[0], from[1]);
  close(to[0]);
  close(from[1]);
  StationTask task = task_;
  task.station = worker->station;
  task.spool = spool_of(spools_, worker->station);
  // A station that cannot take it has died, and is found to have when it is read.
  (void)write_all(worker->to, to_line(task) + "\n");
}

bool WorkerPool::next_phone(Phone* phone) {
  if (stopping_ || next_ >= result_.phones) return false;
  *phone = {next_++, store::make_run_id(std::chrono::system_clock::now()), 0};
  return true;
}

// Hands out the phone that the station has not finished, or the next one, or says that there are no more.
void WorkerPool::feed(Worker* worker) {
  if (!worker->busy && !next_phone(&worker->phone)) {
    close(worker->to);
    worker->to = -1;
    return;
  }
  worker->busy = true;
  ++worker->phone.tries;
  const Json::Value phone = json_object({{"number", worker->phone.number}, {"id", worker->phone.id}});
  (void)write_all(worker->to, json_line(phone) + "\n");
}

void WorkerPool::take(Worker* worker, const std::string& line) {
  Json::Value said;
  if (!parse_json(line, &said) || !said.isObject()) return;
  worker->has_spoken = true;
  silent_deaths_ = 0;
  if (said.isMember("waiting")) {
    result_.waiting += said["waiting"].asInt();
    worker->finished = true;
    return;
  }
  if (!worker->busy || said["number"].asUInt64() != worker->phone.number) return;
  const std::string verdict = said["verdict"].asString();
  ++(verdict == "passed" ? result_.passed : verdict == "failed" ? result_.failed : result_.errors);
  worker->busy = false;
  feed(worker);
}

void WorkerPool::read(Worker* worker) {
  char bytes[4096];
  const ssize_t count = ::read(worker->from, bytes, sizeof bytes);
  if (count <= 0) return died(worker);
  worker->unread.append(bytes, static_cast<size_t>(count));
  for (size_t end = worker->unread.find('\n'); end != std::string::npos; end = worker->unread.find('\n')) {
    const std::string line = worker->unread.substr(0, end);
    worker->unread.erase(0, end + 1);
    take(worker, line);
  }
}

// The end of a station: that of its work, or one before it.
void WorkerPool::died(Worker* worker) {
  int status = 0;
  waitpid(worker->pid, &status, 0);
  worker->pid = -1;
  close_pipes(worker);
  if (worker->finished || stopping_) return;
  // What it lacks it would lack again; it has said so itself.
  if (WIFEXITED(status) && WEXITSTATUS(status) == kUsage)
    throw AppError(kUsage, "station " + station_name(worker->station) + " " + how_it_ended(status));
  if (!worker->has_spoken && ++silent_deaths_ >= kSilentDeathsMax)
    throw AppError(kUnreachable, "station " + station_name(worker->station) + " " + how_it_ended(status) +
                                     " as soon as it was started");
  ++result_.restarts;
  const bool was_busy = worker->busy;
  complain("station " + station_name(worker->station) + " " + how_it_ended(status) + " and is started again");
  const Phone phone = worker->phone;
  start(worker);
  if (was_busy && phone.tries >= kTriesMax) {
    complain("phone " + serial_of(task_.seed + phone.number) + " is given up");
    ++result_.given_up;
  } else if (was_busy) {
    worker->busy = true;
    worker->phone = phone;
  }
  feed(worker);
}

// False when no station is left.
bool WorkerPool::wait(int timeout_ms) {
  std::vector<pollfd> polled;
  std::vector<Worker*> whose;
  for (Worker& worker : workers_) {
    if (worker.from < 0) continue;
    polled.push_back({worker.from, POLLIN, 0});
    whose.push_back(&worker);
  }
  if (polled.empty()) return false;
  if (poll(polled.data(), polled.size(), timeout_ms) <= 0) return true;
  for (size_t i = 0; i < polled.size(); ++i) {
    if (polled[i].revents != 0) read(whose[i]);
  }
  return true;
}

// No more phones; what is under way is kept where there is time for it.
void WorkerPool::end_all() {
  stopping_ = true;
  for (Worker& worker : workers_) {
    close(worker.to);
    worker.to = -1;
  }
  const Clock::time_point end = Clock::now() + kLastWords;
  while (Clock::now() < end && wait(10)) {
  }
}

LineResult WorkerPool::run(const std::atomic<bool>& interrupted, const std::function<void(const LineResult&)>& tell) {
  const Clock::time_point start_time = Clock::now();
  // A station that dies while it is written to is found out when it is read.
  struct sigaction ignore = {}, before = {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &ignore, &before);
  for (Worker& worker : workers_) {
    start(&worker);
    feed(&worker);
  }
  Clock::time_point told = start_time;
  while (!interrupted && wait(kTellMs)) {
    if (Clock::now() - told < std::chrono::milliseconds(kTellMs)) continue;
    told = Clock::now();
    result_.seconds = std::chrono::duration<double>(told - start_time).count();
    tell(result_);
  }
  if (interrupted) end_all();
  sigaction(SIGPIPE, &before, nullptr);
  result_.interrupted = interrupted;
  result_.seconds = std::chrono::duration<double>(Clock::now() - start_time).count();
  return result_;
}

}  // namespace factory::line
