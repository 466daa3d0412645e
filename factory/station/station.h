// The station: its slots with their runners, who is signed in, the shift. Everything that a page shows is kept here, so
// that a page may come and go. docs/formats/station.md has what goes in and out.
#pragma once

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "station/archive.h"
#include "station/ledger.h"
#include "station/pace.h"
#include "station/policy.h"
#include "station/runner.h"
#include "station/slot.h"

namespace factory::station {

/**
 * Threads: those of the web server call scan(), answer(), stop(), state() and next(); each slot's runner its own hear()
 * and end(); the archive's change(). All of them meet under one mutex, under which nobody waits for anything but the
 * archive's and a runner's own mutexes, which are never held while one of theirs calls here.
 */
class Station {
 public:
  // What was done, or why not.
  struct Done {
    std::string done;  // "signed-in", "selected", "started", "answered"; empty: refused
    std::string slot;
    Refusal refusal;
  };
  // What a listener has seen.
  using Clock = std::chrono::steady_clock;
  struct Seen {
    long version = 0;
    Clock::time_point said;            // when it last was told a state
    std::map<std::string, long> live;  // by slot
  };
  using News = std::vector<std::pair<const char*, std::string>>;  // event and data

  // `files`: the pages of runs; none: nullptr. Throws AppError.
  Station(const Settings& settings, std::shared_ptr<record::Sink> files);
  // Runners end as by Ctrl-C, their records are kept.
  ~Station();

  // What was scanned or typed, for a slot or for none ("").
  Done scan(const std::string& slot, const std::string& text);
  Done answer(const std::string& slot, int run, int prompt, const std::string& answer);
  Done stop(const std::string& slot, int run);

  std::string state();
  // Waits for something that the listener has not seen; nothing after `patience`, or when the station closes.
  News next(Seen* seen, std::chrono::milliseconds patience);
  // To be called now and then: a shift begins unasked, and runs begin to wait.
  void look_at_clock();
  // No listener waits any more.
  void close();
  bool closed() const;

 private:
  // A slot with what belongs to it.
  struct Place {
    explicit Place(const SlotSettings& settings) : slot(settings) {}
    Slot slot;
    bool asks = false;  // a scan waits for the store's answer
    std::string serial_asked;
    std::string remark;
    long live = 0;  // samples so far
    std::unique_ptr<Runner> runner;
  };

  void keep(Place* place, const record::Run& run);
  bool hear(Place* place, const std::string& line);
  void end(Place* place, const RunnerEnd& end);
  void change();
  void change_locked();
  void load();

  std::optional<Done> take_code(const std::string& text);
  Refusal refusal_of(const Place& place, const std::string& serial) const;
  Place* place_of(const std::string& slot);
  void begin(Place* place, Ordered ordered);
  void give(Place* place, const std::string& answer);
  bool has_live(const Seen& seen) const;
  bool golden_due() const;
  std::string make_state();

  const Settings settings_;
  mutable std::mutex mutex_;
  std::condition_variable news_;
  std::vector<std::unique_ptr<Place>> places_;  // the slots in them are guarded by mutex_, and so are the following
  std::string operator_code_;                   // empty: nobody is signed in
  Ledger ledger_;
  Pace pace_;
  int runs_ = 0;
  long version_ = 1;
  long made_version_ = 0;  // of which this is the state:
  std::string made_;
  Clock::time_point made_at_;
  record::Clock::time_point shift_;
  int waiting_ = 0;  // runs, when the clock was looked at last
  bool closed_ = false;
  std::optional<Archive> archive_;  // last: it calls change()
};

}  // namespace factory::station
