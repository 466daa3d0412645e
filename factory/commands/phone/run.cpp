// `sensorcal run`: runs a plan and hands its record on.
#include "commands/phone/run.h"

#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <limits>
#include <memory>
#include <utility>

#include "cli/terminal.h"
#include "files/json_text.h"
#include "phone/session.h"
#include "record/exit_code.h"
#include "record/record_json.h"
#include "record/why.h"
#include "run/attempt_text.h"
#include "run/run_progress.h"

namespace factory {
namespace {

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

// Of the step under way when the run was ended: why, and whether its old values are back.
std::string reasons_text(const record::Run& run) {
  std::string out;
  for (const record::Step& step : run.steps) {
    if (step.outcome != record::Outcome::error || step.attempts.empty()) continue;
    for (const record::Text& reason : step.attempts.back().reasons) out += "  why: " + reason.text + "\n";
  }
  return out;
}

// A step asked for by name that this phone's chip does not have.
bool refused(const record::Run& run) {
  const std::vector<record::Attempt>& attempts = run.steps.back().attempts;
  return !attempts.empty() && !attempts.back().reasons.empty() &&
         attempts.back().reasons.front().code == code_of(record::Why::other_phone);
}

// The record on standard output comes first: it is not lost where a file cannot be written. Returns the exit code.
int hand_on(Session& session, record::Run run, const Options& options, bool single, const Sinks& sinks,
            const Review& review) {
  bool all = true;
  for (const auto& sink : sinks) all &= sink->keep(&run);
  all &= record::delivered("the recording: ", [&] { session.fixture().run_ends(run); });
  if (options.json) std::cout << json_pretty(to_json(run)) << std::endl;
  record::Aside aside;
  const bool same = !review || review(run, &aside);
  for (const auto& sink : sinks) all &= sink->write(run, aside);
  all &= record::delivered("", [&] { session.require_logs(); });
  if (single && refused(run)) return kUsage;
  return same ? exit_code(run.outcome, all) : kDiffers;
}

// `single`: steps asked for by name, whose values are shown, and no summary.
int run_on_phone(const Options& options, const plan::Plan& plan, plan::RunInfo info, bool single, const Sinks& sinks,
                 const Review& review) {
  Session session(options);
  const std::vector<std::string> remarks = session.fixture().remarks();
  for (const std::string& remark : remarks) {
    if (!options.json) std::cout << "note: " << remark << "\n";
  }
  session.fixture().run_begins(
      {plan.file, plan.bytes, info.serial, info.station, info.operator_name, options.speed, info.lot, info.retest_of});
  info.started = session.now();
  Teller teller(plan, session, !options.json, single, speed_of(options));
  plan::PlanRun plan_run(session, plan, info, teller);
  const LastWill will(session, [&](const std::string& why) {
    record::Run run = plan_run.abort(why);
    if (!options.json && !why.empty()) std::cout << reasons_text(run) << std::flush;
    (void)record::delivered("", [&] {
      if (hand_on(session, std::move(run), options, single, sinks, review) == kDiffers) _exit(kDiffers);
    });
  });
  plan_run.run();
  const record::Run record = plan_run.record();
  if (!options.json && !single) std::cout << summary_text(plan_run.steps(), plan_run.verdict(), record.seconds);
  return hand_on(session, record, options, single, sinks, review);
}

}  // namespace

int run_request(const Options& options, const plan::Plan& plan) {
  return run_on_phone(options, plan, {}, true, {}, {});
}

int run_plan(const Options& options, const plan::Plan& plan, const plan::RunInfo& info, const Sinks& sinks,
             const Review& review) {
  for (const auto& sink : sinks) sink->open();
  const int code = run_on_phone(options, plan, info, false, sinks, review);
  bool all = true;
  for (const auto& sink : sinks) all &= sink->close();
  return code == kPassed ? exit_code(record::Outcome::passed, all) : code;
}

Runner set_up_run(ArgumentParser parser, const Sinks& sinks) {
  auto file = std::make_shared<std::string>();
  auto info = std::make_shared<plan::RunInfo>();
  parser.add_option("PLAN", *file, "plan file (JSON)").required();
  parser.add_option("--serial", info->serial, "the phone's serial number, for the record");
  parser.add_option("--station", info->station, "name of the station, for the record");
  parser.add_option("--lot", info->lot, "what the phone belongs to, for the record");
  parser.add_option("--retest-of", info->retest_of, "id of the run that this one repeats, for the record");
  parser.add_option("--operator", info->operator_name, "who runs it, for the record");
  for (const auto& sink : sinks) sink->add_options(parser);
  return [=](const Options& options) { return run_plan(options, plan::load_plan(*file), *info, sinks); };
}

}  // namespace factory
