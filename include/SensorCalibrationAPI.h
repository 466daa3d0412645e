/// @file
/// The library's only path to the sensor hub: one record sent, one record back, and a named operation per command.
#pragma once

#include <stdint.h>

#include <string>

#include <OemTestMsg.h>
#include <utils/StrongPointer.h>
#include <vendor/corvane/sensor/kestsensorservice/1.1/IKestSensorService.h>

/// The hub's commands. docs/formats/hub-record.md has the words of each.
///
/// *Threads:* every operation runs on the caller's thread and blocks for as long as the test service takes to answer,
/// for ever if it hangs; several threads may call. Each looks the service up afresh, with getService("default"): on a
/// phone that waits for a service which the device's manifest lists, for ever when it is dead. A client that must not
/// hang asks tryGetService() first.
///
/// *Failures:* a message that is lost is not reported. Without a service an operation reads its reply from the words of
/// its own request: zeros, the arguments themselves, -1 in the words of a proximity value not asked for; what it then
/// returns, "always 0" among it, says nothing. A call that never answers leaves zeros, which read as success. "The
/// hub's result" below is a word of the reply, 0 for success, and is returned as it is.
///
/// *Types* are sensor type numbers (SensorType.h); an operation that does not name the types it takes sends any.
/// *Arrays* are the caller's and are never kept. `length` travels to the hub as it stands, but at most 15 elements are
/// moved, which is what fits in the record; 0 and less move none. No pointer may be null.
class __attribute__((visibility("default"))) SensorCalibrationAPI {
 public:
  /// Looks the test service up, as every message does; initCheck() tells how that went. Never throws.
  SensorCalibrationAPI();
  /// Releases the service. Nothing is sent.
  ~SensorCalibrationAPI();
  SensorCalibrationAPI(const SensorCalibrationAPI&) = delete;
  SensorCalibrationAPI& operator=(const SensorCalibrationAPI&) = delete;

  /// Whether the test service was there at construction.
  /// @return 0, or -19 (-ENODEV). Later losses do not show here.
  int initCheck() const;

  /// Sends one record. Everything else here goes through this.
  /// @param msg in: the request; out: the reply, all 72 bytes. Unchanged without a service, zeros without an answer.
  /// @return always 0
  int send_ssc_oem_test_msg(_ssc_oem_test_msg* msg);

  /// @name Inertial sensors
  /// Types 1 and 268369921 (accelerometers, m/s^2), 4 and 268369924 (gyroscopes, rad/s). The hub subtracts the offset
  /// from what it reports.
  /// @{

  /// Reads the offset that the hub applies.
  /// @param type one of the four
  /// @param offset out: x, y, z
  /// @return 0, or -1 for another type, which leaves `offset` as it was
  int getAMGOffset_api(int type, float* offset);

  /// Sets the offset.
  /// @param type one of the four
  /// @param offset in: x, y, z
  /// @return the hub's result, or -1 for another type
  int setAMGOffset_api(int type, float* offset);

  /// Makes the hub forget the bias that it learned at rest.
  /// @param type 4 or 268369924; for any other nothing is sent
  /// @return always 0
  int reset_gyro_cal_api(int type);

  /// Reads the version of the stored calibration.
  /// @param type any; 5 with `judgeHB` 1, and 5 or 33171081 with 2, have a version of their own
  /// @param version out: the version
  /// @param judgeHB 0, 1 or 2
  /// @param lcd panel level of the calibration: "highlcd", "lowlcd", or anything else for none
  /// @return the hub's result, or -1 for another `judgeHB`, which leaves `version` as it was
  int getAMGversion_api(int type, float* version, unsigned judgeHB, std::string lcd);
  /// @}

  /// @name Single-channel light sensors
  /// Scales are factors without a unit: reported lux = scale x raw.
  /// @{

  /// Reads a dark value; the main light sensor is asked, whatever sensor the value is of.
  /// @param dark out: counts, 0 when the hub has none
  /// @param type which dark value, 1 to 6
  /// @return always 0
  int getLuxDark_api(float* dark, int type);

  /// Reads the scale.
  /// @param scale out: the factor
  /// @param is_rgb is logged, nothing else
  /// @param type light sensor
  /// @return always 0
  int getLuxScale_api(float* scale, bool is_rgb, int type);

  /// Sets the scale.
  /// @param scale the factor
  /// @param is_rgb is logged, nothing else
  /// @param type light sensor
  /// @return always 0, whatever the hub said
  int setLuxScale_api(float scale, bool is_rgb, int type);

  /// One step of the calibration in bright light.
  /// @param type light sensor
  /// @param para step, 12 and 15 to 18
  /// @return the hub's result
  int setAlsHighLuxCali_api(int type, int para);

  /// Makes the hub calibrate one channel to a target value.
  /// @param type light sensor
  /// @param channel number of the channel
  /// @param target what it is to report, counts
  /// @return the hub's result, a float truncated to an int: 0, or -1
  int setAlsChannelDataCali_api(int type, int channel, float target);

  /// The same for a channel of the panel's own light. Arguments and result as for setAlsChannelDataCali_api().
  /// @param type light sensor
  /// @param channel number of the channel
  /// @param target what it is to report, counts
  /// @return the hub's result, truncated
  int postScreenChannelData_api(int type, int channel, float target);

  /// Tells the hub what the panel alone makes the sensor report.
  /// @param type light sensor
  /// @param para 13 for the full brightness, 14 for a reduced one
  /// @param backlight brightness, the panel's own steps
  /// @param lux light at that brightness, lux
  /// @return the hub's result
  int setAlsBacklightLuxCali_api(int type, int para, int backlight, int lux);
  /// @}

  /// @name Colour sensors and light streams
  /// Arrays hold `length` channels: counts (golden values), or factors without a unit (scales).
  /// @{

  /// Tells the hub what the panel alone puts on the channels.
  /// @param type light sensor or stream
  /// @param a 13 for the full brightness, 14 for a reduced one
  /// @param b brightness, the panel's own steps
  /// @param ch in: four channels, counts
  /// @return the hub's result
  int setCctChannelBacklight_api(int type, int a, int b, float* ch);

  /// Reads the golden values.
  /// @param type colour or light stream
  /// @param raw out: `length` channels, counts, whatever is returned
  /// @param length how many
  /// @return 0, or -1 when the hub has none
  int getLuxChannelRawGolden_api(int type, float* raw, int length);

  /// Sets the golden values.
  /// @param type colour or light stream
  /// @param raw in: `length` channels, counts
  /// @param length how many
  /// @return the hub's result
  int setLuxChannelRawGolden_api(int type, float* raw, int length);

  /// Reads the channel scales.
  /// @param type colour or light stream
  /// @param scale out: `length` factors, whatever is returned
  /// @param length how many
  /// @return the hub's result
  int getLuxChannelScale_api(int type, float* scale, int length);

  /// Sets the channel scales.
  /// @param type colour or light stream
  /// @param scale in: `length` factors
  /// @param length how many
  /// @return the hub's result
  int setLuxChannelScale_api(int type, float* scale, int length);

  /// Starts the hub's own colour run.
  /// @param type colour stream
  /// @param cmd_id which run; -1 golden data
  /// @return the hub's result
  int setCCTCaliCmd_api(int type, int cmd_id);

  /// Asks how the hub's own colour run went.
  /// @param type colour stream
  /// @param cmd_id as it was started
  /// @return -1 while it runs, 0 when it is done, above 0 its error
  int getCCTCaliRet_api(int type, int cmd_id);
  /// @}

  /// @name Barometer
  /// Type 6; the hub subtracts the offset.
  /// @{

  /// Reads the offset.
  /// @param diff out: hPa
  /// @return always 0
  int getBarOffset_api(float* diff);

  /// Sets the offset.
  /// @param diff hPa
  /// @return always 0, whatever the hub said
  int setBarOffset_api(float diff);
  /// @}

  /// @name Proximity
  /// Raw counts. `para` names the value: 0 crosstalk, 1 far threshold, 2 near threshold, 3 second crosstalk.
  /// `supporthwcal` is 1 where the chip calibrates its own crosstalk: the two crosstalk values are in files then
  /// (docs/formats/persist-files.md). The second crosstalk is always in its file.
  /// @{

  /// Reads a value from the hub or its file.
  /// @param offset out: counts, 0 when the file cannot be read; unchanged for a `para` above 3 or below 0
  /// @param para which value
  /// @param supporthwcal 1 or 0
  /// @return always 0
  int getPrxOffset_api(int* offset, int para, int supporthwcal);

  /// Writes a value to the hub or its file.
  /// @param offset counts
  /// @param para which value; an unknown one sends zeros for all three
  /// @param supporthwcal 1 or 0
  /// @return always 0; a file that cannot be written shows in the log alone
  int setPrxOffset_api(int offset, int para, int supporthwcal);

  /// Sets all three words at once; -1 leaves a value as it is.
  /// @param t0 near threshold, counts
  /// @param t1 far threshold, counts
  /// @param t2 crosstalk, counts
  /// @return always 0
  int setPrxThreshold_api(int t0, int t1, int t2);

  /// Makes the chip calibrate its crosstalk by itself.
  /// @param type 8
  /// @param a out: crosstalk, counts
  /// @param b out: the chip's second result
  /// @return always 0
  int setPrxFroceCal_api(int type, int* a, int* b);

  /// Reads the 3 cm delta from its file.
  /// @param offset out: counts; unchanged on failure
  /// @param para 0 or 19; for another nothing is read
  /// @param supporthwcal 0; otherwise nothing is read
  /// @return 0, or -5 (-EIO)
  int getProDelta_api(int* offset, int para, int supporthwcal);

  /// Writes the 3 cm delta to its file.
  /// @param offset counts
  /// @param para 2; for another nothing is written
  /// @param supporthwcal 0; otherwise nothing is written
  /// @return 0, or -5 (-EIO)
  int saveProDelta_api(int offset, int para, int supporthwcal);
  /// @}

  /// @name SAR sensors
  /// Types 33171015 and 33171016.
  /// @{

  /// Reads three offsets.
  /// @param type one of the two
  /// @param offset out: three values, counts
  /// @return 0, or -1 for another type, which leaves `offset` as it was
  int getSAROffset_api(int type, float* offset);

  /// Reads `length` offsets.
  /// @param type one of the two
  /// @param scale out: `length` values, counts
  /// @param length how many
  /// @return the hub's result, or -1 for another type, which leaves `scale` as it was
  int getSAROffset_api(int type, float* scale, int length);

  /// Makes the hub take the present reading as its offset.
  /// @param type SAR sensor
  /// @return the hub's result
  int setSarCal_api(int type);

  /// The soft calibration, which keeps a baseline of its own.
  /// @param type SAR sensor
  /// @return the hub's result
  int setSarSoftCal_api(int type);

  /// Writes a register of the first chip.
  /// @param type SAR sensor
  /// @param para in: register, value
  /// @return the hub's result
  int setSARreg(int type, int* para);

  /// Writes a register of the second chip.
  /// @param type SAR sensor
  /// @param para in: register, value
  /// @return the hub's result
  int setSARSECreg(int type, int* para);
  /// @}

  /// @name Time of flight
  /// @{

  /// One step of the calibration, to be taken in this order.
  /// @param type 8 or 33171040
  /// @param para 5 reference, 6 offset, 7 crosstalk
  /// @return the hub's result, or -1 for another `para`
  int setTofPrxCal_api(int type, int para);

  /// Reads the offset of type 33171040.
  /// @param offset out: counts
  /// @param para 0
  /// @return always 0; another `para` is logged, sends nothing and leaves `offset` as it was
  int getTofOffset_api(int* offset, int para);
  /// @}

  /// The chip's own test.
  /// @param type any sensor
  /// @return the hub's result
  int setSelftest_api(int type);

  /// @name Crosstalk files
  /// One value each, in the persist partition (docs/formats/persist-files.md). Nothing is sent. A file that cannot be
  /// opened for writing keeps its value; one that was opened and cannot be written has lost it. Both return -5.
  /// @{

  /// Reads the crosstalk. @param value out: counts; unchanged on failure @return 0, or -5 (-EIO)
  int load_prox_ct1(int* value);
  /// Reads the second crosstalk. @param value out: unchanged on failure @return 0, or -5 (-EIO)
  int load_prox_ct2(int* value);
  /// Reads the 3 cm delta. @param value out: counts; unchanged on failure @return 0, or -5 (-EIO)
  int load_prox_delta(int* value);
  /// Replaces the crosstalk. @param value counts @return 0, or -5 (-EIO)
  int save_prox_ct1(int value);
  /// Replaces the second crosstalk. @param value as the chip gave it @return 0, or -5 (-EIO)
  int save_prox_ct2(int value);
  /// Replaces the 3 cm delta. @param value counts @return 0, or -5 (-EIO)
  int save_prox_delta(int value);
  /// Deletes the 3 cm delta's file. @return 0 when the file is gone or never was, -1 when it cannot be deleted
  int remove_prox_delta();
  /// @}

  int32_t status;  ///< what initCheck() returns
  /// The service as it was found at construction; commands look it up anew.
  ::android::sp<::vendor::corvane::sensor::kestsensorservice::V1_1::IKestSensorService> service;
};
