// Runs a plan: its steps in order, groups with their attempts, and an end in good order after Ctrl-C.
#pragma once

#include <deque>
#include <list>
#include <string>
#include <vector>

#include "run/step_run.h"

namespace factory::plan {

// Is told how the run goes.
class Observer {
 public:
  virtual ~Observer() = default;
  virtual void begins(const record::Step& /*step*/, int /*attempt*/) {}
  virtual void takes(const record::Step& /*step*/, const Taking& /*taking*/) {}
  virtual void warns(const record::Step& /*step*/, const std::string& /*text*/) {}
  virtual void ended(const record::Step& /*step*/, const Attempt& /*attempt*/) {}
};

class PlanRun {
 public:
  // Throws AppError(kUsage) where the plan is for other phones.
  PlanRun(Session& session, const Plan& plan, const RunOrder& order, Observer& observer);
  ~PlanRun();

  // Gives the run's record.
  record::Run run();

  // For the watcher of interruptions, on its thread: puts back what the calibration under way may have changed, and
  // gives the record of an aborted run, or of one that could not go on where `why` says so.
  record::Run abort(const std::string& why);

 private:
  // An attempt under way.
  struct Running {
    Running(PlanRun& plan_run, const Step& of, record::Step* whose, int number, Clock::time_point started);
    const Step& step;
    record::Step* const result;
    Attempt attempt;
    StepRun run;
    Attempt left;  // guarded by mutex_: log and messages up to where others went on
    int attempts_left = 0;
  };
  void refuse(Reason missing);
  bool run_block(const Block& block, size_t first);
  enum class Round { passed, failed, lost };  // lost: another one could not pass
  Round run_round(const Block& block, size_t first);
  void begin_looks(const Block& block, size_t first, size_t at);
  void run_step(const Step& step, record::Step* result, int attempts, bool may_leave);
  bool poll(const Running& asked);
  void go_on(const Step* next);
  void count(const Step& step, const record::Step& result);
  void hold_against_calibrations(const Step& step, Attempt* attempt);
  void take_messages(Attempt* attempt);
  void enter(const record::Step& step, int attempt);
  void end(std::list<Running>::iterator running);
  void keep(record::Step* result, Attempt attempt, const Fixture::Settings& world);
  Outcome verdict() const;
  record::Run record(Outcome verdict);

  Session& session_;
  const Plan& plan_;
  const bool stop_on_failure_;
  Observer& observer_;
  UnderWay under_way_;
  std::deque<Look> looks_;  // of the steps ahead, in their order; those that nobody took go off with them
  Round round_ = Round::passed;
  bool stops_ = false;  // a step of this round ends its block
  std::mutex mutex_;
  record::Run run_;             // as far as it is; its steps and world are changed with mutex_ held
  std::list<Running> running_;  // so is this: the calibrations whose fresh samples still come, then the step under way
  const record::Step* asked_ = nullptr;  // guarded by mutex_: the step that what comes from the phone belongs to
  std::mutex hub_mutex_;
  std::vector<HubMessage> messages_;  // guarded by hub_mutex_
};

}  // namespace factory::plan
