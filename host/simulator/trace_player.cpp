// Answers from a trace, with no phone behind it.
#include <fcntl.h>
#include <host/device_root.h>
#include <host/property_store.h>
#include <sys/mman.h>
#include <unistd.h>

#include <filesystem>
#include <mutex>

#include "files/json_text.h"
#include "files/scratch_folder.h"
#include "files/whole_file.h"
#include "simulator/recording.h"
#include "simulator/trace.h"
#include "simulator/trace_words.h"

namespace factory::trace {
namespace {

namespace fs = std::filesystem;

// A copy of a recorded device root to work on.
class ScratchRoot {
 public:
  // `unwritable`: paths of files that no program may write. Throws AppError.
  ScratchRoot(const std::string& recorded, const std::vector<std::string>& unwritable)
      : folder_(fs::temp_directory_path(), "sensorcal-replay") {
    const auto held = hold_scratch_folders();
    try {
      fs::copy(recorded, path(), fs::copy_options::recursive | fs::copy_options::copy_symlinks);
      for (const std::string& file : unwritable) make_unwritable(path() + file);
    } catch (const std::exception& error) {
      close_all();
      throw AppError(kUsage, reason_of(error));
    }
  }

  ~ScratchRoot() { close_all(); }
  ScratchRoot(const ScratchRoot&) = delete;
  ScratchRoot& operator=(const ScratchRoot&) = delete;

  const std::string& path() const { return folder_.path(); }

 private:
  // A sealed copy in memory behind a link: no process can write it, whoever it is.
  void make_unwritable(const std::string& path) {
    const std::string bytes = read_file(path, SIZE_MAX).value_or("");
    const int fd = memfd_create("unwritable", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    descriptors_.push_back(fd);
    if (fd < 0 || write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()) ||
        fcntl(fd, F_ADD_SEALS, F_SEAL_WRITE | F_SEAL_GROW | F_SEAL_SHRINK) != 0)
      throw AppError(kUnreachable, path + ": cannot be made unwritable here");
    fs::remove(path);
    fs::create_symlink("/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(fd), path);
  }

  void close_all() {
    for (const int fd : descriptors_) close(fd);
  }

  const ScratchFolder folder_;
  std::vector<int> descriptors_;
};

// A run that asks for what was not recorded ends the process with kDiffers.
class Player : public Trace {
 public:
  // Takes the process's device root and properties. Throws AppError.
  explicit Player(const std::string& folder)
      : folder_(folder),
        recorded_(read_trace(folder + kTraceFile)),
        attempt_(attempt_key(0, 0)),
        where_("before its first step"),
        scratch_(folder + "/root", texts_from(recorded_.head["unwritable"])) {
    if (!recorded_record(folder) && recorded_.cut.empty())
      recorded_.cut = "it has no record: the run was killed, or is under way";
    if (!recorded_.on.empty() && recorded_.cut.empty()) recorded_.cut = "a sensor is still on at its last line";
    host::open_properties("");
    const Json::Value& properties = recorded_.head["properties"];
    for (const std::string& name : properties.getMemberNames()) host::force_property(name, properties[name].asString());
    host::set_device_root(scratch_.path());
  }

  ~Player() override {
    host::set_device_root("");
    host::open_properties("");
  }

  const std::string& device_root() const { return scratch_.path(); }

  void attempt_begins(int step, int attempt, const std::string& name) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    attempt_ = attempt_key(step, attempt);
    where_ = "in step " + std::to_string(step) + " (" + name + "), attempt " + std::to_string(attempt);
  }

  // Nothing is to be put back: there is no phone.
  void interrupted() override { leave_process(kInterrupted, "\ninterrupted\n"); }

  Json::Value ask(const std::string& name, const Json::Value& of,
                  const std::function<Json::Value()>& /*real*/) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::deque<Json::Value>& answers = recorded_.answers[key(attempt_, name, of)];
    if (!answers.empty()) {
      Json::Value answer = answers.front();
      // How often is looked for a service that does not come is chance.
      if (name != kFind || answers.size() > 1) answers.pop_front();
      return answer;
    }
    // Who switches off what is off already changes nothing.
    if (name == kDisable) return Json::Value(Json::objectValue);
    leave("it asks for what was not recorded there, " + name + (of.isNull() ? "" : " " + json_line(of)));
  }

  std::vector<SensorEvent> events(int enabling) override { return recorded_.events[enabling]; }

  // Once every sensor that was on where a recording was cut off has delivered, only time-outs could follow.
  void delivered(int enabling) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (recorded_.cut.empty() || recorded_.on.erase(enabling) == 0 || !recorded_.on.empty()) return;
    leave("nothing more was recorded");
  }

 private:
  [[noreturn]] void leave(const std::string& why) {
    constexpr size_t kMax = 600;
    const std::string cut = recorded_.cut.empty() ? "" : "; the recording is cut off: " + recorded_.cut;
    leave_process(kDiffers, "\nsensorcal: " + folder_ + ": the replay leaves its recording " + where_ + ": " +
                                why.substr(0, kMax) + cut + "\n");
  }

  const std::string folder_;
  std::mutex mutex_;
  Recorded recorded_;  // its answers are guarded by mutex_, and so are the following
  std::string attempt_;
  std::string where_;
  ScratchRoot scratch_;
};

}  // namespace
}  // namespace factory::trace

namespace factory {

std::unique_ptr<Fixture> replay_fixture(const std::string& folder) {
  auto player = std::make_unique<trace::Player>(folder);
  const std::string root = player->device_root();
  return trace::traced_fixture(std::move(player), nullptr, root);
}

}  // namespace factory
