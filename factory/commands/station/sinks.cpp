#include "commands/station/sinks.h"

#include <filesystem>
#include <functional>
#include <optional>

#include "cli/argument_parser.h"
#include "cli/terminal.h"
#include "files/whole_file.h"
#include "record/exit_code.h"
#include "report/file_name.h"
#include "report/report.h"
#include "store/keeper.h"
#include "store/run_id.h"
#include "store/stored_run.h"

namespace factory {
namespace {

namespace fs = std::filesystem;
using record::delivered;

// The store is opened before the phone is touched; the server has its turn when the run is over and its verdict told.
class RunStore : public record::Sink {
 public:
  void add_options(ArgumentParser parser) override {
    parser.add_option("--store", uri_, "keeps the run in a file, sqlite:FILE, or on a server, postgresql://...",
                      {.envname = "SENSORCAL_STORE"});
    parser.add_option("--spool", spool_,
                      "with a server: the file in which runs wait for it (default: in the user's state folder)",
                      {.needs = "--store"});
    parser.add_flag("--store-samples", samples_, "stores the sample windows, too", {.needs = "--store"});
  }
  void open() override {
    if (!uri_.empty()) keeper_.emplace(uri_, spool_, samples_);
  }
  bool keep(record::Run* run) override {
    run->id = id_ = store::make_run_id(run->started);
    if (!keeper_ || delivered("the run was not stored: ", [&] { keeper_->keep(*run); })) return true;
    delivered("nor was its record kept: ", [&] { complain(store::save_unstored(*run)); });
    return false;
  }
  bool write(const record::Run& /*run*/, const record::Aside& /*aside*/) override { return true; }
  bool close() override { return !keeper_ || keeper_->bring_up(id_); }

 private:
  std::string uri_;
  std::string spool_;
  bool samples_ = false;
  std::string id_;
  std::optional<store::Keeper> keeper_;  // none: nothing is stored
};

// A name without anything of the run is used again and again. What the file held is gone then, and that is told: whose
// it was stands behind `title`.
bool write_anew(const std::string& option, const std::string& file, const std::string& title,
                const std::function<void()>& write) {
  std::error_code ignored;
  const auto old = fs::is_regular_file(file, ignored) ? read_file(file) : std::nullopt;
  if (!delivered(option + " ", write)) return false;
  if (!old || old->empty() || old == read_file(file)) return true;
  const size_t found = old->find(title);
  const size_t begin = found + title.size();
  const std::string whose =
      found == std::string::npos ? "" : old->substr(begin, old->find_first_of("<\"", begin) - begin);
  complain(file + ": what it held" + (whose.empty() ? "" : " (" + whose + ")") +
           " is replaced; {serial}-{started} in its name keeps both");
  return true;
}

}  // namespace

void Files::add_options(ArgumentParser parser) {
  const std::string named = "; {serial}, {started}, {plan} and {verdict} in its name are the run's";
  parser.add_option("--html", html_, "writes the report page to a file" + named);
  parser.add_option("--junit", junit_, "writes the result as JUnit's XML to a file" + named);
  parser.add_option("--csv", csv_, "writes measurements and samples as CSV files to a folder without any yet" + named);
}

void Files::open() {
  const struct {
    const char* option;
    std::string* file;
    const char* begin;
  } kFiles[] = {{"--html", &html_, "<!DOCTYPE html>"}, {"--junit", &junit_, "<?xml"}, {"--csv", &csv_, nullptr}};
  for (const auto& [option, file, begin] : kFiles) {
    if (file->empty()) continue;
    *file = fs::absolute(*file).lexically_normal().string();
    check_pattern(option, *file);
    if (is_pattern(fs::path(*file).parent_path()))
      throw AppError(kUsage, std::string(option) + " " + *file + ": only the last part may be made from the run");
    begin != nullptr ? require_output(option, *file, begin) : require_output_folder(option, *file);
  }
  if (!csv_.empty()) require_no_csv(csv_);
}

bool Files::keep(record::Run* run) {
  store::hash_plan(run);
  return true;
}

bool Files::write(const record::Run& run, const record::Aside& aside) {
  const std::string html = file_name(html_, run);
  const std::string xml = file_name(junit_, run);
  const bool page = html.empty() || write_anew("--html", html, "<title>", [&] { write_html_report(run, html, aside); });
  const bool junit =
      xml.empty() || write_anew("--junit", xml, "name=\"serial\" value=\"", [&] { write_junit(run, xml); });
  const bool csv = csv_.empty() || delivered("", [&] { write_csv(run, file_name(csv_, run)); });
  return page && junit && csv;
}

std::vector<std::shared_ptr<record::Sink>> station_sinks() {
  return {std::make_shared<RunStore>(), std::make_shared<Files>()};
}

}  // namespace factory
