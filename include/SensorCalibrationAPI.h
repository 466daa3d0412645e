// The library's only path to the sensor hub: one record sent, one record back, and a named operation per command.
#pragma once

#include <stdint.h>

#include <string>

#include <OemTestMsg.h>
#include <utils/StrongPointer.h>
#include <vendor/corvane/sensor/kestsensorservice/1.1/IKestSensorService.h>

// Every operation runs on the caller's thread and blocks for as long as the test service takes to answer; several
// threads may call. Each looks the service up afresh. Without a service a read gives back the words of its own request
// and a call that never answers gives zeros: neither is reported as a failure. Operations return the hub's own result
// word, 0 where the hub sends none, and -1 for an argument refused before anything was sent. Array operations carry
// `length` to the hub as it stands but move at most 15 elements, which is what fits in the record.
class __attribute__((visibility("default"))) SensorCalibrationAPI {
 public:
  SensorCalibrationAPI();
  ~SensorCalibrationAPI();
  SensorCalibrationAPI(const SensorCalibrationAPI&) = delete;
  SensorCalibrationAPI& operator=(const SensorCalibrationAPI&) = delete;

  // 0 when the test service was found at construction, -19 when it was not.
  int initCheck() const;

  // Sends `*msg` and overwrites all 72 bytes of it with the reply. Always returns 0.
  int send_ssc_oem_test_msg(_ssc_oem_test_msg* msg);

  // Inertial sensors. Offsets are three floats, in m/s^2 (types 1 and 268369921) or rad/s (4 and 268369924).
  int getAMGOffset_api(int type, float* offset);
  int setAMGOffset_api(int type, float* offset);
  // Makes the hub forget its run-time gyroscope bias. Types 4 and 268369924; any other returns 0 unsent.
  int reset_gyro_cal_api(int type);
  // Version of the stored calibration. `judgeHB`: 0, 1 (type 5) or 2 (types 5 and 33171081); another returns -1.
  // `lcd`: "highlcd", "lowlcd" or anything else for neither.
  int getAMGversion_api(int type, float* version, unsigned judgeHB, std::string lcd);

  // Single-channel light. Scales are factors without unit.
  int getLuxDark_api(float* dark, int type);
  int getLuxScale_api(float* scale, bool is_rgb, int type);
  int setLuxScale_api(float scale, bool is_rgb, int type);
  int setAlsHighLuxCali_api(int type, int para);
  int setAlsChannelDataCali_api(int type, int channel, float target);
  int postScreenChannelData_api(int type, int channel, float target);
  int setAlsBacklightLuxCali_api(int type, int para, int backlight, int lux);

  // Colour and light streams. Arrays hold `length` channels.
  int setCctChannelBacklight_api(int type, int a, int b, float* ch);  // four channels
  int getLuxChannelRawGolden_api(int type, float* raw, int length);
  int setLuxChannelRawGolden_api(int type, float* raw, int length);
  int getLuxChannelScale_api(int type, float* scale, int length);
  int setLuxChannelScale_api(int type, float* scale, int length);
  int setCCTCaliCmd_api(int type, int cmd_id);
  int getCCTCaliRet_api(int type, int cmd_id);

  // Barometer, hPa.
  int getBarOffset_api(float* diff);
  int setBarOffset_api(float diff);

  // Proximity, raw counts. `para` names the value: 0 crosstalk, 1 far threshold, 2 near threshold, 3 second crosstalk.
  int getPrxOffset_api(int* offset, int para, int supporthwcal);
  int setPrxOffset_api(int offset, int para, int supporthwcal);
  int setPrxThreshold_api(int t0, int t1, int t2);
  int setPrxFroceCal_api(int type, int* a, int* b);
  // The 3 cm delta in its file: 0, or -5 when the file cannot be read or written.
  int getProDelta_api(int* offset, int para, int supporthwcal);
  int saveProDelta_api(int offset, int para, int supporthwcal);

  // SAR.
  int getSAROffset_api(int type, float* offset);  // three values
  int getSAROffset_api(int type, float* scale, int length);
  int setSarCal_api(int type);
  int setSarSoftCal_api(int type);
  int setSARreg(int type, int* para);  // para[0] register, para[1] value
  int setSARSECreg(int type, int* para);

  // Time of flight.
  int setTofPrxCal_api(int type, int para);
  int getTofOffset_api(int* offset, int para);

  int setSelftest_api(int type);

  // Crosstalk files of the persist partition, one value each: 0, or -5 when a file cannot be read or written.
  int load_prox_ct1(int* value);
  int load_prox_ct2(int* value);
  int load_prox_delta(int* value);
  int save_prox_ct1(int value);
  int save_prox_ct2(int value);
  int save_prox_delta(int value);
  // 0 when the file is gone or never was, -1 when it cannot be deleted.
  int remove_prox_delta();

  int32_t status;
  ::android::sp<::vendor::corvane::sensor::kestsensorservice::V1_1::IKestSensorService> service;
};
