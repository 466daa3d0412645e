#include "phone/session.h"

#include <cutils/properties.h>
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <utility>

#include "files/json_text.h"
#include "files/scratch_folder.h"
#include "files/words.h"
#include "phone/hub_message.h"
#include "record/record_json.h"
#include "sensors/sensor.h"

namespace factory {
namespace {

using ::android::hardware::sensors::V1_0::SensorInfo;
using record::Reason;
using record::Why;
using ServiceResult = ::android::frameworks::sensorservice::V1_0::Result;

const Reason kNoSensorService{Why::service_gone, "the sensor service does not answer"};
const Reason kNoTestService{Why::hub_silent, "the sensor test service does not answer, so the hub cannot be reached"};

constexpr int kStopWatching = SIGUSR2;

sigset_t watched_signals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  sigaddset(&set, SIGHUP);
  sigaddset(&set, kStopWatching);
  return set;
}

void set_max_equal(const std::string& lux) {
  char* end = nullptr;
  const double value = strtod(lux.c_str(), &end);
  if (*end != '\0' || !(value >= 0 && value <= 1e6))
    throw AppError(kUsage, "--max-equal " + lux + ": give a number of lux from 0 to 1000000");
  if (property_set("sys.backlight.max_equal_spec", lux.c_str()) != 0) {
    throw AppError(kUnreachable, "--max-equal " + lux + ": the property cannot be set");
  }
}

bool operator_sets(const Options& options) {
  return options.fixture.empty() ? !phones_are_simulated() : options.fixture == "operator";
}

const Options& checked(const Options& options) {
  if (options.fixture == "operator" && !options.asker) require_terminal();
  return options;
}

// A moment of a clock as the fixture tells it.
template <typename Clock>
std::chrono::duration<double> told(Fixture& fixture, std::chrono::time_point<Clock> moment) {
  using std::chrono::nanoseconds;
  const auto since = std::chrono::duration_cast<nanoseconds>(moment.time_since_epoch());
  return nanoseconds(fixture.time_ns(since.count()));
}

constexpr char kInterruptedText[] = "\ninterrupted\n";

// One that came too late for this watcher, to who watches next.
void hand_on_signal() { kill(getpid(), SIGINT); }

std::string hub_problem(Session& session) {
  if (!session.test_service_there()) return "the sensor test service is gone";
  // A call that never answers leaves all zeros behind, its own type and code included.
  _ssc_oem_test_msg message{};
  message.sensor_type = sensor_type::accelerometer;
  message.msg_type = oem_test_msg::get_accelerometer_offset;
  session.cal().cal_api->send_ssc_oem_test_msg(&message);
  return message.sensor_type == 0 && message.msg_type == 0 ? "the sensor hub does not answer" : "";
}

}  // namespace

// They go to the watcher alone: no thread that is started from here on takes them.
Session::BlockedSignals::BlockedSignals() {
  const sigset_t set = watched_signals();
  pthread_sigmask(SIG_BLOCK, &set, &before_);
}

Session::Watcher::Watcher(Session& session) : session_(session), thread_([&session] { session.watch(); }) {}

Session::Watcher::~Watcher() {
  session_.stage_ = Stage::over;
  pthread_kill(thread_.native_handle(), kStopWatching);
  thread_.join();
}

Session::Session(const Options& options)
    : options_(checked(options)),
      log_(options.log),
      hub_log_("--hub-log", options.hub_log, "{\"answered\""),
      fixture_(open_fixture(options)),
      patience_(options.speed == "max" ? 0 : 2000) {
  for (const std::string& setting : options_.world) {
    const size_t equals = setting.find('=');
    const std::string problem = fixture_->set_world(setting.substr(0, equals), setting.substr(equals + 1));
    if (!problem.empty()) throw AppError(kUsage, "--world " + setting + ": " + problem);
  }
  if (operator_sets(options_)) {
    fixture_ = ask_operator(std::move(fixture_), options_.asker ? options_.asker : terminal_asker(), interrupted_);
  }
  if (!options_.max_equal.empty()) set_max_equal(options_.max_equal);
  fixture_ = record_fixture(std::move(fixture_), options_);
  fixture_->on_hub_message([this](const HubMessage& message) { take(message); });
  // A process on the phone stands in "/": relative paths of the library are meant from there.
  const std::string root = fixture_->device_root();
  if (chdir(root.c_str()) != 0) throw AppError(kUnreachable, root + ": " + strerror(errno));
  if (!sensor_service_answers(patience_)) {
    absent_ = kNoSensorService;
  } else if (!test_service_there()) {
    absent_ = kNoTestService;
  }
  if (!absent_) cal_ = std::make_unique<SensorCalibration>();
  stage_ = Stage::open;
}

Session::~Session() {
  stop_watching();
  restore_brightness();
  // Whatever hangs from here on, Ctrl-C and its kin end the program.
  stage_ = Stage::closing;
  watcher_.emplace(*this);
  if (cal_) cal_->sensor_cal_deinit();
  cal_.reset();
  fixture_->on_hub_message({});
  fixture_.reset();
}

std::optional<Reason> Session::missing() const {
  if (absent_) return absent_;
  if (cal_->sensor_manager == nullptr) return kNoSensorService;
  // A list that could not be read does not show in initCheck(): the command API alone decides there.
  if (cal_->initCheck() != 0) return kNoTestService;
  if (cal_->sensor_list.size() == 0) return Reason{Why::service_refuses, "the sensor list could not be read"};
  return {};
}

bool Session::sensor_service_there() const {
  if (!cal_ || cal_->sensor_manager == nullptr) return sensor_service_answers(patience_);
  return cal_->sensor_manager
      ->getDefaultSensor(::android::hardware::sensors::V1_0::SensorType::ACCELEROMETER,
                         [](const SensorInfo& /*sensor*/, ServiceResult /*result*/) {})
      .isOk();
}

SensorCalibration& Session::cal() {
  if (!cal_) require_ready();
  return *cal_;
}

void Session::require_ready() const {
  const auto what = missing();
  if (!what) return;
  throw AppError(kUnreachable, what->text + "; is the phone's sensor stack running? " + kTryAgain);
}

const SensorInfo* Session::sensor(int type) const {
  if (!cal_) return nullptr;
  for (const SensorInfo& info : cal_->sensor_list) {
    if (static_cast<int>(info.type) == type) return &info;
  }
  return nullptr;
}

bool Session::can_sample(int type) const {
  const Sensor* known = sensor_of(type);
  const Sensor* sampled = known == nullptr ? nullptr : sensor_of(known->verified_type);
  return sensor(type) != nullptr ||
         (sampled != nullptr && sampled->record >= 0 && cal_ && record_of(*cal_, *known).present != 0);
}

Json::Value Session::document() {
  Json::Value out;
  for (const auto& [name, value] : fixture_->facts()) out["phone"][name == "phone" ? "directory" : name] = value;
  out["remarks"] = json_list(fixture_->remarks());
  return out;
}

void Session::require_logs() {
  log_.require_whole();
  const std::lock_guard<std::mutex> lock(hub_mutex_);
  hub_log_.require_whole();
}

void Session::on_hub_message(std::function<void(const HubMessage&)> listener) {
  const std::lock_guard<std::mutex> lock(hub_mutex_);
  on_hub_message_ = std::move(listener);
}

void Session::set_last_will(std::function<void(const std::string&)> last_will) {
  const std::lock_guard<std::mutex> lock(will_mutex_);
  last_will_ = std::move(last_will);
}

void Session::take(const HubMessage& message) {
  const std::lock_guard<std::mutex> lock(hub_mutex_);
  ++messages_;
  if (!message.answered) ++lost_messages_;
  if (refusal_.empty()) refusal_ = refusal(message);
  if (on_hub_message_) on_hub_message_(message);
  if (hub_log_.there()) hub_log_.write(json_line(record::to_json(decoded(message))));
}

std::string Session::take_refusal() {
  const std::lock_guard<std::mutex> lock(hub_mutex_);
  return std::exchange(refusal_, {});
}

void Session::restore_brightness_at_end(int brightness) { brightness_at_end_ = brightness; }

void Session::restore_brightness() {
  if (cal_ && brightness_at_end_ >= 0) (void)cal_->SetBrightness(brightness_at_end_);
}

std::chrono::system_clock::time_point Session::at(std::chrono::steady_clock::time_point moment) {
  using Clock = std::chrono::system_clock;
  std::call_once(first_asked_, [this] {
    first_wall_ = told(*fixture_, Clock::now());
    first_steady_ = told(*fixture_, std::chrono::steady_clock::now());
  });
  return Clock::time_point(
      std::chrono::duration_cast<Clock::duration>(first_wall_ + told(*fixture_, moment) - first_steady_));
}

Session::Clocks Session::clocks() {
  constexpr std::chrono::milliseconds kMoment(20);
  for (;;) {
    const auto steady = std::chrono::steady_clock::now();
    const auto wall = std::chrono::system_clock::now();
    // A thread that is held up between the two would find a step of the wall clock.
    if (std::chrono::steady_clock::now() - steady < kMoment) return {told(*fixture_, steady), told(*fixture_, wall)};
  }
}

void Session::switch_off() {
  if (!cal_ || cal_->event_queue == nullptr) return;
  for (const SensorInfo& info : cal_->sensor_list) (void)cal_->event_queue->disableSensor(info.sensorHandle).isOk();
}

bool Session::stop_watching() {
  watcher_.reset();
  return interrupted_;
}

void Session::watch() {
  const sigset_t set = watched_signals();
  constexpr timespec kLook{0, 100000000};
  for (;;) {
    const int signal = sigtimedwait(&set, nullptr, &kLook);
    const bool asked = signal > 0 && signal != kStopWatching;
    if (stage_ == Stage::over) {
      if (asked) hand_on_signal();
      return;
    }
    if (stage_ == Stage::open && cal_ && watchdog_.overdue()) pthread_cond_broadcast(&cal_->cal_cond);
    if (stage_ != Stage::open) {
      if (asked) leave_process(kInterrupted, kInterruptedText);  // whatever is waited for
    } else if (asked) {
      interrupt();
    } else if (const std::string why = watchdog_.hang(log_.lines() + messages_); !why.empty() && claim_end()) {
      leave(why);
    }
  }
}

// Any wake-up ends a run's wait. What does not end within the time a person notices is left where it stands: the
// process goes, with its sensors off.
void Session::interrupt() {
  interrupted_ = true;
  fixture_->interrupted();
  constexpr int kWakeUps = 10;
  for (int i = 0; cal_ && i < kWakeUps && stage_ == Stage::open && !end_claimed_; ++i) {
    // Without its mutex, which a call that hangs may hold: a wake-up that comes too early is followed by others.
    pthread_cond_broadcast(&cal_->cal_cond);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  // A second Ctrl-C finds the end claimed, but maybe stuck.
  const bool again = ++interruptions_ > 1;
  if (stage_ == Stage::over || (!claim_end() && !again)) return;
  leave("");
}

void Session::leave(const std::string& why) {
  const ExitCode code = why.empty() ? kInterrupted : kUnreachable;
  // What hangs may go on to, and nobody watches any more: Ctrl-C and its kin end the program.
  if (!why.empty()) signals_.restore();
  // What follows asks the phone once more: whatever comes of that, the process goes.
  std::thread([code] {
    constexpr std::chrono::seconds kLongest{20};
    std::this_thread::sleep_for(kLongest);
    _exit(code);
  }).detach();
  switch_off();
  std::function<void(const std::string&)> last_will;
  {
    const std::lock_guard<std::mutex> lock(will_mutex_);
    last_will = std::exchange(last_will_, {});
  }
  if (last_will) last_will(why);
  restore_brightness();
  leave_process(code, why.empty() ? kInterruptedText : "sensorcal: " + why + "; " + kLookAtServices + "\n");
}

HubWatch::HubWatch(Session& session)
    : session_(session), operation_(session.watchdog()), lost_(session.lost_messages()), first_(hub_problem(session)) {}

std::string HubWatch::problem() { return first_.empty() ? problem(session_, lost_) : first_; }

std::string HubWatch::problem(Session& session, int lost_before) {
  const Watchdog::Operation operation(session.watchdog());
  const int lost = session.lost_messages() - lost_before;
  const std::string now = hub_problem(session);
  if (!now.empty() || lost == 0) return now;
  return "the sensor hub did not answer " + counted(lost, "message");
}

void HubWatch::require(const std::string& unknown) {
  const std::string what = problem();
  if (!what.empty()) throw AppError(kUnreachable, what + ": " + unknown + "; " + kLookAtServices);
}

}  // namespace factory
