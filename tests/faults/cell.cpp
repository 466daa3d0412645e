#include "cell.h"

#include <SensorCalibration.h>
#include <SensorCalibrationAPI.h>
#include <SensorType.h>
#include <log_capture.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "real_faults.h"
#include "snapshot.h"

namespace fault_matrix {
namespace {

using std::chrono::steady_clock;

constexpr char kBrightness[] = "/sys/class/leds/lcd-backlight/brightness";
constexpr float kReference_hPa = 1013.25F;
constexpr int kDarkValues = 6;
constexpr double kPoll_ms = 150;
constexpr double kSlow_ms = 40;
constexpr uint64_t kSeed = 8;
constexpr double kStaysOnSpeed = 50;
constexpr double kStaysOn_ms = 300;  // fifteen events at a distance of 200 ms take 60 ms of them

double ms_since(steady_clock::time_point start) {
  return std::chrono::duration<double, std::milli>(steady_clock::now() - start).count();
}

phone::PhoneOptions options(const Kind& kind, const std::string& directory) {
  phone::PhoneOptions out;
  out.directory = directory;
  out.profile = kind.profile;
  out.seed = kSeed;
  out.speed = std::numeric_limits<double>::infinity();
  return out;
}

// A phone, the library on it, and what crosses the test service.
class Bench {
 public:
  explicit Bench(const phone::PhoneOptions& wanted) : phone_(phone::Phone::open(wanted)) {
    phone_->on_hub_message([this](const phone::HubExchange& exchange) {
      ++messages;
      if (exchange.request[1] == watched_code && exchange.answered) ++changes;
    });
    cal_ = std::make_unique<SensorCalibration>();
  }
  ~Bench() {
    cal_->sensor_cal_deinit();
    cal_.reset();
    phone_->on_hub_message({});
  }

  phone::Phone& phone() { return *phone_; }
  SensorCalibration& cal() { return *cal_; }

  // The world that the kind needs, and a dark panel where it is not the subject.
  void arrange(const Kind& kind) {
    phone::World world = phone_->world();
    world.dark_box = false;
    phone::set_world(&world, "target", "none");
    const std::vector<std::string> pair = split(kind.world, '=');
    if (pair.size() == 2) phone::set_world(&world, pair[0], pair[1]);
    phone_->set_world(world);
  }
  void darken_panel() { cal_->lcdbacklight_calibrate_write_backlight(kBrightness, 0); }

  int run(const Kind& kind, std::string* verdict) {
    switch (kind.call) {
      case Call::calibrate:
        return cal_->sensor_calibrate(kind.type, kind.param);
      case Call::pressure:
        return static_cast<int>(cal_->sensor_setconfig(kind.type, 0, kReference_hPa));
      case Call::channel:
        return cal_->sensor_calibrate(kind.type, 0, 800.0F);
      case Call::sar_register:
        return write_register(kind.type);
      case Call::dark:
        return measure_dark();
      case Call::golden_truth:
        return set_golden(kind.type);
      case Call::report:
        *verdict = cal_->GetCalibrated();
        return 0;
    }
    return -1;
  }

  // Switches off what is still on. Returns whether there was any.
  bool anything_on() {
    bool on = false;
    for (const auto& info : cal_->sensor_list) {
      if (cal_->event_queue == nullptr) break;
      const auto disabled = cal_->event_queue->disableSensor(info.sensorHandle);
      using ::android::frameworks::sensorservice::V1_0::Result;
      if (disabled.isOk() && disabled == Result::OK) on = true;
    }
    return on;
  }

  std::atomic<int> messages{0};
  std::atomic<int> changes{0};  // messages of the watched code that came through
  std::atomic<int> watched_code{-1};

 private:
  int write_register(int type) {
    int address_and_value[] = {3, 7};
    return type == sensor_type::sar ? cal_->sensor_set_sar_reg(type, address_and_value)
                                    : cal_->sensor_set_sarsec_reg(type, address_and_value);
  }

  int measure_dark() {
    if (cal_->cal_api == nullptr) return -1;
    int result = 0;
    for (int k = 1; k <= kDarkValues; ++k) {
      float value = 0;
      if (cal_->cal_api->getLuxDark_api(&value, k) != 0) result = -1;
    }
    return result;
  }

  // A golden phone shows the truth under the lamp.
  int set_golden(int type) {
    constexpr size_t kChannelCount = 7;
    std::vector<float> golden = phone_->truth(type);
    if (golden.size() < kChannelCount || cal_->cal_api == nullptr) return -1;
    golden.erase(golden.begin(), golden.end() - kChannelCount);
    return cal_->cal_api->setLuxChannelRawGolden_api(type, golden.data(), kChannelCount);
  }

  const std::unique_ptr<phone::Phone> phone_;
  std::unique_ptr<SensorCalibration> cal_;
};

const char* name_of(State state) {
  constexpr const char* kNames[] = {"as usual", "as before", "the new value", "a wrong value"};
  return kNames[static_cast<int>(state)];
}

// Whether the values fit the expectation. Two good calibrations may agree to the last bit.
bool fits(State expected, State seen) { return seen == expected || (expected == State::good && seen == State::same); }

struct Seen {
  double took_ms = 0;
  bool on = false;
  bool heard_after = false;
};

void judge_time(const Expected& expected, int messages, int polls, const FaultRow& fault, double took_ms,
                double grace_ms, Outcome* out) {
  constexpr double kEarly_ms = 20;
  const double colour_ms = polls * kPoll_ms;
  const double wait_ms = polls > 0 ? 0 : expected.wait_s * 1000;
  const double hub_ms = fault.effect == FaultClass::slow ? messages * kSlow_ms : 0;
  if (took_ms < wait_ms - kEarly_ms && !expected.may_wait) {
    out->deviations.push_back("back after " + std::to_string(took_ms) + " ms, without its wait");
  }
  if (took_ms > wait_ms + colour_ms + hub_ms + grace_ms) {
    out->timely = false;
    out->deviations.push_back("back after " + std::to_string(took_ms) + " ms; waits " + std::to_string(wait_ms) +
                              ", polls " + std::to_string(colour_ms) + ", hub " + std::to_string(hub_ms));
  }
}

void judge(const FaultRow& fault, const Expected& expected, const Bench& bench, const Seen& seen,
           const test::LogCapture& log, Outcome* out) {
  const auto complain = [out](const std::string& text) { out->deviations.push_back(text); };
  if (out->result != expected.result) {
    complain("result " + std::to_string(out->result) + " instead of " + std::to_string(expected.result));
  }
  if (out->verdict != expected.verdict) complain("report \"" + out->verdict + "\" instead of " + expected.verdict);
  if (!fits(expected.hub, out->hub)) {
    complain(std::string("hub: ") + name_of(out->hub) + " instead of " + name_of(expected.hub));
  }
  if (!fits(expected.files, out->files)) {
    complain(std::string("files: ") + name_of(out->files) + " instead of " + name_of(expected.files));
  }
  // A value that agrees may also be one that nobody has touched.
  const bool other_way = fault.effect == FaultClass::colour_by_hand;
  if (expected.hub == State::good && !other_way && bench.changes == 0) complain("nothing was sent to the hub");
  if (*expected.says != '\0' && !log.contains(expected.says)) complain(std::string("never said: ") + expected.says);
  if (seen.on) complain("a sensor is on");
  if (seen.heard_after != expected.stays_on) complain("the sensor went off");
}

// Whether events still come in, though the run is over.
bool hears_on(const test::LogCapture& log) {
  constexpr int kTries = 100;
  const size_t before = log.others().size();
  for (int i = 0; i < kTries; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    if (log.others().size() > before + 2) return true;
  }
  return false;
}

Files on_persist(Files files) {
  std::erase_if(files, [](const auto& file) { return file.first.rfind("/mnt/vendor/persist/", 0) != 0; });
  return files;
}

void run_and_look(const Kind& kind, const FaultRow& fault, const Expected& expected, const Files& prepared,
                  const phone::PhoneOptions& wanted, double grace_ms, Outcome* out) {
  const test::LogCapture log;
  Seen seen;
  Bench bench(wanted);
  const int init = bench.cal().initCheck();
  if (init != expected.init) out->deviations.push_back("initCheck() says " + std::to_string(init));
  bench.arrange(kind);
  bench.messages = 0;
  bench.watched_code = kind.set_code;
  const Numbers hub_before = hub_numbers(bench.phone().hub_state());
  const Files files_before = device_files(wanted.directory);

  const auto start = steady_clock::now();
  out->result = bench.run(kind, &out->verdict);
  seen.took_ms = ms_since(start);

  // What goes on in the hub (its own colour run) ends before it is looked at.
  if ((kind.group & (kHubChannels | kHubGolden)) != 0) std::this_thread::sleep_for(std::chrono::milliseconds(900));
  seen.heard_after = expected.stays_on && hears_on(log);
  seen.on = bench.anything_on();
  std::string strangers;
  out->hub = compare_hub(kind, hub_before, hub_numbers(bench.phone().hub_state()), &strangers);
  out->files = compare_files(kind, prepared, files_before, device_files(wanted.directory), &strangers);
  if (!strangers.empty()) out->deviations.push_back("touched what is not its own:" + strangers);
  judge(fault, expected, bench, seen, log, out);
  judge_time(expected, bench.messages, static_cast<int>(log.count("countdown_times=")), fault, seen.took_ms, grace_ms,
             out);
}

}  // namespace

Json::Value Outcome::json() const {
  Json::Value out;
  out["result"] = result;
  out["verdict"] = verdict;
  out["hub"] = static_cast<int>(hub);
  out["files"] = static_cast<int>(files);
  out["timely"] = timely;
  out["skipped"] = skipped;
  out["deviations"] = Json::arrayValue;
  for (const std::string& text : deviations) out["deviations"].append(text);
  return out;
}

Outcome Outcome::of(const Json::Value& json) {
  Outcome out;
  out.result = json["result"].asInt();
  out.verdict = json["verdict"].asString();
  out.hub = static_cast<State>(json["hub"].asInt());
  out.files = static_cast<State>(json["files"].asInt());
  out.timely = json["timely"].asBool();
  out.skipped = json["skipped"].asString();
  for (const Json::Value& text : json["deviations"]) out.deviations.push_back(text.asString());
  return out;
}

std::string prepare_phone(const Kind& kind, const std::string& directory) {
  std::vector<std::string> order = split(kind.before);
  order.emplace_back(kind.name);
  Bench bench(options(kind, directory));
  bench.darken_panel();
  for (const std::string& name : order) {
    const Kind* const each = find_kind(name);
    if (each == nullptr) return "no kind is called " + name;
    bench.arrange(*each);
    std::string verdict;
    const int result = bench.run(*each, &verdict);
    if (result != 0) return name + " ends with " + std::to_string(result);
    if ((each->group & kPanel) != 0 && (kind.group & kPanel) == 0) bench.darken_panel();
  }
  return "";
}

Outcome run_cell(const Kind& kind, const FaultRow& fault, const std::string& directory, double grace_ms) {
  Outcome out;
  const Expected expected = expected_of(fault, kind);
  try {
    const Files prepared = device_files(directory);
    if (unprivileged(fault)) out.skipped = arrange_real_fault(fault.real, kind, directory);
    if (!out.skipped.empty()) return out;
    phone::PhoneOptions wanted = options(kind, directory);
    // At unlimited speed a sensor that stays on would fall silent before anybody looks.
    if (expected.stays_on) wanted.speed = kStaysOnSpeed;
    if (expected.stays_on) grace_ms += kStaysOn_ms;
    if (fault.real == Real::none) wanted.faults = {fault_text(fault, kind)};
    run_and_look(kind, fault, expected, prepared, wanted, grace_ms, &out);
    // What stands in for the files is gone with the phone.
    const bool stands_in = std::string(fault.text).rfind("persist-", 0) == 0;
    if (stands_in && on_persist(device_files(directory)) != on_persist(prepared)) {
      out.deviations.emplace_back("the real files changed behind the fault");
    }
  } catch (const std::exception& error) {
    out.deviations.push_back(std::string("no phone: ") + error.what());
  }
  return out;
}

}  // namespace fault_matrix
