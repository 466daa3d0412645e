// Writes the trace of a run while it goes, and the folder around it.
#pragma once

#include <mutex>

#include "simulator/trace.h"

namespace factory::trace {

class Recorder : public Trace {
 public:
  // Makes the folder, which must be missing or empty. Throws AppError.
  Recorder(std::string folder, const std::string& device_root, Json::Value options);
  ~Recorder() override;

  void run_begins(const RunHead& head) override;
  void attempt_begins(int step, int attempt, const std::string& name) override;
  void run_ends(const record::Run& record) override;
  Json::Value ask(const std::string& name, const Json::Value& of, const std::function<Json::Value()>& real) override;
  bool asking() const override;
  void note(int enabling, const SensorEvent& event) override;

 private:
  void write(Json::Value line);

  const std::string folder_;
  const Json::Value options_;  // for people
  std::mutex mutex_;
  int fd_ = -1;  // guarded by mutex_, and so are the following
  int lines_ = 0;
  std::string attempt_;  // its key
};

}  // namespace factory::trace
