// `sensorcal run --record` keeps a run, and `sensorcal replay` runs a recorded run's plan over its recording and
// compares the records.
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>

#include "cli/terminal.h"
#include "commands/phone/commands.h"
#include "commands/station/sinks.h"
#include "files/whole_file.h"
#include "files/words.h"
#include "report/file_name.h"
#include "simulator/recording.h"

namespace factory {
namespace {

// Which program recorded, where it is another one; empty where it is not.
std::string other_program(const record::Run& recorded, const record::Run& run) {
  if (recorded.application == run.application && recorded.library == run.library) return "";
  return "recorded with another build, version " + recorded.application.version;
}

void tell(const std::vector<std::string>& different, const std::string& other, bool text) {
  constexpr size_t kMax = 20;
  if (text && !other.empty()) std::cout << "note: " << other << "\n";
  if (different.empty()) {
    if (text) std::cout << "replay: the same record as the recorded one" << std::endl;
    return;
  }
  std::string out = "the replay's record differs from the recorded one in " + counted(different.size(), "place") + ":";
  for (size_t i = 0; i < std::min(kMax, different.size()); ++i) out += "\n  " + different[i];
  complain(out + (different.size() > kMax ? "\n  ..." : ""));
}

bool compare(const std::optional<record::Run>& recorded, const record::Run& run, const std::string& folder, bool text,
             record::Aside* aside) {
  const std::vector<std::string> different =
      recorded ? differences(*recorded, run) : std::vector<std::string>{"the recording is cut off: it has no record"};
  const std::string other = recorded ? other_program(*recorded, run) : "";
  *aside = {"Replay", {"This run is a replay of the recording " + folder + ": no phone was there."}};
  aside->lines.emplace_back(different.empty() ? "Its record is the recorded one."
                                              : "Its record differs from the recorded one:");
  aside->lines.insert(aside->lines.end(), different.begin(), different.end());
  if (!other.empty()) aside->lines.push_back(other);
  tell(different, other, text);
  return different.empty();
}

int replay(const Options& options, const std::string& folder, const Sinks& sinks) {
  Options wanted = options;
  wanted.fixture = "simulated";
  wanted.recording = std::filesystem::absolute(folder).lexically_normal().string();
  const RunHead head = read_head(wanted.recording);
  wanted.speed = head.speed;
  const auto recorded = recorded_record(wanted.recording);
  std::vector<std::string> problems;
  const plan::Plan plan = plan::parse_plan(head.plan_file, head.plan_bytes, &problems);
  if (!problems.empty()) throw AppError(kUsage, "the recorded plan: " + problems.front());
  return run_plan(wanted, plan, head.order, sinks, [&](const record::Run& run, record::Aside* aside) {
    return compare(recorded, run, wanted.recording, !options.json, aside);
  });
}

}  // namespace

Runner set_up_recorded_run(ArgumentParser parser) {
  auto folder = std::make_shared<std::string>();
  const Prepare name_recording = [folder](Options options, const plan::Plan& plan, const RunOrder& order) {
    if (folder->empty()) return options;
    const std::string pattern = std::filesystem::absolute(*folder).lexically_normal().string();
    check_pattern("--record", pattern, true);
    record::Run begun;
    static_cast<record::Order&>(begun) = order;
    begun.plan.name = plan.name;
    begun.started = record::Clock::now();
    options.record = file_name(pattern, begun);
    require_output_folder("--record", options.record);
    return options;
  };
  Runner run = set_up_run(parser, station_sinks(), name_recording);
  parser.add_option("--record", *folder, "records the run in a new folder, for `sensorcal replay`");
  return run;
}

Runner set_up_replay(ArgumentParser parser) {
  auto folder = std::make_shared<std::string>();
  parser.add_option("DIR", *folder, "folder of a recorded run", {.required = true});
  const auto files = std::make_shared<Files>();
  files->add_options(parser);
  return [folder, files](const Options& options) { return replay(options, *folder, {files}); };
}

}  // namespace factory
