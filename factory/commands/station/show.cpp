// `sensorcal show`: a run's pages and files from its record, from a file, a pipe or a store.
#include <iostream>
#include <memory>

#include "commands/station/commands.h"
#include "commands/station/sinks.h"
#include "commands/station/stored_runs.h"
#include "files/json_text.h"
#include "quality/stats_view.h"
#include "record/exit_code.h"
#include "record/record_json.h"

namespace factory {
namespace {

struct Arguments {
  std::string what;
  std::string store;
  Files files;
};

record::Run from_store(const std::string& uri, const std::string& id) {
  return guarded([&] {
    const auto database = opened_store(uri);
    auto found = store::stored_run(database.get(), id);
    if (!found) throw AppError(kUsage, "the store has no run " + id);
    return std::move(found->run);
  });
}

int show(const CommonOptions& options, Arguments arguments) {
  if (arguments.store.empty() && record::is_run_id(arguments.what))
    throw AppError(kUsage, arguments.what + ": a run's id is looked up in a store; say which one with --store");
  arguments.files.open();
  record::Aside aside;
  record::Run run;
  if (arguments.store.empty()) {
    run = read_record(arguments.what);
    arguments.files.keep(&run);
  } else {
    run = from_store(arguments.store, arguments.what);
    aside = {"Not kept", store::not_kept(run)};
  }
  if (options.json) {
    std::cout << json_pretty(store::valid(to_json(run))) << std::endl;
  } else {
    std::cout << run_text(run, true) << std::flush;
  }
  return exit_code(record::Outcome::passed, arguments.files.write(run, aside));
}

}  // namespace

StationRunner set_up_show(ArgumentParser parser) {
  auto arguments = std::make_shared<Arguments>();
  parser.add_option("RECORD", arguments->what, "the record's file, - for standard input; with --store a run's id",
                    {.required = true});
  arguments->files.add_options(parser);
  parser.add_option("--store", arguments->store, "the store that has the run: a file, sqlite:FILE or postgresql://...");
  return [arguments](const CommonOptions& options) { return show(options, *arguments); };
}

}  // namespace factory
