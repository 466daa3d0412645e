// Where the station's runs go, and what it asks of the store: never on a thread that serves a page or a runner.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "quality/history.h"
#include "quality/watch.h"
#include "record/sink.h"
#include "station/journal.h"
#include "station/settings.h"
#include "store/keeper.h"

namespace factory::station {

class Archive {
 public:
  struct Status {
    int waiting = 0;            // runs that the store does not have yet
    std::string code, problem;  // empty: none
  };

  // `files`: pages and their kin. `changed`: the status is another one; called on a thread of the archive's, which then
  // holds nothing. Throws AppError where what lies at the station cannot be opened.
  Archive(const Settings& settings, std::shared_ptr<record::Sink> files, std::function<void()> changed);
  // What the store does not take now stays on the disk for the next start.
  ~Archive();

  // Any thread, and so are the following. Whether this computer's disk takes runs; the status says why it does not.
  bool has_room();
  // On the disk when they return; where that cannot be, the status says so. `trace`: what is to be kept of a run if
  // nothing more is heard of it.
  void begin(const record::Run& trace);
  // False: the disk did not take it, and it has to be told again.
  bool keep(record::Run run);
  Status status() const;

  // What the store's runs of the last thirty days say now, looked at about every minute; runs that the station before
  // did not end.
  std::vector<store::Alert> alerts() const;

  // All that happened to a phone, the newest first, asked for as long as a scan can wait. Nothing: `why` it could not
  // be asked. Without a store the answer is empty.
  std::optional<std::vector<store::StoredRun>> history(const std::string& serial, std::string* why);

  // This station's runs since then, from the store and the spool; what cannot be asked is left out.
  std::vector<record::Run> runs_since(record::Clock::time_point since);

 private:
  struct Question {
    std::string serial;
    bool answered = false;
    std::optional<std::vector<store::StoredRun>> answer;
    std::string why;
  };

  using Steady = std::chrono::steady_clock;

  void open_journal();
  void write();
  bool deliver();
  void report(const record::Run& run);
  void set_unkept(const std::string& id, const std::string& problem);
  void set_problem(std::string Archive::*which, const std::string& problem);
  void bring_up();
  void look_up();
  void watch();
  void tell(const std::string& problem, int waiting);
  template <typename Ask>
  auto asked(Ask ask) const;

  const Settings& settings_;
  const std::shared_ptr<record::Sink> files_;  // writer_ alone writes them
  std::set<std::string> stored_;               // whose pages could not be made yet; of writer_ alone
  const std::function<void()> changed_;
  std::optional<store::Keeper> keeper_;  // none: nothing is stored. Its own locks
  std::optional<Journal> journal_;       // none: nothing is kept. Files alone
  mutable std::mutex mutex_;
  std::condition_variable work_, news_;
  std::deque<std::shared_ptr<Question>> questions_;  // guarded by mutex_, and so are the following
  Status spooled_;
  std::vector<store::Alert> alerts_, cut_off_;
  std::map<std::string, Steady::time_point> ended_;  // runs that are not stored yet, since when
  std::map<std::string, std::string> unkept_;        // what could not be written to the disk, by run; "": nothing can
  std::string unstored_;                             // what the store did not take, or why it cannot
  std::string unseen_;                               // why it could not be looked at
  bool fresh_ = true;                                // a run ended
  bool brings_ = false;                              // there is something to bring up
  bool leaves_ = false;
  std::thread writer_, courier_, reader_, watcher_;
};

}  // namespace factory::station
