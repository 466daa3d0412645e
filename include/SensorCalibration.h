/// @file
/// Factory calibration of a phone's sensors: the object that the factory test application creates once.
/// A client in short; examples/factory_app/factory_app.cpp is a whole one, which also says why something failed:
/// @code
/// ::android::hardware::configureRpcThreadpool(1, false);  // events come on its threads
/// SensorCalibration cal;
/// if (cal.initCheck() == 0 && cal.sensor_calibrate(getSensorType("Acc"), 0) == 0) {
///   float offset[3];
///   cal.cal_api->getAMGOffset_api(sensor_type::accelerometer, offset);  // a message that was lost shows here alone
///   cal.get_judge_calibrated();
///   std::string report = cal.GetCalibrated();  // "1000": a character per enabled sensor
/// }
/// cal.sensor_cal_deinit();
/// @endcode
#pragma once

#include <pthread.h>
#include <stdint.h>

#include <mutex>
#include <string>
#include <vector>

#include <SensorCalibrationAPI.h>
#include <SensorType.h>
#include <android/frameworks/sensorservice/1.0/IEventQueue.h>
#include <android/frameworks/sensorservice/1.0/IEventQueueCallback.h>
#include <android/frameworks/sensorservice/1.0/ISensorManager.h>
#include <android/hardware/sensors/1.0/types.h>
#include <utils/StrongPointer.h>
#include <vendor/corvane/sensor/kestsensorservice/1.1/IKestSensorService.h>

/// How far a run has come.
namespace run_state {

/// `status` of a record, and what cal_wait_finish() returns.
enum State : int32_t {
  running = 0,    ///< or never begun, or not to be begun
  timed_out = 1,  ///< the time limit passed, and the sensor was disabled
  finished = 2,   ///< `mean` is valid
};

}  // namespace run_state

/// One sensor's calibration record: what it is, how a run is to go, and how the run went. All fields start at zero.
/// Between runs the application's thread owns a record; while a sensor is enabled, the event thread does (see
/// docs/threads.md).
///
/// What a run leaves, by kind of sensor. Offsets and scales are those that the hub held before the run.
///
/// | Sensor, run | `mean` | `offset` | `scale` |
/// |---|---|---|---|
/// | accelerometers | x y z at rest without correction, less gravity: the new offset, m/s^2 | m/s^2 | unused |
/// | gyroscopes | x y z at rest without correction: the new offset, rad/s | rad/s | unused |
/// | barometer | without correction, less `reference`: the new offset, hPa | hPa | unused |
/// | proximity | raw counts | unused | unused |
/// | light, one channel | without the scale, 200 lux over it being the new one | unused | a factor |
/// | channel scales | 5 channels without their scales, counts | unused | 5 factors |
/// | golden data | 7 channels as reported, counts | unused | unused |
/// | panel, lux | lux; rounded, and in the single low run kept below the high run's, by the flow | unused | unused |
/// | panel, colour | 5 channels without their scales, counts; rounded in the high run | unused | 5 factors |
struct _sensor_info {
  uint8_t present = 0;                                    ///< 1 when the sensor list holds a sensor for this record
  ::android::hardware::sensors::V1_0::SensorInfo info{};  ///< copy of its list entry

  /// Modes: which samples a run takes from the sensor's events.
  uint8_t in_calibrate = 0;
  uint8_t in_raw_calibrate = 0;        ///< light and colour: channel values unscaled
  uint8_t in_backlight_calibrate = 0;  ///< light: one value per event, panel lit
  uint8_t in_lcd_cct_calibrate = 0;    ///< light: channel values divided by the scales, panel lit; outlasts a high run
  uint8_t backlight_retry = 0;         ///< with in_backlight_calibrate: a mean outside (0, 10) is not announced
  int32_t retry_count = 0;             ///< measurements that a stepped panel run began; the second is announced anyway

  float scale[10] = {};   ///< per channel: a sample is the event's value divided by it
  float coefficient = 0;  ///< single-channel light: found by the last run
  float offset[10] = {};  ///< per axis: a sample is the event's value plus it
  float mean[10] = {};    ///< result, per axis; written before `status` says finished
  float reference = 0;    ///< pressure: subtracted from every sample, hPa
  int32_t status = 0;     ///< a run_state::State

  /// Settings of the run.
  int32_t period_ms = 0;            ///< sampling period
  int32_t axis_num = 0;             ///< values per sample, 1 to 10
  int32_t timeout_s = 0;            ///< s, real time
  int32_t sample_num = 0;           ///< samples that make a run
  float variance_threshold = 0;     ///< the limit on every axis, square of the unit
  uint8_t zero_variance_check = 0;  ///< 1: a variance of 0 is a failure too
  float bias_threshold[10] = {};    ///< limit on the mean of each axis
  int32_t skip_num = 0;             ///< first events, discarded while the sensor settles

  /// State of the run.
  int32_t event_count = 0;   ///< events received, the discarded ones too
  float variance[10] = {};   ///< of the window so far
  float sum_sq[10] = {};     ///< of the samples' squares
  float sum[10] = {};        ///< of the samples
  int32_t sample_count = 0;  ///< samples in the window

  uint8_t hw_cali = 0;    ///< proximity: the chip calibrates its own crosstalk
  bool lux_flag = false;  ///< light: handed to the hub's scale commands as it stands; nothing sets it
  int32_t ct_value = 0;   ///< proximity: crosstalk found by the chip
  int32_t ct_aux = 0;     ///< proximity: its second result
};

/// The calibration object: the phone's sensors, and the operations on them.
///
/// *Threads:* operations run on the caller's thread and block until their work is done; they are meant for one thread
/// at a time. Sensor events arrive on the event queue's thread (docs/threads.md has who owns what). One object at a
/// time: the newest gets the events.
///
/// *Failures:* nothing is thrown. Without a sensor manager there is no command API, and an operation that needs it
/// returns its failure value: -1, 0.0 from a query that returns double, -1.0 from sensor_setconfig(), or nothing.
/// Without a test service, or when it does not answer, the command API is there and its results mean nothing
/// (SensorCalibrationAPI): calibrate only when initCheck() is 0. "The hub's result" is what SensorCalibrationAPI
/// returned: 0 for success.
///
/// *Times* are real seconds. A run blocks until its samples have passed its limits or its time limit is over, and then
/// until an event in delivery has left; docs/flows.md walks through one. The hub's answers are waited for besides,
/// without a limit.
class __attribute__((visibility("default"))) SensorCalibration {
 public:
  /// Connects to the sensor manager and the test service, reads the sensor list and opens the event queue. Failures are
  /// logged and told by initCheck(). Blocks for the calls of the two services, and on a phone for the services
  /// themselves: one that the device's manifest lists is waited for, for ever when it is dead. Ask tryGetService() of
  /// both first.
  SensorCalibration();
  /// Releases the services and waits for an event in delivery to leave. Disables no sensor, and leaves the mutex and
  /// the condition to sensor_cal_deinit().
  ~SensorCalibration();
  SensorCalibration(const SensorCalibration&) = delete;
  SensorCalibration& operator=(const SensorCalibration&) = delete;

  /// Whether the object can be used.
  /// @return 0, or -19 (-ENODEV) when the sensor manager was missing or the command API found no test service. A sensor
  /// list that could not be read shows in the records alone (`present`).
  int initCheck();

  /// Ends the object's use for calibrations; the application calls it before it deletes the object. Harmless a second
  /// time and on an object that is not ready.
  /// @return the result of destroying the condition, 0
  int sensor_cal_deinit();

  /// Takes one sensor event into the run that is under way. Called on the event queue's thread only, one event at a
  /// time; allocates nothing. The event that ends a run wakes the waiter and has the sensor disabled; no other blocks.
  /// @param e the event
  /// @return the call's status, always good
  ::android::hardware::Return<void> processEvent(::android::hardware::sensors::V1_0::Event const& e);

  /// Runs a record's sensor as its settings and its mode say, and blocks until it is over.
  /// @param info one of this object's records, its settings written
  /// @return 2 finished, `mean` is valid; 1 out of time after `timeout_s`, the sensor was disabled; 0 it could not
  /// start, or was woken early by a signal on `cal_cond`, and a sensor that was enabled stays so
  int cal_wait_finish(_sensor_info* info);

  /// @name Calibrations
  /// @{

  /// Calibrates one sensor, or takes one step of its calibration. Blocks up to 5 s for most sensors, 8 s for
  /// single-channel light, 4.5 s for the hub's colour run, 20 s with the panel lit.
  /// @param type sensor type number
  /// @param param the step: 4 self-test, 5 to 7 time of flight, 8 to 11 light under OLED, 12 and 15 to 18 high lux, 13
  /// and 14 panel light, -1 soft SAR calibration or golden data, others the sensor's own
  /// @return 0, the hub's result, -1, or 1098 when the hub's own colour run does not end. 0 is also returned where
  /// there was nothing to do (a type or step that no flow knows) and where the panel took another brightness than it
  /// was given: nothing was sent then. After another result the hub may hold values of this run: thresholds whose delta
  /// could not be saved, channel scales whose file could not be written, what it refused in part.
  int sensor_calibrate(int type, int param);

  /// Makes the hub calibrate one light channel.
  /// @param type 5 or 33171055
  /// @param channel number of the channel
  /// @param target what it is to report, counts
  /// @return the hub's result, or -1
  int sensor_calibrate(int type, int channel, float target);

  /// Calibrates the barometer against a reference. Blocks up to 5 s.
  /// @param type 6
  /// @param param is logged, nothing else
  /// @param value reference pressure, hPa
  /// @return 0.0, -1.0 without a barometer or for another type, or the run's result
  double sensor_setconfig(int type, int param, float value);

  /// Writes a register of the first SAR chip. @param type SAR sensor @param adr in: register, value
  /// @return the hub's result
  int sensor_set_sar_reg(int type, int* adr);
  /// Writes a register of the second SAR chip. @param type SAR sensor @param adr in: register, value
  /// @return the hub's result
  int sensor_set_sarsec_reg(int type, int* adr);
  /// @}

  /// Reads the sensor list and binds its sensors to the records. Called by the constructor; blocks for one call of the
  /// sensor manager. A failure is logged; in a later call it also makes initCheck() -19 and events ignored.
  void get_all_sensors_info();

  /// @name Chip probes
  /// They block for one call of the sensor manager.
  /// @{

  /// @param name name of a chip @param type 8 proximity or 5 light: which list
  /// @return whether `name` begins with the name of a chip on the list
  bool sensor_lookup_list_check(char const* name, int type);
  /// @param name name of a chip @param type which list of time-of-flight chips
  /// @return whether `name` begins with the name of a chip on the list
  bool tof_sensor_lookup_list_check(char const* name, int type);
  /// Whether the light sensor is a colour chip. @return 1, 0, -2 without a sensor manager, -3 without such a sensor
  int test_is_rgb_sensor();
  /// Whether the proximity sensor is a time-of-flight chip. @return 1, 0, -2 without a sensor manager, -3 without such
  /// a sensor
  int test_is_ps_tof_sensor();
  /// Whether the distance sensor is a time-of-flight chip. @return 1, 0, -2 without a sensor manager, -3 without such a
  /// sensor
  int test_is_tof_sensor();
  /// Whether the proximity chip calibrates its own crosstalk. @return 1, 0, -2 without a sensor manager, -3 without
  /// such a sensor
  int test_is_pshwcali_sensor();
  /// @}

  /// @name The flows behind sensor_calibrate()
  /// They block as it does.
  /// @{

  /// Sensors that report continuously. @param type sensor type number @param param step
  /// @return 0, also for a type that is not one of them; what a failed read returned; -1; of the hub's own colour run
  /// its result or 1098
  int continue_reporting_sensor_calibrate(int type, int param);
  /// The proximity sensor. @param type 8 @param param step @return 0, also for another type or step, or -1
  int onchange_reporting_sensor_calibrate(int type, int param);
  /// The proximity chip's own crosstalk calibration; ct_value and ct_aux of its record hold what it found, zeros when
  /// it did not answer. @param type 8 @return 1 when the chip was asked, 0 when it could not be
  int sensor_hw_crosstalk_calibration(int type);
  /// @}

  /// @name Panel
  /// The panel stays at the last brightness set.
  /// @{

  /// Sets the brightness. The node's path is relative: the process has to stand in "/".
  /// @param brightness 0 to 8191 @return 0, or -1
  int SetBrightness(int brightness);
  /// Writes a decimal number and a line feed. @param path LED node @param value what to write
  /// @return 0, or minus errno; -14 (-EFAULT) for a null path
  int lcdbacklight_calibrate_write_backlight(char const* path, int value);
  /// Reads a decimal number of ten characters at most. @param path LED node @param value out: the number; unchanged
  /// when there is none @return 0, or minus errno; -14 (-EFAULT) for a null path
  int lcdbacklight_calibrate_read_backlight(char const* path, int* value);

  /// Light, or on a phone that wants it colour, that the panel puts on a light sensor. Up to 20 s. All of these return
  /// 0 with nothing sent when the panel takes another brightness than it was given.
  /// @param type 5, 33171080 or 33171084 @param level 13 at full brightness, 14 at a reduced one; 13 goes first
  /// @return 0, the hub's result, or -1
  int lcdbacklight_lux_calibrate(int type, int level);
  /// The four below run on the record as lcdbacklight_lux_calibrate() has prepared it. Light at full brightness.
  /// @param type 5, 33171007, 33171080 or 33171084 @return 0, the hub's result, or -1
  int lcdbacklight_high_calibrate(int type);
  /// Light at reduced brightness. @param type as at full brightness @return 0, the hub's result, or -1
  int lcdbacklight_low_calibrate(int type);
  /// Channels of the light sensor at full brightness. @param type as for light @return 0, the hub's result, or -1
  int lcdbacklightcct_high_calibrate(int type);
  /// Channels of the light sensor at reduced brightness. @param type as for light
  /// @return 0, a negative result of the hub when the scales are read, or -1
  int lcdbacklightcct_low_calibrate(int type);
  /// Light sensor under an OLED panel: asks the hub for one sample. @param type light sensor @param arg step, 8 to 11
  /// @return the hub's answer, truncated, 1 when it did not answer; -1 without a test service, and for a type other
  /// than 5 unless the step is 11
  int underoled_lux_calibrate(int type, int arg);
  /// @}

  /// @name Report
  /// docs/formats/judge-table.md has the files. They block for file access, and for one message of the hub a value.
  /// @{

  /// Loads the verdict table into ::judge_calibrated: the lines whose chip is on this phone.
  void get_judge_calibrated();
  /// The key path of a sensor's row, split at its dots. @param type sensor type number @param mode 0, 1 or 2: which row
  /// @param index with mode 1: no row behind this one @return the parts; none when the row is invalid, one empty text
  /// when there is no row
  std::vector<std::string> ParseStr(int type, unsigned int mode, int index);
  /// The "ver" and "data" texts of a sensor's reference file. @param keys section that they are in, as from ParseStr()
  /// @param type sensor type number @param mode 0, 1 or 2: which row names the file @return a list of each; nothing
  /// when the row is invalid or the file cannot be opened
  std::vector<std::vector<std::string>> GetSensorJsonData(std::vector<std::string> keys, int type, unsigned int mode);

  /// What is calibrated, as the hub's values say. @return one character per enabled sensor, '1' calibrated or '0' not
  std::string GetCalibrated();
  /// One stored value. @param type sensor type number @param axis component, 0 to 2 @return the value in the sensor's
  /// unit; 0.0 on any failure
  double sensor_getconfig(int type, int axis);
  /// Stored values of an array-valued sensor. @param type sensor type number @param values out @param length how many,
  /// at most 10 @return 0, the hub's result, or -1; 0 with `values` as they were for any other type, and for 33171089
  /// where the hub calibrates by itself
  int sensor_getconfig(int type, float* values, int length);
  /// Asks the hub for one fixed sample. @return its answer, truncated, 1 when it did not answer; -1 without a test
  /// service
  int collectData();

  /// Writes four channel scales into the light sensor's JSON file (docs/formats/light-sensor-json.md) and raises its
  /// revision. @param scale in: four factors @param path the file @return 1 when it cannot be read or is not of the
  /// expected form, and is unchanged; otherwise 0, also when it then cannot be written
  int WirteScaleToFileJson(float* scale, std::string const& path);
  /// @}

  ::android::sp<::android::frameworks::sensorservice::V1_0::IEventQueue> event_queue;        ///< the object's own queue
  ::android::sp<::android::frameworks::sensorservice::V1_0::ISensorManager> sensor_manager;  ///< the sensor service
  SensorCalibrationAPI* cal_api = nullptr;                                                   ///< owned
  _sensor_info motion_info[8];                                                               ///< records 0 to 7
  _sensor_info env_info[10];                                                                 ///< records 8 to 17
  pthread_mutex_t cal_mutex = PTHREAD_MUTEX_INITIALIZER;                                     ///< guards a run's end
  pthread_cond_t cal_cond = PTHREAD_COND_INITIALIZER;                                        ///< wakes the waiting run
  ::android::hardware::hidl_vec<::android::hardware::sensors::V1_0::SensorInfo>
      sensor_list;            ///< the phone's sensors, as listed
  int32_t init_status = -19;  ///< what initCheck() returns
  ::android::sp<::vendor::corvane::sensor::kestsensorservice::V1_1::IKestSensorService>
      kest_service;  ///< the test service as construction found it
};

/// Hands every sensor event to the calibration object, one at a time.
class SensorEventCallback : public ::android::frameworks::sensorservice::V1_0::IEventQueueCallback {
 public:
  /// @param cal who gets the events
  explicit SensorEventCallback(SensorCalibration* cal);
  ~SensorEventCallback() override;
  /// Passes one event on, or drops it when there is nobody. Event queue's thread.
  /// @param event the event @return the call's status, always good
  ::android::hardware::Return<void> onEvent(::android::hardware::sensors::V1_0::Event const& event) override;

  std::mutex mutex;                ///< held during a delivery
  SensorCalibration* calibration;  ///< not owned; guarded by mutex; null once that object is gone or was replaced
};

/// The one callback object. Each constructed SensorCalibration replaces it; it outlives them all.
extern __attribute__((visibility("default"))) ::android::sp<SensorEventCallback> msensorEventCallback;

/// The verdict table: one row of fields per kept line. Empty until get_judge_calibrated().
extern __attribute__((visibility("default"))) std::vector<std::vector<std::string>> judge_calibrated;

/// Writes a number as decimal text to an existing file. Any thread; blocks for the file access.
/// @param path absolute, or relative to the working directory; null fails
/// @param value printed as a signed number
/// @return 0, or -1
__attribute__((visibility("default"))) int writeStr(char const* path, unsigned int value);
