// A run for a program that drives it: told on standard output as it goes, one JSON object a line, and its operator
// asked the same way (docs/formats/run-events.md). Standard input holds the plan, where it is to, and the answers; at
// its end the run is ended as by Ctrl-C, so that a lost cable leaves nothing running.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "files/json_text.h"
#include "phone/log_tap.h"
#include "run/plan_run.h"

namespace factory {

class EventStream : public plan::Observer, public Asker {
 public:
  ~EventStream() override;

  // The first line of standard input: {"file": NAME, "plan": TEXT, "id": of the run, where it is given one}. Throws
  // AppError(kUsage).
  plan::Plan take_plan();
  // From here on answers are read, and samples told: at most ten a second.
  void begin(const plan::Plan& plan, const LogTap& tap);
  // The last line, either of them.
  void told(record::Run run, int code);
  void refused(const AppError& error);

  void begins(const record::Step& step, int attempt) override;
  void takes(const record::Step& step, const plan::Taking& taking) override;
  void warns(const record::Step& step, const std::string& text) override;
  void ended(const record::Step& step, const record::Attempt& attempt) override;
  Answer ask(const Fixture::Settings& settings, const std::vector<std::string>& instructions,
             const std::atomic<bool>& interrupted) override;

 private:
  void say(const char* event, std::initializer_list<JsonMember> fields);
  void tell(const char* event, Json::Value fields);
  bool read_line(std::string* line);
  void listen();
  void take_answer(const std::string& line);
  void look(const LogTap& tap);

  int steps_ = 0;
  std::string id_;       // that the record is to have
  std::string unread_;   // of standard input; the listening thread's, once there is one, and so is the following
  size_t searched_ = 0;  // so much of it has no line feed
  std::mutex out_;
  std::mutex mutex_;
  std::condition_variable answered_;
  int prompt_ = 0;      // guarded by mutex_, the number of the last one; and so are the following
  bool waits_ = false;  // the prompt's answer is still to come
  Answer answer_ = Answer::done;
  int step_ = 0;  // 0: none is under way
  std::string tag_;
  plan::Taking taking_;
  std::atomic<bool> done_{false};
  std::thread listener_;
  std::thread looker_;
};

}  // namespace factory
