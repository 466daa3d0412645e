// Uses one thing of each exported header: tags, record, operations, files, calibration object.
#include <OemTestMsg.h>
#include <SensorCalibration.h>
#include <SensorCalibrationAPI.h>
#include <SensorType.h>
#include <persistCalibrate.h>

#include <cstdio>

int main() {
  persistCalibrate files;
  SensorCalibrationAPI api;  // there is no hub: the library must say so instead of failing to start
  const int no_hub = api.initCheck();
  std::printf("%s %zu bytes, %g, initCheck %d\n", sensor_type::kTags[0].tag, sizeof(_ssc_oem_test_msg),
              stringToDouble("2.5 lux"), no_hub);
  return no_hub != 0 && files.count == 0 && sizeof(SensorCalibration) > 0 ? 0 : 1;
}
