// Factory calibration of a phone's sensors: the object that the factory test application creates once.
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

// One sensor's calibration record: what it is, how a run is to go, and how the run went. All fields start at zero.
// Between runs the application's thread owns a record; while a sensor is enabled, the event thread does (see
// docs/threads.md).
struct _sensor_info {
  uint8_t present = 0;                                  // 1 when the sensor list holds a sensor for this record
  ::android::hardware::sensors::V1_0::SensorInfo info;  // copy of its list entry

  // Modes: which samples a run takes from the sensor's events.
  uint8_t in_calibrate = 0;
  uint8_t in_raw_calibrate = 0;        // light and colour: channel values unscaled
  uint8_t in_backlight_calibrate = 0;  // light: one value per event, panel lit
  uint8_t in_lcd_cct_calibrate = 0;    // light: channel values divided by the scales, panel lit
  uint8_t backlight_retry = 0;         // with in_backlight_calibrate: a mean outside (0, 10) is not announced
  int32_t retry_count = 0;

  float scale[10] = {};   // what the hub holds now, per channel: a sample is the event's value divided by it
  float coefficient = 0;  // single-channel light: found by the last run
  float offset[10] = {};  // what the hub holds now, per axis: a sample is the event's value plus it
  float mean[10] = {};    // result
  float reference = 0;    // pressure: subtracted from every sample, hPa
  int32_t status = 0;     // 0 running, 1 timed out, 2 finished

  // Settings of the run.
  int32_t period_ms = 0;
  int32_t axis_num = 0;  // values per sample, 1 to 10
  int32_t timeout_s = 0;
  int32_t sample_num = 0;
  float variance_threshold = 0;
  uint8_t zero_variance_check = 0;
  float bias_threshold[10] = {};
  int32_t skip_num = 0;  // first events, discarded while the sensor settles

  // State of the run.
  int32_t event_count = 0;  // events received, the discarded ones too
  float variance[10] = {};
  float sum_sq[10] = {};
  float sum[10] = {};
  int32_t sample_count = 0;

  uint8_t hw_cali = 0;    // proximity: the chip calibrates its own crosstalk
  bool lux_flag = false;  // light: handed to the hub's scale commands as it stands; nothing sets it
  int32_t ct_value = 0;   // proximity: crosstalk found by the chip
  int32_t ct_aux = 0;     // proximity: its second result
};

// Exported operations run on the caller's thread, block until their work is done and never throw. They are meant for
// one thread at a time. Where an operation needs the command API and there is none (initCheck() is not 0), it returns
// its failure value: -1, 0.0 from a query that returns double, -1.0 from sensor_setconfig, or nothing.
class __attribute__((visibility("default"))) SensorCalibration {
 public:
  // Connects to the sensor manager and the test service, reads the sensor list and opens the event queue. Failures are
  // logged and told by initCheck(). The newest object gets the sensor events.
  SensorCalibration();
  // Releases the services. Disables no sensor and leaves the mutex and the condition to sensor_cal_deinit().
  ~SensorCalibration();
  SensorCalibration(const SensorCalibration&) = delete;
  SensorCalibration& operator=(const SensorCalibration&) = delete;

  // 0 when ready, -19 when the sensor manager was missing or the command API found no test service. A sensor list that
  // could not be read shows in the records alone.
  int initCheck();

  // Ends the object's use for calibrations; the application calls it before it deletes the object. Returns the result
  // of destroying the condition. Harmless a second time and on an object that is not ready.
  int sensor_cal_deinit();

  // Takes one sensor event. Called on the event queue's thread only, one event at a time.
  ::android::hardware::Return<void> processEvent(::android::hardware::sensors::V1_0::Event const& e);

  // Runs the record's sensor as its settings and mode say and blocks until the run finishes (returns 2), `timeout_s`
  // has passed (1; the sensor is disabled), or it cannot start or is woken early (0; a sensor that was enabled stays
  // so).
  int cal_wait_finish(_sensor_info* info);

  // Calibrates one sensor. `param` chooses the step: 4 self-test, 5 to 7 time of flight, 8 to 11 light under OLED,
  // 12 and 15 to 18 high lux, 13 and 14 panel light, -1 soft SAR calibration or golden data, others the sensor's own.
  // Returns 0, the hub's result, -1, or 1098 when the hub's own colour run does not end. Blocks up to 5 s for most
  // sensors, 8 s for single-channel light, 4.5 s for the hub's colour run, 20 s with the panel lit.
  int sensor_calibrate(int type, int param);
  // Calibrates one light channel (types 5 and 33171055) to a target value. Returns the hub's result, or -1.
  int sensor_calibrate(int type, int channel, float target);
  // Calibrates the barometer (type 6) against the reference pressure `value`, hPa. Returns 0.0, -1.0 without a
  // barometer, or the run's result.
  double sensor_setconfig(int type, int param, float value);
  // Write a SAR chip's register: adr[0] register, adr[1] value. Return the hub's result.
  int sensor_set_sar_reg(int type, int* adr);
  int sensor_set_sarsec_reg(int type, int* adr);

  // Reads the sensor list and binds its sensors to the records. Called by the constructor.
  void get_all_sensors_info();

  // Chip probes. List checks: whether `name` begins with the name of a chip on the type's list. Probes: 1 or 0 for the
  // default sensor, -2 without a sensor manager, -3 without such a sensor.
  bool sensor_lookup_list_check(char const* name, int type);
  bool tof_sensor_lookup_list_check(char const* name, int type);
  int test_is_rgb_sensor();
  int test_is_ps_tof_sensor();
  int test_is_tof_sensor();
  int test_is_pshwcali_sensor();

  // The flows behind sensor_calibrate(). 0 on success; -1, the hub's result, or 1098, on failure. They block as it
  // does.
  int continue_reporting_sensor_calibrate(int type, int param);
  int onchange_reporting_sensor_calibrate(int type, int param);
  // 1 when the chip calibrated its crosstalk, 0 when it did not.
  int sensor_hw_crosstalk_calibration(int type);

  // Panel brightness. The first returns 0 or -1 and takes 0 to 8191; it writes relative to the working directory. The
  // others return 0 or minus errno.
  int SetBrightness(int brightness);
  int lcdbacklight_calibrate_write_backlight(char const* path, int value);
  int lcdbacklight_calibrate_read_backlight(char const* path, int* value);

  // Light and colour calibrations at full (13) and reduced (14) panel brightness, up to 20 s each. The panel stays at
  // the last brightness set.
  int lcdbacklight_lux_calibrate(int type, int level);
  int lcdbacklight_high_calibrate(int type);
  int lcdbacklight_low_calibrate(int type);
  int lcdbacklightcct_high_calibrate(int type);
  int lcdbacklightcct_low_calibrate(int type);
  // Light sensor under an OLED panel: asks the hub for one sample and returns its answer, truncated.
  int underoled_lux_calibrate(int type, int arg);

  // Loads the verdict table into judge_calibrated: the lines whose chip is on this phone.
  void get_judge_calibrated();
  // The key path of a sensor's row, split at its dots. Empty when the row is invalid, one empty text when there is
  // none.
  std::vector<std::string> ParseStr(int type, unsigned int mode, int index);
  // The "ver" and "data" texts of a sensor's reference file, in the section that the keys lead to. Empty when the row
  // is invalid or the file cannot be opened.
  std::vector<std::vector<std::string>> GetSensorJsonData(std::vector<std::string> keys, int type, unsigned int mode);

  // One character per enabled sensor, '1' calibrated or '0' not, as the hub's values say.
  std::string GetCalibrated();
  // One stored value of a sensor, component `axis` 0 to 2; 0.0 on any failure.
  double sensor_getconfig(int type, int axis);
  // `length` stored values (at most 10) of an array-valued sensor. 0, the hub's result, or -1.
  int sensor_getconfig(int type, float* values, int length);
  // Asks the hub for one fixed sample and returns its answer, truncated; -1 without a test service.
  int collectData();

  // Writes four channel scales into the light sensor's JSON file and raises its revision. 0, or 1 when the file cannot
  // be read or is not of the expected form.
  int WirteScaleToFileJson(float* scale, std::string const& path);

  ::android::sp<::android::frameworks::sensorservice::V1_0::IEventQueue> event_queue;
  ::android::sp<::android::frameworks::sensorservice::V1_0::ISensorManager> sensor_manager;
  SensorCalibrationAPI* cal_api = nullptr;  // owned
  _sensor_info motion_info[8];              // records 0 to 7
  _sensor_info env_info[10];                // records 8 to 17
  pthread_mutex_t cal_mutex = PTHREAD_MUTEX_INITIALIZER;
  pthread_cond_t cal_cond = PTHREAD_COND_INITIALIZER;
  ::android::hardware::hidl_vec<::android::hardware::sensors::V1_0::SensorInfo> sensor_list;
  int32_t init_status = -19;
  ::android::sp<::vendor::corvane::sensor::kestsensorservice::V1_1::IKestSensorService> kest_service;
};

// Hands every sensor event to the calibration object, one at a time.
class SensorEventCallback : public ::android::frameworks::sensorservice::V1_0::IEventQueueCallback {
 public:
  explicit SensorEventCallback(SensorCalibration* cal);
  ~SensorEventCallback() override;
  ::android::hardware::Return<void> onEvent(::android::hardware::sensors::V1_0::Event const& event) override;

  std::mutex mutex;                // held during a delivery
  SensorCalibration* calibration;  // not owned; guarded by mutex; null once that object is gone or was replaced
};

// The one callback object. Each constructed SensorCalibration replaces it; it outlives them all.
extern __attribute__((visibility("default"))) ::android::sp<SensorEventCallback> msensorEventCallback;

// The verdict table: one row of fields per kept line. Empty until get_judge_calibrated().
extern __attribute__((visibility("default"))) std::vector<std::vector<std::string>> judge_calibrated;

// Writes `value` as decimal text to an existing file. 0 or -1.
__attribute__((visibility("default"))) int writeStr(char const* path, unsigned int value);
