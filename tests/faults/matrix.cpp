#include "matrix.h"

#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <deque>
#include <filesystem>
#include <map>
#include <set>

namespace fault_matrix {
namespace {

namespace fs = std::filesystem;
using std::chrono::steady_clock;

constexpr auto kLongest = std::chrono::seconds(60);

// A folder that every user may look into, in memory where there is such a file system.
class Folder {
 public:
  Folder() {
    const fs::path parent = access("/dev/shm", W_OK | X_OK) == 0 ? "/dev/shm" : fs::temp_directory_path();
    path_ = (parent / "fault-matrix-XXXXXX").string();
    if (mkdtemp(path_.data()) == nullptr || chmod(path_.c_str(), 0755) != 0) abort();
  }
  ~Folder() { remove(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  const std::string& path() const { return path_; }
  // Sealed folders included.
  static void remove(const std::string& path) {
    std::error_code ignored;
    fs::permissions(path + "/mnt/vendor/persist/sensors", fs::perms::owner_all, ignored);
    fs::remove_all(path, ignored);
  }

 private:
  std::string path_;
};

Outcome failed(const std::string& text) {
  Outcome out;
  out.deviations.push_back(text);
  return out;
}

// A process that does one thing and tells the outcome through a pipe.
class Worker {
 public:
  explicit Worker(const std::function<Outcome()>& work) : start_(steady_clock::now()) {
    int ends[2];
    if (pipe(ends) != 0) abort();
    pid_ = fork();
    if (pid_ == 0) {
      close(ends[0]);
      tell(ends[1], work());
    }
    close(ends[1]);
    fd_ = ends[0];
  }

  int fd() const { return fd_; }
  // Takes what there is to read. True: the process is done.
  bool read_on() {
    char text[4096];
    const ssize_t length = read(fd_, text, sizeof text);
    if (length > 0) text_.append(text, static_cast<size_t>(length));
    return length <= 0;
  }
  bool overdue() const { return steady_clock::now() - start_ > kLongest; }
  void end() const { kill(pid_, SIGKILL); }
  Outcome outcome() {
    close(fd_);
    int status = 0;
    if (pid_ < 0 || waitpid(pid_, &status, 0) != pid_) return failed("no process");
    if (WIFSIGNALED(status)) return failed("died of signal " + std::to_string(WTERMSIG(status)));
    Json::Value json;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    std::string errors;
    if (WEXITSTATUS(status) != 0 || !reader->parse(text_.data(), text_.data() + text_.size(), &json, &errors)) {
      return failed("ended with " + std::to_string(WEXITSTATUS(status)));
    }
    return Outcome::of(json);
  }

 private:
  [[noreturn]] static void tell(int fd, const Outcome& outcome) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    const std::string text = Json::writeString(builder, outcome.json());
    const bool told = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    // As the application would end: what the library leaves to its unloading is part of the trial.
    exit(told ? 0 : 1);
  }

  const steady_clock::time_point start_;
  pid_t pid_ = -1;
  int fd_ = -1;
  std::string text_;
};

struct Task {
  std::function<Outcome()> work;
  bool waits = false;
  std::function<void(const Outcome&)> done;
};

// Runs them, so many at once.
void run_tasks(std::deque<Task> tasks, const Limits& limits) {
  struct Running {
    Worker worker;
    Task task;
  };
  std::vector<std::unique_ptr<Running>> running;
  const auto count = [&](bool waits) {
    unsigned out = 0;
    for (const auto& each : running) out += each->task.waits == waits ? 1 : 0;
    return out;
  };
  const auto start_next = [&] {
    for (auto task = tasks.begin(); task != tasks.end(); ++task) {
      if (count(task->waits) >= (task->waits ? limits.waiting : limits.working)) continue;
      running.push_back(std::make_unique<Running>(Running{Worker(task->work), std::move(*task)}));
      tasks.erase(task);
      return true;
    }
    return false;
  };
  while (!tasks.empty() || !running.empty()) {
    while (start_next()) {
    }
    std::vector<pollfd> fds;
    for (const auto& each : running) fds.push_back({each->worker.fd(), POLLIN, 0});
    poll(fds.data(), fds.size(), 1000);
    for (size_t i = fds.size(); i-- > 0;) {
      Running& each = *running[i];
      if (each.worker.overdue()) each.worker.end();
      if (fds[i].revents == 0 || !each.worker.read_on()) continue;
      each.task.done(each.worker.outcome());
      running.erase(running.begin() + static_cast<long>(i));
    }
  }
}

std::string folder_of(const Folder& all, const Kind& kind) {
  return all.path() + "/kind-" + std::to_string(&kind - kind_list().data());
}

// The phones, one a kind, as the factory has them before the kind's turn. Returns what went wrong by kind.
std::map<const Kind*, std::string> prepare(const std::vector<Cell>& cells, const Folder& all, const Limits& limits) {
  std::map<const Kind*, std::string> problems;
  std::deque<Task> tasks;
  std::set<const Kind*> kinds;
  for (const Cell& cell : cells) kinds.insert(cell.kind);
  for (const Kind* kind : kinds) {
    const std::string folder = folder_of(all, *kind);
    const auto work = [kind, folder] {
      const std::string problem = prepare_phone(*kind, folder);
      return problem.empty() ? Outcome() : failed("preparation: " + problem);
    };
    tasks.push_back({work, false, [&problems, kind](const Outcome& outcome) {
                       if (!outcome.deviations.empty()) problems[kind] = outcome.deviations[0];
                     }});
  }
  run_tasks(std::move(tasks), limits);
  return problems;
}

Task task_of(const Cell& cell, const Folder& all, size_t number, const Limits& limits, Outcome* out) {
  const std::string from = folder_of(all, *cell.kind);
  const std::string folder = all.path() + "/cell-" + std::to_string(number);
  const auto work = [cell, from, folder, limits] {
    fs::copy(from, folder, fs::copy_options::recursive);
    return run_cell(*cell.kind, *cell.fault, folder, limits.grace_ms);
  };
  const auto done = [folder, out](const Outcome& outcome) {
    *out = outcome;
    Folder::remove(folder);
  };
  return {work, expected_of(*cell.fault, *cell.kind).wait_s > 0, done};
}

}  // namespace

std::vector<Cell> every_cell() {
  std::vector<Cell> out;
  for (const FaultRow& fault : fault_rows()) {
    for (const Kind& kind : kind_list()) {
      if (applies(fault, kind)) out.push_back({&kind, &fault});
    }
  }
  return out;
}

std::vector<Cell> cross_section() {
  constexpr size_t kOneOf = 8;
  std::vector<Cell> quick;
  for (const Cell& cell : every_cell()) {
    if (expected_of(*cell.fault, *cell.kind).wait_s == 0) quick.push_back(cell);
  }
  std::vector<Cell> out;
  std::set<const FaultRow*> seen;
  for (size_t i = 0; i < quick.size(); ++i) {
    if (seen.insert(quick[i].fault).second || i % kOneOf == 0) out.push_back(quick[i]);
  }
  return out;
}

std::vector<Outcome> run_cells(const std::vector<Cell>& cells, const Limits& limits) {
  const Folder all;
  const std::map<const Kind*, std::string> problems = prepare(cells, all, limits);
  std::vector<Outcome> outcomes(cells.size());
  std::deque<Task> tasks;
  for (size_t i = 0; i < cells.size(); ++i) {
    const auto problem = problems.find(cells[i].kind);
    if (problem != problems.end()) {
      outcomes[i] = failed(problem->second);
    } else {
      tasks.push_back(task_of(cells[i], all, i, limits, &outcomes[i]));
    }
  }
  run_tasks(std::move(tasks), limits);
  constexpr int kTries = 3;
  Limits alone = limits;
  alone.working = alone.waiting = 1;
  for (size_t i = 0; i < cells.size(); ++i) {
    for (int tries = 0; tries < kTries && !outcomes[i].timely; ++tries) {
      run_tasks({task_of(cells[i], all, i, alone, &outcomes[i])}, alone);
    }
  }
  return outcomes;
}

}  // namespace fault_matrix
