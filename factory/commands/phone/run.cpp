// `sensorcal run`: runs a plan and hands its record on.
#include "commands/phone/commands.h"
#include "commands/phone/event_stream.h"
#include "commands/phone/teller.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <utility>

#include "cli/terminal.h"
#include "files/json_text.h"
#include "phone/session.h"
#include "record/exit_code.h"
#include "record/record_json.h"
#include "record/run_text.h"
#include "record/why.h"

namespace factory {
namespace {

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

// A step asked for by name that this phone's chip does not have, and nothing else that came to nothing.
bool refused(const record::Run& run) {
  const std::vector<record::Attempt>& attempts = run.steps.back().attempts;
  return std::all_of(run.steps.begin(), run.steps.end() - 1,
                     [](const record::Step& step) { return record::passes(step.outcome); }) &&
         !attempts.empty() && !attempts.back().reasons.empty() &&
         attempts.back().reasons.front().code == record::Why::other_phone.code;
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
int run_on_phone(const Options& options, const plan::Plan& plan, const RunOrder& order, bool single, const Sinks& sinks,
                 const Review& review) {
  Session session(options);
  const std::vector<std::string> remarks = session.fixture().remarks();
  for (const std::string& remark : remarks) {
    if (!options.json) std::cout << "note: " << remark << "\n";
  }
  Teller teller(plan, session, single);
  plan::PlanRun plan_run(session, plan, order, teller);
  const LastWill will(session, [&](const std::string& why) {
    record::Run run = plan_run.abort(why);
    if (!options.json) std::cout << closing_text(run) << std::flush;
    (void)record::delivered("", [&] {
      if (hand_on(session, std::move(run), options, single, sinks, review) == kDiffers) _exit(kDiffers);
    });
  });
  const record::Run record = plan_run.run();
  // What a plan cannot see its check tells.
  for (const std::string& note : plan.notes) {
    if (!options.json && single) std::cout << remark("note: ", note);
  }
  if (!options.json && !single) std::cout << "\n" << steps_text(record) << "\n" << closing_text(record);
  return hand_on(session, record, options, single, sinks, review);
}

// For a program that drives the run: all of it goes through the streams, and the record is the last line.
int run_for_program(Options options, const std::string& file, const RunOrder& order, const Prepare& prepare) {
  const auto stream = std::make_shared<EventStream>();
  try {
    const plan::Plan plan = file == "-" ? stream->take_plan() : plan::load_plan(file);
    if (prepare) options = prepare(options, plan, order);
    options.asker = stream;
    Session session(options);
    plan::PlanRun plan_run(session, plan, order, *stream);
    const auto hand_over = [&](const record::Run& run) {
      const bool whole = record::delivered("", [&] { session.require_logs(); });
      const int code = exit_code(run.outcome, whole);
      stream->told(run, code);
      return code;
    };
    const LastWill will(session, [&](const std::string& why) { (void)hand_over(plan_run.abort(why)); });
    stream->begin(plan, session.log());
    return hand_over(plan_run.run());
  } catch (const AppError& error) {
    stream->refused(error);
    throw;
  }
}

// Beside what says which run it is.
void require_streams_alone(const ArgumentParser& parser, const Options& options) {
  static const std::vector<std::string> kTaken = {"PLAN",        "--serial",   "--station",    "--lot",
                                                  "--retest-of", "--operator", "--on-failure", "--events"};
  std::vector<std::string> named = parser.named();
  if (options.json) named.emplace_back("--json");
  if (!options.record.empty()) named.emplace_back("--record");
  for (const std::string& name : named) {
    if (std::find(kTaken.begin(), kTaken.end(), name) != kTaken.end()) continue;
    throw AppError(kUsage,
                   name +
                       ": with --events nothing is written: the record is the last line on standard output, for "
                       "`sensorcal show` and `sensorcal store import`");
  }
}

}  // namespace

int run_request(const Options& options, const plan::Plan& plan) {
  return run_on_phone(options, plan, {}, true, {}, {});
}

int run_plan(const Options& options, const plan::Plan& plan, const RunOrder& order, const Sinks& sinks,
             const Review& review) {
  for (const auto& sink : sinks) sink->open();
  const int code = run_on_phone(options, plan, order, false, sinks, review);
  bool all = true;
  for (const auto& sink : sinks) all &= sink->close();
  return code == kPassed ? exit_code(record::Outcome::passed, all) : code;
}

Runner set_up_run(ArgumentParser parser, const Sinks& sinks, const Prepare& prepare) {
  auto file = std::make_shared<std::string>();
  auto order = std::make_shared<RunOrder>();
  parser.add_option("PLAN", *file, "plan file (JSON); - with --events: from standard input", {.required = true});
  parser.add_option("--serial", order->serial, "the phone's serial number, for the record");
  parser.add_option("--station", order->station, "name of the station, for the record");
  parser.add_option("--lot", order->lot, "what the phone belongs to, for the record");
  parser.add_option("--retest-of", order->retest_of, "id of the run that this one repeats, for the record");
  parser.add_option("--operator", order->operator_name, "who runs it, for the record");
  auto on_failure = std::make_shared<std::string>();
  parser.add_option("--on-failure", *on_failure,
                    "stop: the first step that does not pass ends the run, whatever the plan says",
                    {.one_of = {"stop"}});
  auto events = std::make_shared<bool>();
  parser.add_flag("--events", *events,
                  "for a program: JSON lines on standard output, an operator's answers on standard input");
  for (const auto& sink : sinks) sink->add_options(parser);
  return [=](const Options& options) {
    if (*events) require_streams_alone(parser, options);
    order->serial = record::serial_number("--serial", order->serial);
    if (!order->retest_of.empty() && !record::is_run_id(order->retest_of))
      throw AppError(kUsage, "--retest-of " + order->retest_of + ": is no id of a run, as its record has it");
    order->stop_on_failure = !on_failure->empty();
    if (!*events && *file == "-") throw AppError(kUsage, "PLAN -: a plan comes on standard input with --events alone");
    if (*events) return run_for_program(options, *file, *order, prepare);
    const plan::Plan plan = plan::load_plan(*file);
    return run_plan(prepare ? prepare(options, plan, *order) : options, plan, *order, sinks);
  };
}

}  // namespace factory
