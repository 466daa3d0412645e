// `sensorcal store import`: runs from records in files, each once.
#include "store/store.h"

#include <iostream>
#include <memory>

#include "commands/station/commands.h"
#include "commands/station/stored_runs.h"
#include "files/json_text.h"
#include "store/keeper.h"
#include "store/stored_run.h"

namespace factory {
namespace {

struct Arguments {
  std::string uri;
  std::vector<std::string> files;
  bool samples = false;
};

// Every record is read before the first one is stored: a wrong file among them changes nothing.
int import(const CommonOptions& options, const Arguments& a) {
  std::vector<record::Run> runs;
  for (const std::string& file : a.files) {
    runs.push_back(read_record(file));
    if (runs.back().id.empty())
      throw AppError(kUsage,
                     file + ": the record has no id, by which its run is stored once: it was made without a store");
    store::hash_plan(&runs.back());
  }
  return guarded([&] {
    store::Store store{store::parse_uri(a.uri)};
    int stored = 0;
    for (const record::Run& run : runs) stored += store.put(run, a.samples) ? 1 : 0;
    Json::Value out;
    out["stored"] = stored;
    out["were_there"] = static_cast<int>(runs.size()) - stored;
    print_result(options.json, "store-import/1", out,
                 store::count_of_runs(stored) + " stored, " + out["were_there"].asString() + " there already\n");
    return kPassed;
  });
}

}  // namespace

StationRunner set_up_store(ArgumentParser parser) {
  auto arguments = std::make_shared<Arguments>();
  ArgumentParser import_parser = parser.add_subcommand("import", "store the runs of records in files", [] {});
  import_parser.add_option("FILES", arguments->files, "records (JSON), as `run --json` writes them",
                           {.required = true});
  add_store(import_parser, &arguments->uri);
  import_parser.add_flag("--store-samples", arguments->samples, "stores the sample windows, too");
  return [arguments](const CommonOptions& options) { return import(options, *arguments); };
}

}  // namespace factory
