// The sensor hub: its store, its commands, and what it applies to every sensor value.
#pragma once

#include <json/json.h>

#include <array>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

#include "phone/hub/commands.h"
#include "phone/hub/deadline.h"
#include "phone/hub/record.h"
#include "phone/hub/store.h"

namespace phone {

// What the hub's own measuring commands see: the raw side of the sensors, without noise. Asked with no lock of the hub
// held, on the thread that sent the message or, at the end of a colour run, on a thread of the hub's. A channel or type
// that the phone does not have reads 0.
class RawSource {
 public:
  virtual ~RawSource() = default;
  // Raw value of a sensor's channel now: proximity counts (reflection + optical crosstalk) for type 8; for a light or
  // colour chip lux as channel 0 of its plain type and channels 0 to 7 of its streaming type; SAR values 0 to 7;
  // millimetres as channel 0 of type 33171040.
  virtual float raw(int sensor_type, int channel) = 0;
  // Whether the phone stands in the dark box.
  virtual bool dark_box() = 0;
};

// Any thread may call.
class Hub {
 public:
  using Chips = HubChips;

  Hub(RawSource* source, Chips chips);
  Hub(const Hub&) = delete;
  Hub& operator=(const Hub&) = delete;

  // Answers one message; changes the store where the message says so. `note` receives what the hub remarks, for example
  // an unused word that was not zero; it may be null.
  HubRecord handle(const HubRecord& request, std::string* note);

  // What the hub applies to sensor values. Types the store does not know give the defaults.
  std::array<float, 3> offset(int sensor_type) const;  // accelerometers and gyroscopes; 16 has type 4's
  float pressure_offset() const;
  float lux_scale(int sensor_type) const;                      // one scale for a plain type and its streaming twin
  std::array<float, 8> channel_scales(int sensor_type) const;  // the same
  float sar_offset(int sensor_type, int axis) const;           // with the soft baseline
  float tof_offset() const;
  struct Proximity {
    int32_t near_threshold = 300;  // w0
    int32_t far_threshold = 400;   // w1
    int32_t crosstalk = 0;         // w2
    float hardware_crosstalk = 0;  // subtracted from the raw counts
  };
  Proximity proximity() const;
  // The panel's light at one brightness, as the stored levels tell it; 0 until both levels are stored. Meant for plain
  // light events: streaming types carry what the sensor sees.
  float panel_lux(int sensor_type, int brightness) const;
  std::array<float, 4> panel_channels(int sensor_type, int brightness) const;
  // Types 4 and 16 share one.
  using BiasEpoch = GyroscopeBiasEpoch;
  BiasEpoch gyroscope_bias_epoch(int sensor_type) const;

  // The whole store as JSON and back; load() takes what save() gave and returns an empty text or what was wrong, and
  // then the store is as before. load() does not count as a change.
  Json::Value save() const;
  std::string load(const Json::Value& store);
  // The store with names and units, for people.
  Json::Value describe() const;
  void factory_reset();
  void reboot();  // drops what does not outlive a reboot

  // Called after every change of the store, with the hub's lock not held: on the thread that changed it, or on the
  // hub's own after a colour run. Empty: nobody is told. False: the store could not be kept; a message's change is then
  // undone, and its reply says so.
  void on_change(std::function<bool()> changed);
  // The hub's own thread makes no call any more when it returns: before the source or what on_change() uses goes.
  void shut_down() { colour_deadline_.stop(); }

 private:
  Measured measure(Measure what, const HubRecord& request) const;
  Channels measure_channels(int sensor_type) const;
  void run(const Command& command, const HubRecord& request, HubRecord* reply, std::string* note);
  void end_colour_run();
  void forget_runtime();  // with mutex_ held
  bool tell_change();

  RawSource* const source_;
  const Chips chips_;

  mutable std::mutex mutex_;
  Store store_;                    // guarded by mutex_
  HubRuntime runtime_;             // guarded by mutex_
  std::function<bool()> changed_;  // guarded by mutex_
  Deadline colour_deadline_;       // last: its thread goes before what it uses
};

}  // namespace phone
