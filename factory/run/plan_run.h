// Runs a plan: its steps in order, groups with their attempts, and an end in good order after Ctrl-C.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "run/run_record.h"
#include "run/step_run.h"

namespace factory::plan {

// Is told how the run goes.
class Observer {
 public:
  virtual ~Observer() = default;
  virtual void begins(const StepResult& /*step*/, int /*attempt*/) {}
  virtual void warns(const StepResult& /*step*/, const std::string& /*text*/) {}
  virtual void ended(const StepResult& /*step*/, const Attempt& /*attempt*/) {}
};

// Throws AppError(kUsage) where the plan names the phones that it is for, and this is none of them.
void require_phone(Session& session, const Plan& plan);

class PlanRun {
 public:
  PlanRun(Session& session, const Plan& plan, const RunInfo& info, Observer& observer);
  ~PlanRun();
  PlanRun(const PlanRun&) = delete;
  PlanRun& operator=(const PlanRun&) = delete;

  void run();
  // Aborted where a person ended it, else failed where a step failed, else an error where one could not judge.
  Outcome verdict();
  const std::vector<StepResult>& steps() const { return steps_; }  // once run() is over
  record::Run record();

  // For the watcher of interruptions, on its thread: puts back what the calibration under way may have changed, and
  // gives the record of an aborted run, or of one that could not go on where `why` says so.
  record::Run abort(const std::string& why);

 private:
  void refuse(Reason missing);
  bool run_block(const Block& block, size_t first);
  enum class Round { passed, failed, lost };  // lost: another one could not pass
  Round run_round(const Block& block, size_t first);
  bool run_step(StepResult* result);
  std::vector<record::HubMessage> take_messages();
  void keep(StepResult* result, Attempt attempt);

  Session& session_;
  const Plan& plan_;
  const RunInfo info_;
  Observer& observer_;
  UnderWay under_way_;
  std::mutex mutex_;
  std::vector<StepResult> steps_;  // changed with mutex_ held
  StepResult* current_ = nullptr;  // guarded by mutex_, and so is the following
  Clock::time_point current_started_;
  std::map<std::string, std::string> world_;
  std::mutex hub_mutex_;
  std::vector<HubMessage> messages_;  // guarded by hub_mutex_
};

}  // namespace factory::plan
