// `sensorcal run`: runs a plan and hands its record on.
#include "commands/run.h"

#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <limits>
#include <memory>
#include <utility>

#include "cli/terminal.h"
#include "commands/commands.h"
#include "files/json_text.h"
#include "phone/session.h"
#include "record/exit_code.h"
#include "record/record_json.h"
#include "run/attempt_text.h"
#include "run/plan_run.h"
#include "run/run_progress.h"
#include "store/keeper.h"
#include "store/plan_hash.h"
#include "store/run_id.h"

namespace factory {
namespace {

struct Arguments : RunOutputs {
  std::string plan;
  plan::RunInfo info;
  std::string store;
  std::string spool;
  bool store_samples = false;
  std::shared_ptr<store::Keeper> keeper;  // null: nothing is stored
  std::string id;                         // of the run, in the store
  std::string record;                     // folder for a recording
  bool single = false;                    // steps asked for by name: their values are shown, and no summary
  Review review;
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

// The record on standard output comes first: it is not lost where a file cannot be written. Returns the exit code.
int hand_on(Session& session, record::Run run, const Options& options, const Arguments& arguments) {
  store::hash_plan(&run);
  if (arguments.keeper) run.id = arguments.id;
  bool all = delivered("the recording: ", [&] { session.fixture().run_ends(run); });
  if (arguments.keeper) all &= delivered("the run was not stored: ", [&] { arguments.keeper->keep(run); });
  if (options.json) std::cout << json_pretty(to_json(run)) << std::endl;
  Aside aside;
  const bool same = !arguments.review || arguments.review(run, &aside);
  all &= write_outputs(run, arguments, aside);
  all &= delivered("", [&] { session.require_logs(); });
  return same ? exit_code(run.outcome, all) : kDiffers;
}

int run_plan(const Options& options, const plan::Plan& plan, Arguments& arguments) {
  Session session(options);
  const std::vector<std::string> remarks = session.fixture().remarks();
  for (const std::string& remark : remarks) {
    if (!options.json) std::cout << "note: " << remark << "\n";
  }
  const plan::RunInfo& info = arguments.info;
  session.fixture().run_begins(
      {plan.file, plan.bytes, info.serial, info.station, info.operator_name, options.speed, info.lot, info.retest_of});
  arguments.info.started = session.now();
  arguments.id = store::make_run_id(arguments.info.started);
  Teller teller(plan, session, !options.json, arguments.single, speed_of(options));
  plan::PlanRun plan_run(session, plan, arguments.info, teller);
  const LastWill will(session, [&](const std::string& why) {
    (void)delivered("", [&] {
      if (hand_on(session, plan_run.abort(why), options, arguments) == kDiffers) _exit(kDiffers);
    });
  });
  plan_run.run();
  const record::Run record = plan_run.record();
  if (!options.json && !arguments.single)
    std::cout << summary_text(plan_run.steps(), plan_run.verdict(), record.seconds);
  return hand_on(session, record, options, arguments);
}

int run(const Options& options, Arguments& arguments) {
  require_places(&arguments);
  arguments.record = absolute(arguments.record);
  const plan::Plan plan = plan::load_plan(arguments.plan);
  Options wanted = options;
  wanted.record = arguments.record;
  return run_plan(wanted, plan, arguments);
}

// The store is opened before the phone is touched; the server has its turn when the run is over and its verdict told.
int stored_run(const Options& options, Arguments arguments) {
  if (!arguments.store.empty())
    arguments.keeper = std::make_shared<store::Keeper>(arguments.store, arguments.spool, arguments.store_samples);
  const int code = run(options, arguments);
  const bool taken = !arguments.keeper || arguments.keeper->bring_up(arguments.id);
  return code == kPassed ? exit_code(record::Outcome::passed, taken) : code;
}

}  // namespace

int run_request(const Options& options, const plan::Plan& plan) {
  Arguments arguments;
  arguments.single = true;
  return run_plan(options, plan, arguments);
}

int run_plan(const Options& options, const plan::Plan& plan, const plan::RunInfo& info, const RunOutputs& outputs,
             const Review& review) {
  Arguments arguments;
  static_cast<RunOutputs&>(arguments) = outputs;
  arguments.info = info;
  arguments.review = review;
  require_places(&arguments);
  return run_plan(options, plan, arguments);
}

Runner set_up_run(ArgumentParser parser) {
  auto arguments = std::make_shared<Arguments>();
  parser.add_option("PLAN", arguments->plan, "plan file (JSON)").required();
  parser.add_option("--serial", arguments->info.serial, "the phone's serial number, for the record");
  parser.add_option("--station", arguments->info.station, "name of the station, for the record");
  parser.add_option("--lot", arguments->info.lot, "what the phone belongs to, for the record");
  parser.add_option("--retest-of", arguments->info.retest_of, "id of the run that this one repeats, for the record");
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

}  // namespace factory
