// The layout that applications are compiled against: which field of which type follows which, in every build. What
// differs between Android's types and their stand-in (the list entry, the service pointers) is taken with its own size.
// A change on purpose: docs/how-to/change-the-interface.md.
#include <SensorCalibration.h>
#include <SensorCalibrationAPI.h>
#include <persistCalibrate.h>
#include <stddef.h>

#include <type_traits>

namespace {

constexpr size_t aligned(size_t end, size_t alignment) { return (end + alignment - 1) / alignment * alignment; }

// Where a `Next` comes to lie behind a `Field` at `offset`.
template <class Field, class Next>
constexpr size_t behind(size_t offset) {
  return aligned(offset + sizeof(Field), alignof(Next));  // NOLINT(bugprone-sizeof-expression): a pointer as well
}

#define IS_A(Type, field, ...) \
  static_assert(std::is_same_v<decltype(Type::field), __VA_ARGS__>, "the type of " #field " of " #Type " changed")

// `next` comes directly behind `field`.
#define FOLLOWS(Type, field, next)                                                                                  \
  static_assert(offsetof(Type, next) == behind<decltype(Type::field), decltype(Type::next)>(offsetof(Type, field)), \
                #next " of " #Type " is no longer directly behind " #field)

// Both, in the order in which the fields stand.
#define RECORD_FIELD(field, next, ...)    \
  IS_A(_sensor_info, field, __VA_ARGS__); \
  FOLLOWS(_sensor_info, field, next)

static_assert(offsetof(_sensor_info, present) == 0, "the record begins with its presence");
RECORD_FIELD(present, info, uint8_t);
RECORD_FIELD(info, in_calibrate, android::hardware::sensors::V1_0::SensorInfo);
RECORD_FIELD(in_calibrate, in_raw_calibrate, uint8_t);
RECORD_FIELD(in_raw_calibrate, in_backlight_calibrate, uint8_t);
RECORD_FIELD(in_backlight_calibrate, in_lcd_cct_calibrate, uint8_t);
RECORD_FIELD(in_lcd_cct_calibrate, backlight_retry, uint8_t);
RECORD_FIELD(backlight_retry, retry_count, uint8_t);
RECORD_FIELD(retry_count, scale, int32_t);
RECORD_FIELD(scale, coefficient, float[10]);
RECORD_FIELD(coefficient, offset, float);
RECORD_FIELD(offset, mean, float[10]);
RECORD_FIELD(mean, reference, float[10]);
RECORD_FIELD(reference, status, float);
RECORD_FIELD(status, period_ms, int32_t);
RECORD_FIELD(period_ms, axis_num, int32_t);
RECORD_FIELD(axis_num, timeout_s, int32_t);
RECORD_FIELD(timeout_s, sample_num, int32_t);
RECORD_FIELD(sample_num, variance_threshold, int32_t);
RECORD_FIELD(variance_threshold, zero_variance_check, float);
RECORD_FIELD(zero_variance_check, bias_threshold, uint8_t);
RECORD_FIELD(bias_threshold, skip_num, float[10]);
RECORD_FIELD(skip_num, event_count, int32_t);
RECORD_FIELD(event_count, variance, int32_t);
RECORD_FIELD(variance, sum_sq, float[10]);
RECORD_FIELD(sum_sq, sum, float[10]);
RECORD_FIELD(sum, sample_count, float[10]);
RECORD_FIELD(sample_count, hw_cali, int32_t);
RECORD_FIELD(hw_cali, lux_flag, uint8_t);
RECORD_FIELD(lux_flag, ct_value, bool);
RECORD_FIELD(ct_value, ct_aux, int32_t);
IS_A(_sensor_info, ct_aux, int32_t);
static_assert(sizeof(_sensor_info) == aligned(offsetof(_sensor_info, ct_aux) + 4, alignof(_sensor_info)),
              "something was added behind the record's last field");

static_assert(offsetof(SensorCalibration, event_queue) == 0, "SensorCalibration has virtual functions");
FOLLOWS(SensorCalibration, event_queue, sensor_manager);
FOLLOWS(SensorCalibration, sensor_manager, cal_api);
FOLLOWS(SensorCalibration, cal_api, motion_info);
IS_A(SensorCalibration, motion_info, _sensor_info[8]);
FOLLOWS(SensorCalibration, motion_info, env_info);
IS_A(SensorCalibration, env_info, _sensor_info[10]);
FOLLOWS(SensorCalibration, env_info, cal_mutex);
FOLLOWS(SensorCalibration, cal_mutex, cal_cond);
FOLLOWS(SensorCalibration, cal_cond, sensor_list);
FOLLOWS(SensorCalibration, sensor_list, init_status);
IS_A(SensorCalibration, init_status, int32_t);
FOLLOWS(SensorCalibration, init_status, kest_service);

static_assert(offsetof(SensorCalibrationAPI, status) == 0, "SensorCalibrationAPI begins with its status");
IS_A(SensorCalibrationAPI, status, int32_t);
FOLLOWS(SensorCalibrationAPI, status, service);

IS_A(_ssc_oem_test_msg, sensor_type, int32_t);
FOLLOWS(_ssc_oem_test_msg, sensor_type, msg_type);
IS_A(_ssc_oem_test_msg, msg_type, int32_t);
FOLLOWS(_ssc_oem_test_msg, msg_type, offset);
IS_A(_ssc_oem_test_msg, offset, float[16]);
IS_A(_ssc_oem_test_msg, offset_ct, int32_t[16]);
IS_A(_ssc_oem_test_msg, threshold, int32_t[16]);
static_assert(offsetof(_ssc_oem_test_msg, offset_ct) == 8 && offsetof(_ssc_oem_test_msg, threshold) == 8,
              "the three names of the words lie apart");

static_assert(offsetof(persistCalibrate, count) == 0, "persistCalibrate begins with its count");
IS_A(persistCalibrate, count, uint32_t);
FOLLOWS(persistCalibrate, count, scale);
IS_A(persistCalibrate, scale, double);
FOLLOWS(persistCalibrate, scale, rows);
IS_A(persistCalibrate, rows, std::vector<std::vector<double>>);
FOLLOWS(persistCalibrate, rows, row);
IS_A(persistCalibrate, row, std::vector<double>);

}  // namespace
