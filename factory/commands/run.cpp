// `sensorcal run`: runs a plan and hands its record on.
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <limits>
#include <memory>

#include "commands/commands.h"
#include "json_text.h"
#include "plan/attempt_text.h"
#include "plan/plan_run.h"
#include "plan/run_progress.h"
#include "report/report.h"
#include "session.h"
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
};

class Teller : public plan::Observer {
 public:
  Teller(const plan::Plan& plan, Session& session, bool text, double speed)
      : steps_(plan.step_count()), text_(text), progress_(plan, session.log(), speed, true) {}

  void begins(const plan::StepResult& step, int attempt) override {
    progress_.begin(step.index, step.step->name + (attempt > 1 ? ", attempt " + std::to_string(attempt) : ""));
  }
  void warns(const plan::StepResult& step, const std::string& text) override {
    progress_.pause();
    if (text_) std::cout << step.step->name << ": " << text << std::endl;
    progress_.begin(step.index, step.step->name);
  }
  void ended(const plan::StepResult& step, const plan::Attempt& attempt) override {
    progress_.pause();
    if (text_) std::cout << attempt_text(step, steps_, attempt) << std::flush;
  }

 private:
  const int steps_;
  const bool text_;
  plan::RunProgress progress_;
};

// The last will speaks of the run: it goes before the run does, whatever is thrown.
class LastWill {
 public:
  LastWill(Session& session, std::function<void()> will) : session_(session) { session.set_last_will(std::move(will)); }
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

// The record on standard output comes first: it is not lost where a file cannot be written.
void hand_on(const Json::Value& made, const Options& options, const Arguments& arguments) {
  const Json::Value record = kept(made, arguments);
  if (options.json) std::cout << json_pretty(record) << std::endl;
  if (!arguments.html.empty()) write_html_report(record, arguments.html);
  if (!arguments.junit.empty()) write_junit(record, arguments.junit);
  if (!arguments.csv.empty()) write_csv(record, arguments.csv);
}

int exit_code(plan::PlanRun& run) {
  switch (run.verdict()) {
    case plan::Outcome::aborted:
      return kInterrupted;
    case plan::Outcome::passed:
      return kPassed;
    default:
      return run.unreachable() ? kUnreachable : kFailed;
  }
}

int run(const Options& options, Arguments arguments) {
  arguments.html = absolute(arguments.html);
  arguments.junit = absolute(arguments.junit);
  arguments.csv = absolute(arguments.csv);
  const plan::Plan plan = plan::load_plan(arguments.plan);
  Session session(options);
  session.require_ready();
  if (!options.json) {
    for (const std::string& remark : session.fixture().remarks()) std::cout << "note: " << remark << "\n";
  }
  arguments.info.started = plan::Clock::now();
  arguments.id = store::make_run_id(arguments.info.started);
  Teller teller(plan, session, !options.json, speed_of(options));
  plan::PlanRun plan_run(session, plan, arguments.info, teller);
  const LastWill will(session, [&] {
    try {
      hand_on(plan_run.abort(), options, arguments);
    } catch (const std::exception& error) {
      std::cerr << "sensorcal: " << error.what() << "\n";
    }
  });
  plan_run.run();
  const Json::Value record = plan_run.record();
  if (!options.json) std::cout << summary_text(plan_run.steps(), plan_run.verdict(), record["seconds"].asDouble());
  hand_on(record, options, arguments);
  return exit_code(plan_run);
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

Runner set_up_run(CLI::App& app) {
  auto arguments = std::make_shared<Arguments>();
  app.add_option("PLAN", arguments->plan, "plan file (JSON)")->required();
  app.add_option("--serial", arguments->info.serial, "the phone's serial number, for the record");
  app.add_option("--station", arguments->info.station, "name of the station, for the record");
  app.add_option("--operator", arguments->info.operator_name, "who runs it, for the record");
  app.add_option("--store", arguments->store, "keeps the run in a file, sqlite:FILE, or on a server, postgresql://...")
      ->envname("SENSORCAL_STORE");
  app.add_option("--spool", arguments->spool,
                 "with a server: the file in which runs wait for it (default: in the user's state folder)");
  app.add_flag("--store-samples", arguments->store_samples, "stores the sample windows, too");
  app.add_option("--html", arguments->html, "writes the report page to a file");
  app.add_option("--junit", arguments->junit, "writes the result as JUnit's XML to a file");
  app.add_option("--csv", arguments->csv, "writes measurements and samples as CSV files to a folder");
  return [arguments](const Options& options) { return stored_run(options, *arguments); };
}

}  // namespace factory
