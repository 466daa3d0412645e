// Writes the trace of a run while it goes, and the folder around it.
#include <errno.h>
#include <fcntl.h>
#include <host/property_store.h>
#include <string.h>
#include <unistd.h>

#include <filesystem>
#include <mutex>

#include "cli/terminal.h"
#include "files/json_text.h"
#include "files/whole_file.h"
#include "simulator/device_files.h"
#include "simulator/recording.h"
#include "simulator/trace.h"
#include "simulator/trace_words.h"

namespace factory::trace {
namespace {

thread_local bool t_asks = false;

struct Asking {
  Asking() { t_asks = true; }
  ~Asking() { t_asks = false; }
  Asking(const Asking&) = delete;
  Asking& operator=(const Asking&) = delete;
};

class Recorder : public Trace {
 public:
  // Makes the folder, which must be missing or empty. Throws AppError.
  Recorder(std::string folder, const std::string& device_root)
      : folder_(std::move(folder)), attempt_(attempt_key(0, 0)) {
    make_recording(folder_);
    Json::Value head;
    head["format"] = kRecordingFormat;
    try {
      head["unwritable"] = to_json(copy_device_files(device_root, folder_ + "/root"));
    } catch (const std::filesystem::filesystem_error& error) {
      throw AppError(kUsage, "--record " + reason_of(error));
    }
    head["properties"] = Json::Value(Json::objectValue);
    for (const auto& [name, value] : host::all_properties()) head["properties"][name] = value;
    const std::string file = folder_ + kTraceFile;
    fd_ = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0644);
    if (fd_ < 0) throw AppError(kUsage, "--record " + file + ": " + strerror(errno));
    write(std::move(head));
  }

  ~Recorder() override {
    if (fd_ >= 0) close(fd_);
  }

  void run_begins(const RunHead& head) override { write_head(folder_, head); }

  void attempt_begins(int step, int attempt, const std::string& /*name*/) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    attempt_ = attempt_key(step, attempt);
  }

  // A recording that could not be written to its end has no record either.
  void run_ends(const record::Run& record) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (fd_ >= 0) write_record(folder_, record);
  }

  // What the phone does meanwhile, its own questions too, is its own matter.
  Json::Value ask(const std::string& name, const Json::Value& of, const std::function<Json::Value()>& real) override {
    if (t_asks) return real();
    Json::Value line;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      line["attempt"] = attempt_;
    }
    const Json::Value answer = [&] {
      const Asking asking;
      return real();
    }();
    line["ask"] = name;
    if (!of.isNull()) line["of"] = of;
    line["answer"] = answer;
    const std::lock_guard<std::mutex> lock(mutex_);
    write(std::move(line));
    return answer;
  }

  bool asking() const override { return t_asks; }

  void note(int enabling, const SensorEvent& event) override {
    Json::Value line = json_object({{"enabling", enabling}, {"event", to_json(event)}});
    const std::lock_guard<std::mutex> lock(mutex_);
    write(std::move(line));
  }

 private:
  // One write a line: a run that is killed leaves whole ones.
  void write(Json::Value line) {
    if (fd_ < 0) return;
    line["n"] = ++lines_;
    if (write_all(fd_, sealed(json_line(line)) + "\n")) return;
    complain("the recording " + folder_ + " ends here: " + strerror(errno));
    close(fd_);
    fd_ = -1;
  }

  const std::string folder_;
  std::mutex mutex_;
  int fd_ = -1;  // guarded by mutex_, and so are the following
  int lines_ = 0;
  std::string attempt_;  // its key
};

}  // namespace
}  // namespace factory::trace

namespace factory {

std::unique_ptr<Fixture> record_fixture(std::unique_ptr<Fixture> phone, const Options& options) {
  if (options.record.empty()) return phone;
  auto recorder = std::make_unique<trace::Recorder>(options.record, phone->device_root());
  const std::string root = phone->device_root();
  return trace::traced_fixture(std::move(recorder), std::move(phone), root);
}

}  // namespace factory
