// `sensorcal run` and `sensorcal replay`: run a plan, on a phone or over a recording, and hand its record on.
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <limits>
#include <memory>
#include <utility>

#include "cli/terminal.h"
#include "commands/commands.h"
#include "files/json_text.h"
#include "phone/recording.h"
#include "phone/session.h"
#include "report/report.h"
#include "run/attempt_text.h"
#include "run/plan_run.h"
#include "run/run_progress.h"
#include "store/keeper.h"
#include "store/run_id.h"

namespace factory {
namespace {

struct Arguments {
  std::string plan;
  plan::RunInfo info;
  std::string html;
  std::string junit;
  std::string csv;
  std::string store;
  std::string spool;
  bool store_samples = false;
  std::shared_ptr<store::Keeper> keeper;  // null: nothing is stored
  std::string id;                         // of the run, in the store
  std::string record;                     // folder for a recording
  std::string recording;                  // folder of the one that is replayed
  bool single = false;                    // steps asked for by name: their values are shown, and no summary
};

class Teller : public plan::Observer {
 public:
  Teller(const plan::Plan& plan, Session& session, bool text, bool values, double speed)
      : steps_(plan.step_count()), text_(text), values_(values), progress_(plan, session.log(), speed, true) {}

  void begins(const plan::StepResult& step, int attempt) override {
    progress_.begin(step.index, step.step->name + (attempt > 1 ? ", attempt " + std::to_string(attempt) : ""));
  }
  void warns(const plan::StepResult& step, const std::string& text) override {
    progress_.pause();
    if (text_) std::cout << wrapped(step.step->name + ": " + text, terminal_columns(), "    ") << std::endl;
    progress_.begin(step.index, step.step->name);
  }
  void ended(const plan::StepResult& step, const plan::Attempt& attempt) override {
    progress_.pause();
    if (!text_) return;
    std::cout << attempt_text(step, steps_, attempt) << (values_ ? values_text(attempt) : "") << std::flush;
  }

 private:
  const int steps_;
  const bool text_;
  const bool values_;
  plan::RunProgress progress_;
};

// The last will speaks of the run: it goes before the run does, whatever is thrown.
class LastWill {
 public:
  LastWill(Session& session, std::function<void(const std::string&)> will) : session_(session) {
    session.set_last_will(std::move(will));
  }
  ~LastWill() { session_.set_last_will({}); }
  LastWill(const LastWill&) = delete;
  LastWill& operator=(const LastWill&) = delete;

 private:
  Session& session_;
};

double speed_of(const Options& options) {
  const double speed = std::strtod(options.speed.c_str(), nullptr);
  return speed > 0 ? speed : std::numeric_limits<double>::infinity();
}

// The command leaves for the device root before it writes them.
std::string absolute(const std::string& file) {
  return file.empty() ? "" : std::filesystem::absolute(file).lexically_normal().string();
}

// Which program recorded, where it is another one; empty where it is not.
std::string other_program(const Json::Value& recorded, const Json::Value& record) {
  if (recorded["application"] == record["application"] && recorded["library"] == record["library"]) return "";
  return "recorded with another build, version " + recorded["application"]["version"].asString();
}

// What a replay's page says of it.
Json::Value about_replay(const Arguments& arguments, const std::vector<std::string>& different,
                         const std::string& other) {
  Json::Value out(Json::arrayValue);
  out.append("This run is a replay of the recording " + arguments.recording + ": no phone was there.");
  out.append(different.empty() ? "Its record is the recorded one." : "Its record differs from the recorded one:");
  for (const std::string& line : different) out.append(line);
  if (!other.empty()) out.append(other);
  return out;
}

// False: a replay's record is not the recorded one.
bool tell_replay(const std::vector<std::string>& different, const std::string& other, const Options& options) {
  constexpr size_t kMost = 20;
  if (!options.json && !other.empty()) std::cout << "note: " << other << "\n";
  if (different.empty()) {
    if (!options.json) std::cout << "replay: the same record as the recorded one" << std::endl;
    return true;
  }
  std::cerr << "sensorcal: the replay's record differs from the recorded one in " << different.size()
            << (different.size() == 1 ? " place:\n" : " places:\n");
  for (size_t i = 0; i < std::min(kMost, different.size()); ++i) std::cerr << "  " << different[i] << "\n";
  if (different.size() > kMost) std::cerr << "  ...\n";
  return false;
}

// A run that could not be stored keeps its verdict.
Json::Value kept(Json::Value record, const Arguments& arguments) {
  if (!arguments.keeper) return record;
  record["id"] = arguments.id;
  try {
    arguments.keeper->keep(record);
  } catch (const std::exception& error) {
    std::cerr << "sensorcal: the run was not stored: " << error.what() << "\n";
  }
  return record;
}

// False: it could not be written, which is told. Others are written all the same.
bool write_output(const std::string& file, const Json::Value& record,
                  void (*write)(const Json::Value& record, const std::string& file)) {
  if (file.empty()) return true;
  try {
    write(record, file);
    return true;
  } catch (const std::exception& error) {
    std::cerr << "sensorcal: " << error.what() << "\n";
    return false;
  }
}

// The recording's end, and the record on standard output, come first: they are not lost where a file cannot be written.
// Returns the exit code: the run's own, unless a replay differs or a passed run left a file unwritten.
int hand_on(Session& session, const Json::Value& made, const Options& options, const Arguments& arguments, int code) {
  session.chronicle().end(made);
  const Json::Value record = kept(made, arguments);
  if (options.json) std::cout << json_pretty(record) << std::endl;
  Json::Value page = record;
  std::vector<std::string> different;
  std::string other;
  if (!arguments.recording.empty()) {
    const Json::Value recorded = recorded_record(arguments.recording);
    different = differences(recorded, record);
    other = other_program(recorded, record);
    page["replay"] = about_replay(arguments, different, other);
  }
  const bool written[] = {write_output(arguments.html, page, write_html_report),
                          write_output(arguments.junit, record, write_junit),
                          write_output(arguments.csv, record, write_csv)};
  const bool all = std::all_of(std::begin(written), std::end(written), [](bool good) { return good; });
  if (!arguments.recording.empty() && !tell_replay(different, other, options)) return kDiffers;
  return code == kPassed && !all ? kUsage : code;
}

int exit_code(plan::PlanRun& run) {
  if (run.refused()) return kUsage;
  switch (run.verdict()) {
    case plan::Outcome::aborted:
      return kInterrupted;
    case plan::Outcome::passed:
      return kPassed;
    default:
      return run.unreachable() ? kUnreachable : kFailed;
  }
}

int run_plan(const Options& options, const plan::Plan& plan, Arguments arguments) {
  Session session(options);
  const std::vector<std::string> remarks = session.fixture().remarks();
  for (const std::string& remark : remarks) {
    if (!options.json) std::cout << "note: " << remark << "\n";
  }
  arguments.info.started = session.now();
  arguments.id = store::make_run_id(arguments.info.started);
  Teller teller(plan, session, !options.json, arguments.single, speed_of(options));
  plan::PlanRun plan_run(session, plan, arguments.info, teller);
  const LastWill will(session, [&](const std::string& why) {
    const int end = why.empty() ? kInterrupted : kUnreachable;
    try {
      const int code = hand_on(session, plan_run.abort(why), options, arguments, end);
      if (code != end) _exit(code);
    } catch (const std::exception& error) {
      std::cerr << "sensorcal: " << error.what() << "\n";
    }
  });
  plan_run.run();
  const Json::Value record = plan_run.record();
  if (!options.json && !arguments.single)
    std::cout << summary_text(plan_run.steps(), plan_run.verdict(), record["seconds"].asDouble());
  return hand_on(session, record, options, arguments, exit_code(plan_run));
}

Json::Value for_people(const Options& options) {
  Json::Value out;
  out["speed"] = options.speed;
  const std::pair<const char*, const std::vector<std::string>*> kLists[] = {
      {"world", &options.world}, {"replay", &options.replay}, {"fault", &options.fault}};
  for (const auto& [name, values] : kLists) {
    for (const std::string& value : *values) out[name].append(value);
  }
  return out;
}

void make_absolute(Arguments* arguments) {
  for (std::string* file : {&arguments->html, &arguments->junit, &arguments->csv, &arguments->record}) {
    *file = absolute(*file);
  }
}

// What can be known before the phone is touched.
void require_places(const Arguments& arguments) {
  namespace fs = std::filesystem;
  const std::pair<const char*, const std::string*> kFiles[] = {{"--html", &arguments.html},
                                                               {"--junit", &arguments.junit}};
  for (const auto& [option, file] : kFiles) {
    if (file->empty()) continue;
    const std::string named = std::string(option) + " " + *file + ": ";
    if (fs::is_directory(*file)) throw AppError(kUsage, named + "is a folder");
    const fs::path folder = fs::path(*file).parent_path();
    if (!fs::is_directory(folder)) throw AppError(kUsage, named + folder.string() + " is no folder");
  }
  if (!arguments.csv.empty() && fs::exists(arguments.csv) && !fs::is_directory(arguments.csv))
    throw AppError(kUsage, "--csv " + arguments.csv + ": is no folder");
}

int run(const Options& options, Arguments arguments) {
  make_absolute(&arguments);
  require_places(arguments);
  const plan::Plan plan = plan::load_plan(arguments.plan);
  Options wanted = options;
  wanted.record = arguments.record;
  if (!arguments.record.empty()) {
    require_understood(wanted);
    begin_recording(arguments.record, {plan.file, plan.bytes, arguments.info.serial, arguments.info.station,
                                       arguments.info.operator_name, for_people(options)});
  }
  return run_plan(wanted, plan, arguments);
}

int replay(const Options& options, Arguments arguments) {
  if (!options.profile.empty() || options.seed || !options.world.empty() || !options.replay.empty() ||
      !options.fault.empty() || !options.max_equal.empty())
    throw AppError(kUsage, "replay: phone, world and faults are the recorded ones and cannot be chosen");
  make_absolute(&arguments);
  require_places(arguments);
  arguments.recording = absolute(arguments.recording);
  const RecordedRun recorded = read_recording(arguments.recording);
  std::vector<std::string> problems;
  const plan::Plan plan = plan::parse_plan(recorded.plan_file, recorded.plan_bytes, &problems);
  if (!problems.empty()) throw AppError(kUsage, "the recorded plan: " + problems.front());
  arguments.info.serial = recorded.serial;
  arguments.info.station = recorded.station;
  arguments.info.operator_name = recorded.operator_name;
  Options wanted = options;
  wanted.fixture = "simulated";
  wanted.recording = arguments.recording;
  return run_plan(wanted, plan, arguments);
}

void add_outputs(ArgumentParser parser, Arguments* arguments) {
  parser.add_option("--html", arguments->html, "writes the report page to a file");
  parser.add_option("--junit", arguments->junit, "writes the result as JUnit's XML to a file");
  parser.add_option("--csv", arguments->csv, "writes measurements and samples as CSV files to a folder");
}

// The store is opened before the phone is touched; the server has its turn when the run is over and its verdict told.
int stored_run(const Options& options, Arguments arguments) {
  if (!arguments.store.empty())
    arguments.keeper = std::make_shared<store::Keeper>(arguments.store, arguments.spool, arguments.store_samples);
  const int code = run(options, arguments);
  if (arguments.keeper) arguments.keeper->bring_up();
  return code;
}

}  // namespace

int run_request(const Options& options, const plan::Plan& plan) {
  Arguments arguments;
  arguments.single = true;
  return run_plan(options, plan, arguments);
}

Runner set_up_run(ArgumentParser parser) {
  auto arguments = std::make_shared<Arguments>();
  parser.add_option("PLAN", arguments->plan, "plan file (JSON)").required();
  parser.add_option("--serial", arguments->info.serial, "the phone's serial number, for the record");
  parser.add_option("--station", arguments->info.station, "name of the station, for the record");
  parser.add_option("--operator", arguments->info.operator_name, "who runs it, for the record");
  parser
      .add_option("--store", arguments->store, "keeps the run in a file, sqlite:FILE, or on a server, postgresql://...")
      .envname("SENSORCAL_STORE");
  parser.add_option("--spool", arguments->spool,
                    "with a server: the file in which runs wait for it (default: in the user's state folder)");
  parser.add_flag("--store-samples", arguments->store_samples, "stores the sample windows, too");
  add_outputs(parser, arguments.get());
  parser.add_option("--record", arguments->record, "records the run in a new folder, for `sensorcal replay`");
  return [arguments](const Options& options) { return stored_run(options, *arguments); };
}

Runner set_up_replay(ArgumentParser parser) {
  auto arguments = std::make_shared<Arguments>();
  parser.add_option("DIR", arguments->recording, "folder of a recorded run").required();
  add_outputs(parser, arguments.get());
  return [arguments](const Options& options) { return replay(options, *arguments); };
}

}  // namespace factory
