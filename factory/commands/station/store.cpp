// `sensorcal store`: runs from files into a store, each once, and out of it again.
#include "store/store.h"

#include <errno.h>
#include <string.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <set>

#include "commands/station/commands.h"
#include "commands/station/stored_runs.h"
#include "files/json_text.h"
#include "files/words.h"
#include "record/exit_code.h"
#include "record/record_json.h"
#include "report/report.h"
#include "store/copy.h"
#include "store/keeper.h"
#include "store/stored_run.h"

namespace factory {
namespace {

namespace fs = std::filesystem;

struct Arguments {
  std::string uri;
  std::vector<std::string> files;
  bool samples = false;
  ChosenRuns runs;
  std::string records, csv, to;  // what is made of them
  bool exports = false;
};

// Many runs as few transactions.
class Batches {
 public:
  Batches(store::Store* store, bool samples) : store_(*store), samples_(samples) {}

  void add(const record::Run& run) {
    waiting_.push_back(run);
    ++given_;
    if (waiting_.size() == kEach) flush();
  }
  void flush() {
    stored_ += store_.put(waiting_, samples_);
    waiting_.clear();
  }
  store::Copied result() const { return {stored_, given_ - stored_}; }

 private:
  static constexpr size_t kEach = 200;

  store::Store& store_;
  const bool samples_;
  std::vector<record::Run> waiting_;
  int stored_ = 0;
  int given_ = 0;
};

// From one store into another: as rows where both are files, else run by run.
store::Copied copy(store::Store* to, store::Database* from, const store::Filter& filter) {
  if (!to->database().postgresql() && !from->postgresql()) return copy_runs(to, from, filter);
  Batches batches(to, true);
  (void)each_run(from, filter, [&](const record::Run& run) { batches.add(run); });
  batches.flush();
  return batches.result();
}

// A record, or one in each line, as `store export` writes them.
std::vector<record::Run> records_of(const std::string& file) {
  std::vector<record::Run> out;
  std::ifstream lines(file);
  std::string line;
  int number = 0;
  Json::Value first;
  if (file == "-" || !std::getline(lines, line) || !parse_json(line, &first) || lines.peek() == EOF) {
    out.push_back(read_record(file));
  } else {
    do {
      ++number;
      if (line.empty()) continue;
      try {
        out.push_back(record::read_run(line));
      } catch (const record::FormatError& error) {
        throw AppError(kUsage, file + ":" + std::to_string(number) + ": " + error.what());
      }
    } while (std::getline(lines, line));
  }
  for (record::Run& run : out) {
    if (run.id.empty())
      throw AppError(kUsage,
                     file + ": the record has no id, by which its run is stored once: it was made without a store");
    store::hash_plan(&run);
  }
  return out;
}

// Every record is read, and every store opened, before the first run is stored: a wrong file among them changes
// nothing.
int import(const CommonOptions& options, const Arguments& a) {
  return guarded([&] {
    std::vector<record::Run> runs;
    std::vector<std::unique_ptr<store::Database>> stores;
    const store::Uri to = store::parse_uri(a.uri);
    std::error_code ignored;
    for (const std::string& given : a.files) {
      const std::string file = fs::is_directory(given) ? given + "/record.json" : given;  // a recorded run
      if (is_store(file)) {
        if (fs::equivalent(file, to.place, ignored))
          throw AppError(kUsage, given + ": the store that the runs are to go into");
        stores.push_back(opened_store(file));
      } else {
        for (record::Run& run : records_of(file)) runs.push_back(std::move(run));
      }
    }
    store::Store store{to};
    // A store has every digit of a run that is in a record, too, and the samples that were asked for.
    store::Copied all;
    const auto add = [&](const store::Copied& more) {
      all.stored += more.stored;
      all.were_there += more.were_there;
    };
    for (const auto& other : stores) add(copy(&store, other.get(), {}));
    Batches records(&store, a.samples);
    for (const record::Run& run : runs) records.add(run);
    records.flush();
    add(records.result());
    print_result(options.json, "store-import/1", json_object({{"stored", all.stored}, {"were_there", all.were_there}}),
                 counted(all.stored, "run") + " stored, " + std::to_string(all.were_there) + " there already\n");
    return kPassed;
  });
}

// A file that is written piece by piece, and stands in its place when it is whole.
class Pieces {
 public:
  explicit Pieces(const std::string& file) : file_(file), part_(file + ".part") {
    if (file.empty()) return;
    out_.open(part_, std::ios::binary | std::ios::trunc);
    if (!out_) throw AppError(kUsage, file + ": cannot be written: " + strerror(errno));
  }
  ~Pieces() {
    std::error_code ignored;
    if (!file_.empty() && !done_) fs::remove(part_, ignored);
  }

  const std::string& part() const { return part_; }
  void add(const std::string& text) { out_ << text; }
  void close() {
    if (file_.empty()) return;
    out_.close();
    std::error_code problem;
    if (out_) fs::rename(part_, file_, problem);
    if (!out_ || problem) throw AppError(kUnreachable, file_ + ": could not be written");
    done_ = true;
  }

 private:
  const std::string file_, part_;
  std::ofstream out_;
  bool done_ = false;
};

int export_runs(const CommonOptions& options, const Arguments& a) {
  store::Filter filter = a.runs.of(options.profile);
  std::set<std::string> places;
  for (const std::string& file : {a.records, a.csv, a.to}) {
    if (!file.empty() && !places.insert(fs::absolute(file).lexically_normal()).second)
      throw AppError(kUsage, "store export: " + file + ": named twice");
    if (!file.empty() && fs::exists(file)) throw AppError(kUsage, "store export: " + file + ": is there already");
  }
  if (places.empty()) throw AppError(kUsage, "store export: wanted: --records FILE, --csv FILE or --to FILE");
  return guarded([&] {
    const auto database = opened_store(a.uri);
    require_known(database.get(), &filter);
    Pieces records(a.records);
    Pieces csv(a.csv);
    csv.add(csv_header());
    Pieces to(a.to);  // an empty file is a store in the making
    std::optional<store::Store> other;
    if (!a.to.empty()) other.emplace(store::parse_uri("sqlite:" + fs::absolute(to.part()).string()));
    long long written = 0;
    if (other) written = copy(&*other, database.get(), filter).stored;
    if (!(a.records + a.csv).empty()) {
      written = each_run(database.get(), filter, [&](const record::Run& run) {
        if (!a.records.empty()) records.add(json_line(to_json(run)) + "\n");
        if (!a.csv.empty()) csv.add(csv_rows(run));
      });
    }
    other.reset();
    to.close();
    records.close();
    csv.close();
    print_result(options.json, "store-export/1", json_object({{"runs", written}}),
                 counted(written, "run") + " written\n");
    return kPassed;
  });
}

}  // namespace

StationRunner set_up_store(ArgumentParser parser) {
  auto arguments = std::make_shared<Arguments>();
  Arguments& a = *arguments;
  ArgumentParser in =
      parser.add_subcommand("import", "store the runs of records, other stores and recorded runs", [] {});
  in.add_option(
      "FILES", a.files,
      "records (JSON), as `run --json` and `store export` write them, stores in files, folders of recorded runs",
      {.required = true});
  add_store(in, &a.uri);
  in.add_flag("--store-samples", a.samples, "stores the sample windows of records, too");
  ArgumentParser out = parser.add_subcommand("export", "write runs of a store to files", [&a] { a.exports = true; });
  add_store(out, &a.uri);
  a.runs.add_options(out);
  out.add_option("--records", a.records, "a record in each line, as far as the store has it");
  out.add_option("--csv", a.csv, "a row for each measurement, as `run --csv` writes them");
  out.add_option("--to", a.to, "a store in a file");
  return [arguments](const CommonOptions& options) {
    return arguments->exports ? export_runs(options, *arguments) : import(options, *arguments);
  };
}

}  // namespace factory
