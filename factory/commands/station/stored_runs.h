// What the commands that look at kept runs share.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "cli/command.h"
#include "files/app_error.h"
#include "files/whole_file.h"
#include "quality/grr_view.h"
#include "quality/history.h"
#include "quality/watch.h"
#include "store/filter.h"

namespace factory {

// What goes wrong with the store ends the command: the server as a service that is away, the rest as a wrong argument.
template <typename Work>
auto guarded(Work work) {
  try {
    return work();
  } catch (const store::AwayError& error) {
    throw AppError(kUnreachable, error.what());
  } catch (const store::StoreError& error) {
    throw AppError(kUsage, error.what());
  }
}

void add_store(ArgumentParser parser, std::string* uri);
std::unique_ptr<store::Database> opened_store(const std::string& uri);

// Which stored runs are meant, as the command line says it.
struct ChosenRuns {
  std::string since, until, verdict;
  std::vector<std::string> golden, known_bad;  // patterns of serial numbers
  store::Filter filter;

  void add_options(ArgumentParser parser);
  void add_measurement(ArgumentParser parser);
  void add_marks(ArgumentParser parser);
  bool any() const {
    return !(since + until + verdict + filter.station + filter.operator_name + filter.plan + filter.plan_version +
             filter.lot + filter.version)
                .empty();
  }
  // With the times read, and of one profile. Throws AppError.
  store::Filter of(const std::string& profile) const;
};

// Whether a file is a database.
inline bool is_store(const std::string& file) { return begins(file, "SQLite format 3"); }

// How `stats --watch` tells what goes wrong.
struct WatchArguments {
  bool wanted = false;
  double every_s = 60;
  std::string command, spool;
  int waiting = 20;

  void add_options(ArgumentParser parser);
};

// Until it is interrupted, or once. Throws AppError, StoreError; AwayError at its first look only.
int watch_store(const CommonOptions& options, const WatchArguments& arguments, const std::string& uri,
                store::Filter filter, const store::Choices& choices);

// From a file, or with "-" from standard input. Throws AppError, which names it.
record::Run read_record(const std::string& file);

// A run's verdict, and what steps came to; with `full` also those that passed at once.
std::string run_text(const record::Run& run, bool full);

// What a study of stations takes and tells, wherever its runs come from.
struct GrrArguments {
  std::string file, next_file, uri, unit, html;
  std::string by;  // empty: as the file has it, and stations of runs
  ChosenRuns runs;
  std::optional<double> low, high;
  double alpha = grr::kUsualAlpha;
  bool full = false;
  bool next = false;   // what to measure next is asked for
  grr::Design design;  // of the study for that; its empty lists are what was measured
};

void add_grr_options(ArgumentParser parser, GrrArguments* arguments);

// Throws AppError where arguments do not go together. `made`: the runs are made for the study.
void require_consistent(const CommonOptions& options, const GrrArguments& arguments, bool made);

// From the file or the store that is asked for. Throws AppError. Returns the exit code, as tell_grr() does.
int run_grr(const CommonOptions& options, const GrrArguments& arguments);

int tell_grr(const grr::SeriesOfRuns& runs, const CommonOptions& options, const GrrArguments& arguments);

}  // namespace factory
