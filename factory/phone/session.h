// An opened phone with the calibration object on it: what every command that needs a phone works with.
#pragma once

#include <SensorCalibration.h>
#include <json/json.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "files/line_file.h"
#include "phone/fixture.h"
#include "phone/log_tap.h"
#include "phone/options.h"
#include "phone/services.h"
#include "record/why.h"

namespace factory {

// What helps where a service is missing.
inline constexpr char kTryAgain[] = "Start it or reboot the phone, then repeat";
inline constexpr char kLookAtServices[] = "look whether the phone's sensor stack runs, then repeat";
inline const record::Reason kNotListed{record::Why::sensor_absent, "the phone lists no such sensor",
                                       "look at `sensorcal sensors`"};

class Session {
 public:
  // Opens the phone, listens to its log and hub, sets the world. Throws AppError.
  explicit Session(const Options& options);
  ~Session();

  // The calibration object; throws AppError(kUnreachable) where there is none, since a service did not answer.
  SensorCalibration& cal();
  // What the object lacks to be ready; nothing when it is.
  std::optional<record::Reason> missing() const;
  // Throws AppError(kUnreachable) where the object is not ready, saying what is missing.
  void require_ready() const;
  // Whether a service is there now; it may go at any time. Of the sensor service that is the one which the calibration
  // object holds: one that was started again since does not know it.
  bool sensor_service_there() const;
  bool test_service_there() const { return test_service_answers(patience_); }
  Watchdog& watchdog() { return watchdog_; }

  Fixture& fixture() { return *fixture_; }
  // What a JSON document says of the phone: `phone` and `remarks`.
  Json::Value document();
  // The wall clock as it was when it was first asked for, and what went by since: a label that no step of the clock
  // changes.
  std::chrono::system_clock::time_point now() { return at(std::chrono::steady_clock::now()); }
  // The same of another moment.
  std::chrono::system_clock::time_point at(std::chrono::steady_clock::time_point moment);
  struct Clocks {
    std::chrono::duration<double> steady;  // by which durations, limits and orders are told: nobody sets it
    std::chrono::duration<double> wall;    // as it is, which the library's own waits go by
  };
  // Both clocks at one moment.
  Clocks clocks();
  LogTap& log() { return log_; }
  const Options& options() const { return options_; }

  // Throws AppError(kUnreachable) where --log or --hub-log has not all lines so far.
  void require_logs();

  // The listed sensor of a type, null when there is none.
  const ::android::hardware::sensors::V1_0::SensorInfo* sensor(int type) const;
  // Whether it lists that, or the one that the library samples in its place.
  bool can_sample(int type) const;

  // Is told of every hub message too, on the thread that sent it. Set while nothing is sent.
  void on_hub_message(std::function<void(const HubMessage&)> listener);

  // How many messages of this session the hub left without an answer, where the fixture lets us listen. Any thread.
  int lost_messages() const { return lost_messages_; }

  // What the hub refused since it was asked last, of what the library does not tell; where the fixture lets us listen.
  std::string take_refusal();

  // The brightness that the panel is left with when the session ends.
  void restore_brightness_at_end(int brightness);

  // Switches off every sensor that the library may have left on.
  void switch_off();

  // Set once Ctrl-C came: the run under way was woken, and the command is to come to its end.
  const std::atomic<bool>& interrupted() const { return interrupted_; }

  // Once nothing is to be woken any more: from here on Ctrl-C and its kin end the process. Returns whether one came
  // before.
  bool stop_watching();

  // Whoever claims the end brings the command to it. After Ctrl-C the command claims it as soon as the run under way
  // is over; where that takes longer than a person waits, the watcher claims it, runs the last will on its own thread
  // and ends the process. False: the other one has it, and the caller must touch nothing any more.
  bool claim_end() { return !end_claimed_.exchange(true); }
  // Is told why the run ends; empty: a person wants it to.
  void set_last_will(std::function<void(const std::string& why)> last_will);

 private:
  void restore_brightness();
  void watch();
  void interrupt();
  void take(const HubMessage& message);
  [[noreturn]] void leave(const std::string& why);

  // Whoever watches for Ctrl-C and its kin, and for calls that do not come back.
  class Watcher {
   public:
    explicit Watcher(Session& session);
    ~Watcher();

   private:
    Session& session_;
    std::thread thread_;
  };
  enum class Stage { opening, open, over, closing };

  // Ctrl-C and its kin wait for a watcher while it lives, however the opening ends. One watches at a time: that of the
  // opening and of the run, then that of the end, whom nothing but the end of the process is asked for.
  class BlockedSignals {
   public:
    BlockedSignals();
    ~BlockedSignals() { restore(); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;
    void restore() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

   private:
    sigset_t before_;
  };

  BlockedSignals signals_;
  const Options options_;
  std::atomic<Stage> stage_{Stage::opening};
  std::optional<Watcher> watcher_{std::in_place, *this};
  LogTap log_;
  LineFile hub_log_;  // guarded by hub_mutex_
  std::unique_ptr<Fixture> fixture_;
  std::mutex hub_mutex_;
  std::function<void(const HubMessage&)> on_hub_message_;  // guarded by hub_mutex_
  std::string refusal_;                                    // guarded by hub_mutex_
  std::atomic<int> lost_messages_{0};
  std::atomic<long> messages_{0};
  std::mutex will_mutex_;
  std::function<void(const std::string&)> last_will_;  // guarded by will_mutex_
  const std::chrono::milliseconds patience_;           // with a service that does not answer
  std::optional<record::Reason> absent_;               // why there is no calibration object
  std::unique_ptr<SensorCalibration> cal_;
  Watchdog watchdog_;
  std::atomic<int> brightness_at_end_{-1};  // -1: as it is
  std::atomic<bool> interrupted_{false};
  std::atomic<bool> end_claimed_{false};
  std::once_flag first_asked_;
  std::chrono::duration<double> first_wall_{};
  std::chrono::duration<double> first_steady_{};
  int interruptions_ = 0;  // the watcher's
};

// A lost reply reads as zeros, and zero is a good result and a good value: what the hub gave counts only when it
// answers before and after, and each message between. On a phone the messages between cannot be listened to.
class HubWatch {
 public:
  // Asks the hub for the first time.
  explicit HubWatch(Session& session);

  // Whether the hub answered the first time: where it did not, no more is to be asked of it.
  bool answered() const { return first_.empty(); }

  // Asks again. Empty, or why nothing that came since the construction counts.
  std::string problem();

  // The same from `lost` messages without an answer on, for what was done without one of these.
  static std::string problem(Session& session, int lost);

  // Throws AppError(kUnreachable) where there is a problem, with what is not known then.
  void require(const std::string& unknown);

 private:
  Session& session_;
  const Watchdog::Operation operation_;
  int lost_;           // messages without an answer, at the beginning
  std::string first_;  // what was wrong then
};

}  // namespace factory
