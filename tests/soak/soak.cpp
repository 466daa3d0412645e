// Runs plan after plan in one process and looks whether memory or descriptors grow.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>

#include "run/plan_run.h"

namespace {

namespace fs = std::filesystem;
using factory::plan::Outcome;
using factory::plan::Plan;

constexpr int64_t kLargestGrowthKib = 1024;

struct Arguments {
  int plans = 50000;
  int every = 1000;  // a line, and the measure that the growth is counted from
};

// Which plan, on which phone, with which fault.
struct Turn {
  const char* plan;
  const char* profile;
  const char* fault;  // null: a good phone
  bool passes;
};

// Half-way between two looks, so that these see the memory of small plans; each kind once in the first thousand.
constexpr int kWholeEvery = 200;
constexpr Turn kWhole[] = {
    {"reference", "reference", nullptr, true},
    {"normal-proximity", "normal-proximity", nullptr, true},
    {"tof", "tof", nullptr, true},
    {"colour-backlight", "colour-backlight", nullptr, true},
    {"reference", "reference", "motion:Acc,0.5", false},
};
// Of ten plans in a row one each fails by its samples, by its sensor and by its hub.
constexpr Turn kSmall = {"inertial", "reference", nullptr, true};
constexpr Turn kFailing[] = {
    {"inertial", "reference", "motion:Gyr,0.1", false},
    {"inertial", "reference", "enable-refused:Acc2", false},
    {"inertial", "reference", "hub-word:0,0,-1", false},
};

Turn turn_of(int number) {
  if (number % kWholeEvery == kWholeEvery / 2)
    return kWhole[static_cast<size_t>(number / kWholeEvery) % std::size(kWhole)];
  const auto place = static_cast<size_t>(number % 10);
  return place >= 1 && place <= std::size(kFailing) ? kFailing[place - 1] : kSmall;
}

int64_t resident_kib() {
  std::ifstream in("/proc/self/statm");
  int64_t size = 0;
  int64_t resident = 0;
  in >> size >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

int64_t descriptors() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()) - 1;  // the look's own
}

class Soak {
 public:
  explicit Soak(const Arguments& arguments) : arguments_(arguments) {
    constexpr char kInMemory[] = "/dev/shm";
    std::string name =
        ((access(kInMemory, W_OK) == 0 ? fs::path(kInMemory) : fs::temp_directory_path()) / "soak-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error(name + ": cannot be made");
    folder_ = name;
  }
  ~Soak() {
    fs::current_path("/");
    fs::remove_all(folder_);
  }
  Soak(const Soak&) = delete;
  Soak& operator=(const Soak&) = delete;

  int run() {
    printf("%8s %10s %12s %8s\n", "plans", "seconds", "resident KiB", "files");
    for (int i = 1; i <= arguments_.plans; ++i) {
      if (!run_one(turn_of(i))) return 1;
      if (i % arguments_.every == 0) look(i);
    }
    printf(
        "%d plans, %d of them failed as they should; memory grew by %ld KiB (limit %ld), descriptors by %ld (limit "
        "0)\n",
        arguments_.plans, failed_, static_cast<long>(most_kib_ - first_kib_), static_cast<long>(kLargestGrowthKib),
        static_cast<long>(most_files_ - first_files_));
    return most_kib_ - first_kib_ <= kLargestGrowthKib && most_files_ <= first_files_ ? 0 : 1;
  }

 private:
  bool run_one(const Turn& turn) {
    auto plan = plans_.find(turn.plan);
    if (plan == plans_.end()) {
      plan =
          plans_.emplace(turn.plan, factory::plan::load_plan(PROJECT_DIR "/plans/" + std::string(turn.plan) + ".json"))
              .first;
    }
    factory::Options options;
    options.phone = (folder_ / turn.profile).string();
    options.profile = turn.profile;
    options.seed = 7;
    options.speed = "max";
    if (turn.fault != nullptr) options.fault = {turn.fault};
    factory::Session session(options);
    session.require_ready();
    factory::plan::Observer silent;
    factory::plan::PlanRun run(session, plan->second, {}, silent);
    run.run();
    const factory::record::Run record = run.record();  // as the command makes it; kept nowhere
    const bool passed = run.verdict() == Outcome::passed;
    failed_ += passed ? 0 : 1;
    if (passed == turn.passes && !record.steps.empty()) return true;
    printf("plan %s on %s with %s %s\n", turn.plan, turn.profile, turn.fault == nullptr ? "no fault" : turn.fault,
           passed ? "passed" : "failed");
    return false;
  }

  void look(int plans) {
    const int64_t kib = resident_kib();
    const int64_t files = descriptors();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    printf("%8d %10.1f %12ld %8ld\n", plans, seconds, static_cast<long>(kib), static_cast<long>(files));
    fflush(stdout);
    if (first_kib_ == 0) {
      first_kib_ = most_kib_ = kib;
      first_files_ = most_files_ = files;
    }
    most_kib_ = std::max(most_kib_, kib);
    most_files_ = std::max(most_files_, files);
  }

  const Arguments arguments_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  fs::path folder_;
  std::map<std::string, Plan> plans_;
  int failed_ = 0;
  int64_t first_kib_ = 0;
  int64_t most_kib_ = 0;
  int64_t first_files_ = 0;
  int64_t most_files_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  Arguments arguments;
  CLI::App app("Runs many plans in one process and watches its memory and descriptors.");
  app.add_option("PLANS", arguments.plans, "how many")->capture_default_str();
  app.add_option("--every", arguments.every, "plans between two looks; growth counts from the first look")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  CLI11_PARSE(app, argc, argv);
  try {
    return Soak(arguments).run();
  } catch (const std::exception& error) {
    std::cerr << "soak: " << error.what() << "\n";
    return 2;
  }
}
