// The layout that applications are compiled against: which field follows which, in every build. What differs between
// Android's types and their stand-in (the list entry, the service pointers) is measured from its own size.
#include <SensorCalibration.h>
#include <SensorCalibrationAPI.h>
#include <persistCalibrate.h>
#include <stddef.h>

namespace {

// `next` comes directly after `field` of `Type`, which has `bytes`.
#define FOLLOWS(Type, field, bytes, next)                        \
  static_assert(sizeof(Type::field) == (bytes), "size changed"); \
  static_assert(offsetof(Type, next) == offsetof(Type, field) + (bytes), "order changed")

FOLLOWS(_sensor_info, in_calibrate, 1, in_raw_calibrate);
FOLLOWS(_sensor_info, in_raw_calibrate, 1, in_backlight_calibrate);
FOLLOWS(_sensor_info, in_backlight_calibrate, 1, in_lcd_cct_calibrate);
FOLLOWS(_sensor_info, in_lcd_cct_calibrate, 1, backlight_retry);
FOLLOWS(_sensor_info, retry_count, 4, scale);
FOLLOWS(_sensor_info, scale, 40, coefficient);
FOLLOWS(_sensor_info, coefficient, 4, offset);
FOLLOWS(_sensor_info, offset, 40, mean);
FOLLOWS(_sensor_info, mean, 40, reference);
FOLLOWS(_sensor_info, reference, 4, status);
FOLLOWS(_sensor_info, status, 4, period_ms);
FOLLOWS(_sensor_info, period_ms, 4, axis_num);
FOLLOWS(_sensor_info, axis_num, 4, timeout_s);
FOLLOWS(_sensor_info, timeout_s, 4, sample_num);
FOLLOWS(_sensor_info, sample_num, 4, variance_threshold);
FOLLOWS(_sensor_info, bias_threshold, 40, skip_num);
FOLLOWS(_sensor_info, skip_num, 4, event_count);
FOLLOWS(_sensor_info, event_count, 4, variance);
FOLLOWS(_sensor_info, variance, 40, sum_sq);
FOLLOWS(_sensor_info, sum_sq, 40, sum);
FOLLOWS(_sensor_info, sum, 40, sample_count);
FOLLOWS(_sensor_info, sample_count, 4, hw_cali);
FOLLOWS(_sensor_info, hw_cali, 1, lux_flag);
FOLLOWS(_sensor_info, ct_value, 4, ct_aux);
static_assert(offsetof(_sensor_info, present) == 0, "the record begins with its presence");
static_assert(offsetof(_sensor_info, retry_count) - offsetof(_sensor_info, in_calibrate) == 8, "modes, then padding");
static_assert(sizeof(_sensor_info) - offsetof(_sensor_info, ct_aux) <= 8, "nothing was added behind the last field");

FOLLOWS(SensorCalibration, motion_info, 8 * sizeof(_sensor_info), env_info);
FOLLOWS(SensorCalibration, env_info, 10 * sizeof(_sensor_info), cal_mutex);
// On 32 bits the condition may start on a boundary of its own.
static_assert(offsetof(SensorCalibration, cal_cond) - offsetof(SensorCalibration, cal_mutex) - sizeof(pthread_mutex_t) <
                  alignof(pthread_cond_t),
              "order changed");
FOLLOWS(SensorCalibration, event_queue, sizeof(void*), sensor_manager);
FOLLOWS(SensorCalibration, sensor_manager, sizeof(void*), cal_api);
static_assert(offsetof(SensorCalibration, event_queue) == 0, "no virtual functions");

FOLLOWS(_ssc_oem_test_msg, sensor_type, 4, msg_type);
FOLLOWS(_ssc_oem_test_msg, msg_type, 4, offset);
static_assert(offsetof(_ssc_oem_test_msg, offset_ct) == 8 && offsetof(_ssc_oem_test_msg, threshold) == 8,
              "three names");

static_assert(offsetof(persistCalibrate, count) == 0 && offsetof(persistCalibrate, scale) == 8, "padding after count");
FOLLOWS(persistCalibrate, scale, 8, rows);
// The vector itself is meant, not what it holds.
FOLLOWS(persistCalibrate, rows, sizeof(std::vector<double>), row);  // NOLINT(bugprone-sizeof-container)

}  // namespace
