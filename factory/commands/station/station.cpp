// `sensorcal station`: the page that operators pass phones with.
#include "station/station.h"

#include <malloc.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>
#include <memory>

#include "commands/station/commands.h"
#include "commands/station/sinks.h"
#include "files/app_error.h"
#include "files/words.h"
#include "station/embedded.h"
#include "station/web.h"

namespace factory {
namespace {

namespace fs = std::filesystem;

struct Arguments {
  std::string file;
  bool check = false;
};

station::Settings settings_of(const std::string& file) {
  std::error_code ignored;
  const fs::path folder = fs::absolute(file.empty() ? "x" : file).parent_path();
  std::vector<std::string> problems;
  const station::Settings settings = station::read_settings(
      file,
      {fs::read_symlink("/proc/self/exe", ignored).string(), (folder / "phones").string(), station::page_languages()},
      &problems);
  if (!problems.empty()) throw AppError(kUsage, joined(problems, "\n"));
  return settings;
}

std::shared_ptr<record::Sink> files_of(const station::Settings& settings) {
  for (const std::string& name : {settings.html, settings.junit, settings.csv}) {
    std::error_code told_by_whoever_writes;
    if (!name.empty()) fs::create_directories(fs::path(name).parent_path(), told_by_whoever_writes);
  }
  if ((settings.html + settings.junit + settings.csv).empty()) return nullptr;
  auto files = std::make_shared<Files>(settings.html, settings.junit, settings.csv);
  files->open();
  return files;
}

// Ctrl-C, or whoever manages the station's computer.
sigset_t ends() {
  sigset_t out;
  sigemptyset(&out);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&out, signal);
  return out;
}

int serve(const station::Settings& settings) {
  const sigset_t wanted = ends();
  pthread_sigmask(SIG_BLOCK, &wanted, nullptr);  // of all threads that begin from here on
  signal(SIGPIPE, SIG_IGN);
  mallopt(M_ARENA_MAX, 2);  // one for each of many threads would hold on to what records took, for months
  station::Station station(settings, files_of(settings));
  {
    const station::Web web(&station, settings);
    std::cout << "station " << settings.station << " is at " << web.address() << std::endl;
    for (const timespec second{1, 0}; sigtimedwait(&wanted, nullptr, &second) < 0;) station.look_at_clock();
    station.close();
  }
  return kPassed;
}

}  // namespace

StationRunner set_up_station(ArgumentParser parser) {
  auto arguments = std::make_shared<Arguments>();
  parser.add_option("SETTINGS", arguments->file, "the station's settings (JSON); without them one simulated phone");
  parser.add_flag("--check", arguments->check, "only says what is wrong with the settings");
  return [arguments](const CommonOptions& /*options*/) {
    const station::Settings settings = settings_of(arguments->file);
    if (!arguments->check) return serve(settings);
    std::cout << "station " << settings.station << ": no problem was found" << std::endl;
    return static_cast<int>(kPassed);
  };
}

}  // namespace factory
