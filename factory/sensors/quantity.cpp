#include "sensors/quantity.h"

#include "sensors/kinds.h"

namespace factory {
namespace {

struct Row {
  int type;
  const char* unit;
  int values;
  int period_ms;
};

// Types whose events differ from what their calibration samples, or that have none.
constexpr Row kRows[] = {
    {sensor_type::gyroscope_uncalibrated, "rad/s", 3, 20},
    {sensor_type::magnetic_field, "uT", 3, 20},
    {14, "uT", 3, 20},  // uncalibrated magnetic field
    {sensor_type::proximity, "cm", 1, 100},
    {sensor_type::proximity_stream, "counts", 1, 100},
    {sensor_type::sar, "counts", 1, 100},
    {sensor_type::sar_second, "counts", 1, 100},
    {sensor_type::tof, "mm", 1, 100},
};

}  // namespace

Quantity quantity_of(int sensor_type) {
  constexpr const char* kAxes[] = {"x", "y", "z"};
  for (const Row& row : kRows) {
    if (row.type != sensor_type) continue;
    Quantity out{row.unit, {"value"}, 0, row.period_ms};
    if (row.values > 1) out.axes.assign(kAxes, kAxes + row.values);
    return out;
  }
  if (const Kind* kind = find_kind(sensor_type, 0)) {
    return {kind->unit, {kind->axes, kind->axes + kind->values}, kind->first_word, kind->period_ms};
  }
  return {"", {"value"}, 0, 100};
}

}  // namespace factory
