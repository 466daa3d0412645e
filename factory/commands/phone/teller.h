// What a person sees while a plan runs: a line for each attempt as it ends, and one on the terminal in the meantime
// that says which step runs, how far it is and how long it will take, where standard error is a terminal.
#pragma once

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "cli/terminal.h"
#include "phone/session.h"
#include "run/plan_run.h"

namespace factory {

class Teller : public plan::Observer {
 public:
  // `values`: of steps asked for by name, which show what they measured.
  Teller(const plan::Plan& plan, Session& session, bool values);
  ~Teller() override;

  void begins(const record::Step& step, int attempt) override;
  void warns(const record::Step& step, const std::string& text) override;
  void ended(const record::Step& step, const record::Attempt& attempt) override;

 private:
  void pause();  // takes the line away; text may be printed then
  void show();
  double left() const;
  // Why the run started anew, as long as it is news; empty when it is none.
  const std::string& restarted(const LogTap::Counts& counts);

  const LogTap& tap_;
  const bool text_;
  const bool values_;
  bool warned_ = false;
  StatusLine line_{true};
  std::vector<double> seconds_;  // what each step takes without restarts
  std::vector<const plan::Step*> steps_;
  std::mutex mutex_;
  int index_ = 0;  // guarded by mutex_, 0: nothing to show; and so are the following
  std::string name_;
  std::chrono::steady_clock::time_point started_;
  int restarts_ = 0;  // that were told
  std::string restarted_;
  std::chrono::steady_clock::time_point restarted_at_;
  std::atomic<bool> done_{false};
  std::thread thread_;
};

}  // namespace factory
