// `sensorcal stats --watch`: what a store's runs begin to say is told while it happens, each once.
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <iterator>
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

constexpr int kEnds[] = {SIGINT, SIGTERM, SIGHUP};

bool is_to_end() {
  sigset_t pending;
  sigpending(&pending);
  return std::any_of(std::begin(kEnds), std::end(kEnds), [&](int end) { return sigismember(&pending, end) == 1; });
}

void run_command(const std::string& command, std::string unsaid) {
  constexpr std::chrono::seconds kPatience{60};
  station::Child child({{"sh", "-c", command}, ".", ""});
  const auto late = station::Child::Clock::now() + kPatience;
  while (child.exchange(-1, &unsaid, [](const std::string& /*line*/) { return true; })) {
    if (is_to_end()) return;  // and so does the command
    // Its input ends now, and it itself where it takes longer.
    if (unsaid.empty() || station::Child::Clock::now() > late) child.end("", kPatience);
  }
  const station::RunnerEnd end = child.ended();
  if (end.code == 0 && end.why.text.empty()) return;
  const std::string seconds = std::to_string(kPatience.count()) + " s";
  throw AppError(kFailed, (end.why.text.empty()             ? "ended with " + std::to_string(end.code)
                           : end.why.code == "runner-hangs" ? "had not ended after " + seconds + ", and was made to"
                                                            : end.why.text) +
                              (end.last_words.empty() ? "" : ": " + end.last_words));
}

// The command is the user's own text, and has what runs say on its standard input alone. Ctrl-C ends it before the
// program.
void call(const std::string& command, const std::string& line) {
  sigset_t ends;
  sigemptyset(&ends);
  for (const int end : kEnds) sigaddset(&ends, end);
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);
  try {
    run_command(command, line);
  } catch (const AppError& error) {
    complain("--on-alert " + command + ": " + error.what());
  }
  pthread_sigmask(SIG_UNBLOCK, &ends, nullptr);
}

// Returns it as JSON.
std::string tell(const store::Alert& alert, bool json) {
  Json::Value document = to_json(alert);
  document["schema"] = "sensorcal.alert/1";
  const std::string line = json_line(document) + "\n";
  std::cout << (json ? line : to_text(alert)) << std::flush;
  return line;
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
    std::vector<std::string> lines;
    for (const store::Alert& alert : alerts) {
      standing.emplace(alert.kind, alert.about);
      if (!told.contains({alert.kind, alert.about})) lines.push_back(tell(alert, options.json));
    }
    for (const std::string& line : lines) {
      if (!a.command.empty()) call(a.command, line);
    }
    // While the server is away nothing is known to be over.
    away.empty() ? told.swap(standing) : told.merge(standing);
    if (a.every_s <= 0) return alerts.empty() ? kPassed : kFailed;
    std::this_thread::sleep_for(std::chrono::duration<double>(a.every_s));
  }
}

}  // namespace factory
