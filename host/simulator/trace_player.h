// Answers from a trace, with no phone behind it. A run that asks for what was not recorded ends the process with
// kDiffers.
#pragma once

#include <mutex>

#include "simulator/device_files.h"
#include "simulator/trace.h"

namespace factory::trace {

class Player : public Trace {
 public:
  // Takes the process's device root and properties. Throws AppError.
  explicit Player(const std::string& folder);
  ~Player() override;

  const std::string& device_root() const { return scratch_.path(); }

  void attempt_begins(int step, int attempt, const std::string& name) override;
  void interrupted() override;
  Json::Value ask(const std::string& name, const Json::Value& of, const std::function<Json::Value()>& real) override;
  std::vector<SensorEvent> events(int enabling) override;
  void delivered(int enabling) override;

 private:
  [[noreturn]] void end(int code, const std::string& text);
  [[noreturn]] void leave(const std::string& why);

  const std::string folder_;
  std::mutex mutex_;
  Recorded recorded_;  // its answers are guarded by mutex_, and so are the following
  std::string attempt_;
  std::string where_;
  ScratchRoot scratch_;
};

}  // namespace factory::trace
