// `sensorcal stats --watch`: what a store's runs begin to say is told while it happens, each once.
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <iostream>
#include <mutex>
#include <set>
#include <thread>

#include "cli/terminal.h"
#include "commands/station/stored_runs.h"
#include "files/json_text.h"
#include "station/child.h"
#include "store/spool.h"

namespace factory {
namespace {

void add_spool(const WatchArguments& a, const std::string& uri, std::vector<store::Alert>* alerts) {
  const store::Uri server = store::parse_uri(uri);
  if (a.spool.empty() && !server.postgresql) return;  // nothing waits for a file
  const std::string file = a.spool.empty() ? store::default_spool(server) : a.spool;
  if (!std::filesystem::exists(file)) return;  // nor does anything before the first run
  const int waiting = store::Spool(file).waiting();
  if (waiting < a.waiting) return;
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  alerts->push_back({"spool",
                     file,
                     std::to_string(waiting) + " runs wait in " + file + " for the store",
                     {},
                     std::chrono::duration_cast<std::chrono::milliseconds>(now).count()});
}

// Calls the user's command beside the watch, for one alert after the other. The command is the user's own text, and has
// what runs say on its standard input alone.
class AlertCommand {
 public:
  explicit AlertCommand(std::string command) : command_(std::move(command)) {
    if (command_.empty()) return;
    // Threads that begin from here on leave these to the one that waits for them.
    sigemptyset(&ends_);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&ends_, signal);
    pthread_sigmask(SIG_BLOCK, &ends_, nullptr);
    std::thread([this] { work(); }).detach();  // quiet_ is its end, for whoever of the others comes to wait for it
    ender_ = std::thread([this] { wait_for_signal(); });
  }
  // What waits is still called for, each in its time.
  ~AlertCommand() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      done_ = true;
    }
    if (!ender_.joinable()) return;
    changed_.notify_all();
    wait_until_quiet();
    ended_ = true;
    ender_.join();
  }

  void call(const std::string& line) {
    if (command_.empty()) return;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (waiting_.size() == kMostWaiting) return complain(name() + ": is too slow, and does not get this alert");
      waiting_.push_back(line);
    }
    changed_.notify_all();
  }

 private:
  static constexpr size_t kMostWaiting = 100;
  static constexpr std::chrono::seconds kPatience{60};  // with one call

  std::string name() const { return "--on-alert " + command_; }

  void work() {
    for (;;) {
      std::unique_lock<std::mutex> lock(mutex_);
      changed_.wait(lock, [this] { return !waiting_.empty() || done_; });
      if (waiting_.empty() || interrupted_) break;
      const std::string line = waiting_.front();
      waiting_.pop_front();
      lock.unlock();
      try {
        run(line);
      } catch (const AppError& error) {
        complain(name() + ": " + error.what());
      }
    }
    quiet_ = true;
  }

  void run(std::string unsaid) {
    station::Child child({{"sh", "-c", command_}, ".", ""});
    const auto late = station::Child::Clock::now() + kPatience;
    while (child.exchange(-1, &unsaid, [](const std::string& /*line*/) { return true; })) {
      if (interrupted_) return;  // and so does the command
      // Its input ends now, and it itself where it takes longer.
      if (unsaid.empty() || station::Child::Clock::now() > late) child.end("", kPatience);
    }
    const station::RunnerEnd end = child.ended();
    if (end.code == 0 && end.why.text.empty()) return;
    const std::string seconds = std::to_string(kPatience.count()) + " s";
    complain(name() + ": " +
             (end.why.text.empty()             ? "ended with " + std::to_string(end.code)
              : end.why.code == "runner-hangs" ? "had not ended after " + seconds + ", and was made to"
                                               : end.why.text) +
             (end.last_words.empty() ? "" : ": " + end.last_words));
  }

  // Ctrl-C ends the command before the program.
  void wait_for_signal() {
    for (const timespec moment{0, 50000000}; sigtimedwait(&ends_, nullptr, &moment) < 0;) {
      if (ended_) return;
    }
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      done_ = interrupted_ = true;
    }
    changed_.notify_all();
    wait_until_quiet();
    complain("interrupted");
    _exit(kInterrupted);
  }

  void wait_until_quiet() const {
    while (!quiet_) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }

  const std::string command_;
  sigset_t ends_{};
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::string> waiting_;
  bool done_ = false;
  std::atomic<bool> interrupted_ = false;
  std::atomic<bool> quiet_ = false;  // nothing is called any more
  std::atomic<bool> ended_ = false;
  std::thread ender_;
};

void tell(const store::Alert& alert, bool json, AlertCommand* command) {
  Json::Value document = to_json(alert);
  document["schema"] = "sensorcal.alert/1";
  const std::string line = json_line(document) + "\n";
  std::cout << (json ? line : to_text(alert)) << std::flush;
  command->call(line);
}

}  // namespace

void WatchArguments::add_options(ArgumentParser parser) {
  parser.add_flag("--watch", wanted, "tells what goes wrong in the store's runs while it happens, each once",
                  {.excludes = "--html"});
  parser.add_option("--every", every_s,
                    "with --watch: seconds between two looks; 0: looks once, ends with 1 if something stands",
                    {.shows_default = true, .needs = "--watch", .low = 0, .high = 86400});
  parser.add_option("--on-alert", command, "with --watch: a command that gets each alert as JSON on its standard input",
                    {.needs = "--watch"});
  parser.add_option("--spool", spool, "with --watch: the file in which runs wait (default: of a server the usual one)",
                    {.needs = "--watch"});
  parser.add_option("--waiting", waiting, "with --watch: so many runs in the spool are too many",
                    {.shows_default = true, .needs = "--watch", .low = 1});
}

int watch_store(const CommonOptions& options, const WatchArguments& a, const std::string& uri, store::Filter filter,
                const store::Choices& choices) {
  if (!a.spool.empty() && !std::filesystem::exists(a.spool))
    throw AppError(kUsage, "--spool " + a.spool + ": there is no such file");
  AlertCommand command(a.command);
  std::set<std::pair<std::string, std::string>> told;
  std::string away;
  for (bool first = true;; first = false) {
    std::vector<store::Alert> alerts;
    try {
      const auto database = opened_store(uri);
      if (first) require_known(database.get(), &filter);
      alerts = standing_alerts(database.get(), filter, choices);
      away.clear();
    } catch (const store::AwayError& error) {
      if (first) throw;
      if (away != error.what()) complain(away = error.what());
    }
    add_spool(a, uri, &alerts);
    std::set<std::pair<std::string, std::string>> standing;
    for (const store::Alert& alert : alerts) {
      standing.emplace(alert.kind, alert.about);
      if (!told.contains({alert.kind, alert.about})) tell(alert, options.json, &command);
    }
    // While the server is away nothing is known to be over.
    away.empty() ? told.swap(standing) : told.merge(standing);
    if (a.every_s <= 0) return alerts.empty() ? kPassed : kFailed;
    std::this_thread::sleep_for(std::chrono::duration<double>(a.every_s));
  }
}

}  // namespace factory
