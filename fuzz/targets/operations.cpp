// Sequences of exported operations on a phone that goes wrong in any way. The waits are scripted: events are delivered
// while the library believes that it waits, and the clock of a time-out is not waited for. After every operation both
// locks are free, no mode is left on and no sensor is left enabled, unless the script woke the wait early.
#include <host/property_store.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <memory>

#include "support/device_files.h"
#include "support/fake_phone.h"

namespace {

using fuzz::any_float;
using fuzz::any_int;
using fuzz::any_type;

constexpr double kLongestWait_s = 21;  // two measurements at the panel, rounded up to whole seconds

constexpr struct {
  const char* path;
  const char* text;  // at first
} kFiles[] = {
    {"/sys/class/leds/lcd-backlight/brightness", "0\n"},
    {"/sys/class/leds/lcd-backlight/max_brightness", "4095\n"},
    {"/mnt/vendor/persist/sensors/PSensor_ct1.txt", "offset=100\n"},
    {"/mnt/vendor/persist/sensors/PSensor_ct2.txt", "offset=5\n"},
    {"/mnt/vendor/persist/sensors/PSensor3cm_ct.txt", "offset=227\n"},
    {"/mnt/vendor/nvcfg/sensor/lightSensorCali.json", "{\"als\":{\"x\":1}}"},
    {"/vendor/etc/sensors/judge_calibrated.json",
     "Acc a.b /vendor/etc/reference.json 0 acc\nLux c /vendor/etc/reference.json 1 BH\n"},
    {"/vendor/etc/reference.json", "acc\n{ \"ver\": \"1\", \"data\": \"2\"\n}\n"},
};
constexpr const char* kProperties[] = {
    "ro.build.product",
    "ro.product.product.name",
    "persist.vendor.sensor.cali_sensor",
    "persist.vendor.goodix.cct_support",
    "persist.vendor.display.under.cct",
    "persist.vendor.display.parse.algorithm",
    "sys.backlight.lux",
    "sys.backlight.max_equal_spec",
    "persist.vendor.sensor.cct_lcdbacklight_b",
    "persist.vendor.sensor.cct_need_lcdbacklight_cali",
};

fuzz::DeviceFile** device_files() {
  static fuzz::DeviceFile* files[std::size(kFiles)];
  if (files[0] == nullptr) {
    for (size_t i = 0; i < std::size(kFiles); ++i) files[i] = new fuzz::DeviceFile(kFiles[i].path);
    HOLDS(chdir(fuzz::device_root().c_str()) == 0);  // as a process on the phone stands in "/"
  }
  return files;
}

class Script;
Script* running = nullptr;

// One input: a phone, an object, and what is done with it.
class Script {
 public:
  explicit Script(FuzzedDataProvider* in) : in_(in) {
    host::open_properties("");
    for (size_t i = 0; i < std::size(kFiles); ++i) device_files()[i]->set(kFiles[i].text);
    hub_->script = [this](fuzz::Message* reply) { return answer(reply); };
    sensors_->list = test::all_records();
    // The chips that decide about the procedure.
    for (fuzz::SensorInfo& info : sensors_->list) {
      if (info.type == fuzz::SensorType::LIGHT) info.name = "BH1745 BH1745 ALS DEVICE";
      if (info.type != fuzz::SensorType::PROXIMITY) continue;
      info.name = in->PickValueInArray({"tmd2725", "stk", "vl53l3_tof", ""});
    }
    if (in->ConsumeIntegralInRange<int>(0, 7) == 0) {
      sensors_->list.resize(in->ConsumeIntegralInRange<size_t>(0, sensors_->list.size()));
    }
    sensors_->script->on_enable = [this]() -> fuzz::Return<fuzz::Result> {
      const int outcome = in_->ConsumeIntegralInRange<int>(0, 15);
      if (outcome == 1)
        return ::android::hardware::Status::fromExceptionCode(::android::hardware::Status::EX_TRANSACTION_FAILED);
      return outcome == 2 ? fuzz::Result::NO_MEMORY : fuzz::Result::OK;
    };
    const int luck = in->ConsumeIntegralInRange<int>(0, 31);
    if (luck == 1) sensors_->never_answers = true;
    if (luck == 2) sensors_->list_result = fuzz::Result::NO_INIT;
    if (luck == 3) sensors_->queue_result = static_cast<fuzz::Result>(any_int(in));
    if (luck != 4) sensors_->registerAsService("default");
    if (luck != 5) hub_->registerAsService("default");
    make_object();
  }

  ~Script() {
    running = nullptr;
    cal_.reset();
    msensorEventCallback.clear();
    sensors_->callback.clear();
    test::FakeSensors::remove();
    test::FakeHub::remove();
  }

  void run() {
    for (int i = 0; i < 12 && in_->remaining_bytes() > 0; ++i) operate();
  }

  // What the library's wait comes to.
  int wait(pthread_mutex_t* mutex, const timespec* deadline) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const double left_s = static_cast<double>(deadline->tv_sec - now.tv_sec);
    HOLDS(left_s >= 0 && left_s <= 10);
    signals_ = 0;
    pthread_mutex_unlock(mutex);
    deliver_events();
    pthread_mutex_lock(mutex);
    HOLDS(signals_ <= 1);  // a run is announced once at most
    if (signals_ == 1) return 0;
    if (in_->ConsumeIntegralInRange<int>(0, 15) == 0) {
      woken_ = true;
      return 0;
    }
    waited_s_ += left_s;
    return ETIMEDOUT;
  }

  void signalled() { ++signals_; }
  void slept(double seconds) { waited_s_ += seconds; }

 private:
  void make_object() {
    running = this;
    cal_.reset(new SensorCalibration);
    ready_ = cal_->cal_api != nullptr;
    const int status = cal_->initCheck();
    HOLDS(status == 0 || status == -19);
  }

  bool answer(fuzz::Message* reply) {
    const int kind = in_->ConsumeIntegralInRange<int>(0, 7);
    if (kind == 0) return false;
    const int words = kind < 4 ? 0 : kind - 3;
    for (int i = 0; i < words; ++i) {
      (*reply)[2 + static_cast<size_t>(i)] = in_->ConsumeBool() ? any_int(in_) : test::bits(any_float(in_));
    }
    // Plausible arrays: a result and channels.
    if (kind == 3) {
      for (size_t i = 3; i < reply->size(); ++i) (*reply)[i] = test::bits(1.0F);
    }
    return true;
  }

  // A steady stream around a level, with a swing, of one sensor; now and then an event of another one.
  void deliver_events() {
    constexpr int kStreams[] = {1,        4,        16, 268369921, 268369924, 6,        33171005,
                                33171057, 33171089, 5,  33171054,  33171085,  33171082, 33171084};
    int type = any_type(in_);
    for (const fuzz::SensorInfo& info : sensors_->list) {
      if (sensors_->script->enabled.count(info.sensorHandle) != 0) type = static_cast<int>(info.type);
    }
    const int count = in_->ConsumeIntegralInRange<int>(0, 80);
    float level[7];
    for (float& value : level)
      value = in_->ConsumeBool() ? static_cast<float>(in_->ConsumeIntegralInRange<int>(1, 12)) : any_float(in_);
    const float swing = static_cast<float>(in_->ConsumeIntegralInRange<int>(0, 4)) / 64;
    const int stray = in_->ConsumeIntegralInRange<int>(0, 100);
    const int late = in_->ConsumeIntegralInRange<int>(0, 2);
    int after_end = 0;
    for (int i = 0; i < count && after_end <= late; ++i) {
      fuzz::Event event{};
      event.sensorType =
          static_cast<fuzz::SensorType>(i == stray ? kStreams[static_cast<size_t>(count) % std::size(kStreams)] : type);
      for (size_t word = 0; word < 7; ++word) event.u.data[word] = level[word] + (i % 2 == 0 ? swing : -swing);
      if (i == stray) event.u.data[0] = any_float(in_);
      sensors_->callback->onEvent(event);
      if (sensors_->script->enabled.empty()) ++after_end;
    }
  }

  void call_operation() {
    SensorCalibration& cal = *cal_;
    const int type = any_type(in_);
    int pair[2] = {any_int(in_), any_int(in_)};
    switch (in_->ConsumeIntegralInRange<int>(0, 9)) {
      case 0:
        cal.sensor_calibrate(type, any_int(in_), any_float(in_));
        break;
      case 1: {
        const double result = cal.sensor_setconfig(type, pair[0], any_float(in_));
        HOLDS(result == static_cast<int>(result));
        break;
      }
      case 2:
        cal.sensor_set_sar_reg(type, pair);
        cal.sensor_set_sarsec_reg(type, pair);
        break;
      case 3:
        if (ready_) HOLDS(cal.onchange_reporting_sensor_calibrate(type, pair[0]) <= 0);
        break;
      case 4:
        cal.SetBrightness(pair[0]);
        break;
      default:
        cal.sensor_calibrate(type, in_->ConsumeBool() ? in_->PickValueInArray({-1, 0, 2, 13, 14, 19}) : pair[0]);
    }
  }

  void query() {
    SensorCalibration& cal = *cal_;
    const int type = any_type(in_);
    float values[12];
    for (float& value : values) value = 77;
    switch (in_->ConsumeIntegralInRange<int>(0, 5)) {
      case 0:
        for (const char verdict : cal.GetCalibrated()) HOLDS(verdict == '0' || verdict == '1');
        break;
      case 1:
        cal.sensor_getconfig(type, in_->ConsumeIntegralInRange<int>(-1, 3));
        break;
      case 2: {
        const int length = in_->ConsumeIntegralInRange<int>(-1, 12);
        const int result = cal.sensor_getconfig(type, values, length);
        HOLDS(length < 11 || result == -1);
        for (int i = std::max(length > 10 ? 0 : length, 0); i < 12; ++i) HOLDS(values[i] == 77);
        break;
      }
      case 3: {
        cal.get_judge_calibrated();
        const auto mode = in_->ConsumeIntegralInRange<unsigned>(0, 2);
        const auto keys = cal.ParseStr(type, mode, any_int(in_));
        const auto lists = cal.GetSensorJsonData(keys, type, mode);
        HOLDS(lists.empty() || lists.size() == 2);
        break;
      }
      case 4:
        cal.collectData();
        break;
      default:
        for (const int probe : {cal.test_is_rgb_sensor(), cal.test_is_ps_tof_sensor(), cal.test_is_tof_sensor(),
                                cal.test_is_pshwcali_sensor()}) {
          HOLDS(probe >= -3 && probe <= 1 && probe != -1);
        }
    }
  }

  void change_phone() {
    switch (in_->ConsumeIntegralInRange<int>(0, 6)) {
      case 0:
      case 1: {
        const char* value = in_->PickValueInArray({"", "1", "0", "dov", "velra", "raz", "pok", "tessak", "40.000000",
                                                   "1111111111111111", "0x0", "nan", "1e30", "-5"});
        host::force_property(in_->PickValueInArray(kProperties), value);
        break;
      }
      case 2: {
        const size_t file = in_->ConsumeIntegralInRange<size_t>(0, std::size(kFiles) - 1);
        device_files()[file]->set(in_->ConsumeRandomLengthString(40));
        break;
      }
      case 3:
        if (in_->ConsumeBool()) {
          hub_->registerAsService("default");
        } else {
          test::FakeHub::remove();
        }
        break;
      case 4:
        sensors_->never_answers = in_->ConsumeIntegralInRange<int>(0, 3) == 0;
        break;
      case 5:
        if (ready_) HOLDS(cal_->sensor_cal_deinit() == 0);
        cal_.reset();
        make_object();
        break;
      default:
        if (sensors_->callback != nullptr) deliver_events();  // nobody waits
    }
  }

  void check(bool woken) {
    HOLDS(woken || sensors_->script->enabled.empty());
    sensors_->script->enabled.clear();
    HOLDS(waited_s_ <= kLongestWait_s);
    HOLDS(pthread_mutex_trylock(&cal_->cal_mutex) == 0);
    pthread_mutex_unlock(&cal_->cal_mutex);
    if (msensorEventCallback != nullptr) {
      HOLDS(msensorEventCallback->mutex.try_lock());
      msensorEventCallback->mutex.unlock();
    }
    const auto off = [](const _sensor_info& r) {
      HOLDS(r.in_calibrate == 0 && r.in_raw_calibrate == 0 && r.in_backlight_calibrate == 0);
      HOLDS(r.status >= 0 && r.status <= 2);
    };
    for (const _sensor_info& record : cal_->motion_info) off(record);
    for (const _sensor_info& record : cal_->env_info) off(record);
  }

  void operate() {
    woken_ = false;
    waited_s_ = 0;
    const int kind = in_->ConsumeIntegralInRange<int>(0, 3);
    if (kind <= 1) {
      call_operation();
    } else if (kind == 2) {
      query();
    } else {
      change_phone();
    }
    check(woken_);
  }

  FuzzedDataProvider* in_;
  const fuzz::sp<fuzz::ScriptedHub> hub_ = new fuzz::ScriptedHub;
  const fuzz::sp<fuzz::ScriptedSensors> sensors_ = new fuzz::ScriptedSensors;
  std::unique_ptr<SensorCalibration> cal_;
  bool ready_ = false;  // locks were made
  bool woken_ = false;
  int signals_ = 0;
  double waited_s_ = 0;
};

}  // namespace

extern "C" int pthread_cond_timedwait(pthread_cond_t* cond, pthread_mutex_t* mutex, const timespec* deadline) {
  if (running == nullptr) return pthread_cond_clockwait(cond, mutex, CLOCK_REALTIME, deadline);
  return running->wait(mutex, deadline);
}

extern "C" int pthread_cond_signal(pthread_cond_t* cond) noexcept {
  if (running != nullptr) running->signalled();
  return pthread_cond_broadcast(cond);
}

extern "C" int usleep(useconds_t us) {
  if (running != nullptr) running->slept(us * 1e-6);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::quiet_log(size);
  FuzzedDataProvider in(data, size);
  Script script(&in);
  script.run();
  return 0;
}
