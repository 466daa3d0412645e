// Calibrates many simulated phones and looks for one that passed, failed or kept a value where it should not.
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <mutex>
#include <set>
#include <thread>

#include "files/json_text.h"
#include "tally.h"

namespace acceptance {
namespace {

struct Arguments {
  uint64_t phones = 10000;
  uint64_t seed = 1;
  unsigned processes = 2;
  bool json = false;
  bool quiet = false;
  bool each = false;
  std::string read;
  std::vector<std::string> faults;
};

// In memory where there is such a file system: a phone writes its hub's store at every change, and waits for the disk.
std::filesystem::path working_folder() {
  constexpr char kInMemory[] = "/dev/shm";
  const bool usable = access(kInMemory, W_OK | X_OK) == 0;
  std::string name =
      ((usable ? std::filesystem::path(kInMemory) : std::filesystem::temp_directory_path()) / "acceptance-XXXXXX")
          .string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error(name + ": cannot be made");
  return name;
}

// A process has one phone at a time: several of them share the work, each taking the next number. Ends the process.
[[noreturn]] void work(const Arguments& arguments, unsigned part, const std::string& folder, int out,
                       std::atomic<uint64_t>* next) {
  std::FILE* const pipe = fdopen(out, "w");
  for (uint64_t i = (*next)++; i < arguments.phones; i = (*next)++) {
    const Verdict verdict = try_phone(make_case(arguments.seed, i), folder + "/" + std::to_string(part));
    fprintf(pipe, "%s\n", factory::json_line(to_json(verdict)).c_str());
    fflush(pipe);
  }
  fclose(pipe);
  _exit(0);
}

class Run {
 public:
  explicit Run(const Arguments& arguments) : arguments_(arguments), folder_(working_folder()) {
    for (uint64_t i = 0; i < arguments.phones; ++i) missing_.insert(i);
  }
  ~Run() { std::filesystem::remove_all(folder_); }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  // All processes start before the first thread does.
  const Tally& go() {
    void* const shared =
        mmap(nullptr, sizeof(std::atomic<uint64_t>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) throw std::runtime_error("no shared memory");
    auto* const next = new (shared) std::atomic<uint64_t>(0);
    std::vector<std::FILE*> pipes;
    for (unsigned part = 0; part < arguments_.processes; ++part) {
      int ends[2];
      if (pipe(ends) != 0) throw std::runtime_error("no pipe");
      const pid_t child = fork();
      if (child < 0) throw std::runtime_error("no process");
      if (child == 0) work(arguments_, part, folder_, ends[1], next);
      close(ends[1]);
      children_.push_back(child);
      pipes.push_back(fdopen(ends[0], "r"));
    }
    std::vector<std::thread> readers;
    for (std::FILE* pipe : pipes) readers.emplace_back([this, pipe] { read(pipe); });
    for (std::thread& reader : readers) reader.join();
    for (const pid_t child : children_) waitpid(child, nullptr, 0);
    for (const uint64_t number : missing_) tally_.add_lost(make_case(arguments_.seed, number));
    return tally_;
  }

 private:
  void read(std::FILE* pipe) {
    char* line = nullptr;
    size_t size = 0;
    while (getline(&line, &size, pipe) > 0) {
      Json::Value json;
      if (!Json::Reader().parse(line, json)) continue;
      take(from_json(json));
    }
    free(line);
    fclose(pipe);
  }
  void take(const Verdict& verdict) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const Case phone = make_case(arguments_.seed, verdict.number);
    tally_.add(phone, verdict);
    missing_.erase(verdict.number);
    if (arguments_.each) {
      fprintf(stderr, "%6.2f s  %s  %s\n", verdict.seconds, verdict.passed ? "passed" : "failed", phone.text().c_str());
    }
    if (arguments_.quiet) return;
    for (const std::string& miss : verdict.misses) std::cerr << phone.text() << ": " << miss << "\n";
    if (tally_.phones() % 500 == 0) std::cerr << tally_.phones() << " phones, " << tally_.misses() << " misses\n";
  }

  const Arguments arguments_;
  const std::string folder_;
  std::vector<pid_t> children_;
  std::mutex mutex_;
  Tally tally_;                 // guarded by mutex_
  std::set<uint64_t> missing_;  // guarded by mutex_
};

// What the phone's hub holds, and how far its fresh samples are off.
int read_phone(const Arguments& arguments) {
  Verdict verdict;
  verdict.residuals = measure_residuals(arguments.read, arguments.faults);
  std::erase_if(verdict.residuals, [](const Residual& residual) { return !residual.stored; });
  Json::Value out = to_json(verdict)["residuals"];
  for (Json::Value& residual : out) residual["stored"] = true;
  std::cout << factory::json_line(out) << std::endl;
  return 0;
}

int run(const Arguments& arguments) {
  const auto start = std::chrono::steady_clock::now();
  Run run(arguments);
  const Tally& tally = run.go();
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (arguments.json) {
    Json::Value json = tally.json();
    json["seed"] = Json::UInt64{arguments.seed};
    json["seconds"] = seconds;
    std::cout << factory::json_pretty(json) << std::endl;
  } else {
    std::cout << tally.text() << arguments.phones << " phones from seed " << arguments.seed << " in "
              << static_cast<int>(seconds) << " s" << std::endl;
  }
  return tally.misses() == 0 && tally.residuals_hold() && tally.phones() == arguments.phones ? 0 : 1;
}

}  // namespace
}  // namespace acceptance

int main(int argc, char** argv) {
  acceptance::Arguments arguments;
  CLI::App app("Calibrates simulated phones, good, flawed and moved ones, and reports every wrong outcome.");
  app.add_option("--phones", arguments.phones, "how many")->capture_default_str();
  app.add_option("--seed", arguments.seed, "of the first one; the others follow")->capture_default_str();
  app.add_option("--processes", arguments.processes, "that share the work")
      ->check(CLI::Range(1, 64))
      ->capture_default_str();
  app.add_flag("--json", arguments.json, "the result as JSON");
  app.add_flag("--quiet", arguments.quiet, "no progress");
  app.add_flag("--each", arguments.each, "a line for each phone");
  app.add_option("--read", arguments.read, "reads the phone in this folder instead");
  app.add_option("--fault", arguments.faults, "a fault of that phone");
  CLI11_PARSE(app, argc, argv);
  try {
    return arguments.read.empty() ? acceptance::run(arguments) : acceptance::read_phone(arguments);
  } catch (const std::exception& error) {
    std::cerr << "acceptance: " << error.what() << "\n";
    return 2;
  }
}
