// The kinds of calibration that the fault matrix tries, one of each sort in docs/faults.md: what is asked for, on which
// phone and in which world, what it takes from the phone and where its result goes.
#pragma once

#include <SensorType.h>

namespace fault_matrix {

enum class Call { calibrate, pressure, sar_register, dark, golden_truth, report };

struct Kind {
  const char* name;  // as the page and `before` have it
  const char* sort;  // the page's name of its sort; empty: only prepares phones for others
  const char* profile;
  Call call;
  int type;
  int param = 0;
  const char* sensor = "";  // whose events it takes, as a fault names it
  const char* other = "";   // a sensor that is none of its business
  const char* much = "";    // variance beyond its limits
  int get_code = -1;        // of the message that reads what the hub holds
  int set_code = -1;        // of the message that changes it
  const char* owns = "";    // of the hub's values: beginnings of their paths, '|' between them
  const char* files = "";   // that a good run writes, '|' between them
  const char* before = "";  // names of the kinds that a factory runs before, '|' between them
  int result_word = 0;
  bool float_result = false;
  const char* world = "target=none";  // "key=value"
};

using namespace sensor_type;  // NOLINT(google-build-using-namespace): the table is nothing but these names
inline constexpr char kChipFiles[] =
    "/mnt/vendor/persist/sensors/PSensor_ct1.txt|/mnt/vendor/persist/sensors/PSensor_ct2.txt";

inline constexpr Kind kKinds[] = {
    {"Acc", "offsets of accelerometers and gyroscopes", "reference", Call::calibrate, accelerometer, 0, "Acc", "Bar",
     "20", 1, 0, "Acc/"},
    {"Gyr", "", "reference", Call::calibrate, gyroscope},
    {"Bar", "pressure", "reference", Call::pressure, pressure, 0, "Bar", "Acc", "5000", 22, 21, "Bar/"},
    {"Lux", "light, one channel", "reference", Call::calibrate, light, 0, "33171007", "Acc", "1000000", 10, 9,
     "Lux/scale"},
    {"Lux_B", "", "reference", Call::calibrate, lux_b},
    {"CCT_F_strm", "channel scales", "reference", Call::calibrate, cct_f_stream, 0, "CCT_F_strm", "Lux_F", "5000", 31,
     30, "CCT_F/channel_scales", "/mnt/vendor/nvcfg/sensor/lightSensorCali.json", "truth of CCT_F_strm"},
    {"CCT_B_strm", "", "reference", Call::calibrate, cct_b_stream},
    {"33171007", "", "reference", Call::calibrate, light_stream},
    {"CCT_F_strm golden", "golden channels", "reference", Call::calibrate, cct_f_stream, -1, "CCT_F_strm", "Lux_F",
     "5000", -1, 28, "CCT_F/golden_channels"},
    {"CCT_F_strm by the hub", "channel scales, by the hub itself", "hub-colour", Call::calibrate, cct_f_stream, 0, "",
     "", "", 40, 39, "CCT_F/", "", "CCT_F_strm golden by the hub"},
    {"CCT_F_strm golden by the hub", "golden channels, by the hub itself", "hub-colour", Call::calibrate, cct_f_stream,
     -1, "", "", "", 40, 39, "CCT_F/"},
    {"Prx 0, by the chip", "proximity, crosstalk by the chip", "reference", Call::calibrate, proximity, 0, "33171005",
     "Lux", "500", -1, 7, "Prx/", kChipFiles},
    {"Prx 2, by the chip", "proximity, thresholds over the chip's crosstalk", "reference", Call::calibrate, proximity,
     2, "33171005", "Lux", "500", -1, 5, "Prx/", "", "Prx 0, by the chip", 0, false, "target=3"},
    {"Prx 0", "proximity, crosstalk", "normal-proximity", Call::calibrate, proximity, 0, "33171005", "Lux", "500", -1,
     5, "Prx/"},
    {"Prx 0 with a delta", "proximity, crosstalk with a saved delta", "normal-proximity", Call::calibrate, proximity, 0,
     "33171005", "Lux", "500", -1, 5, "Prx/", "", "Prx 0|Prx 2"},
    {"Prx 2", "proximity, thresholds and delta", "normal-proximity", Call::calibrate, proximity, 2, "33171005", "Lux",
     "500", 6, 5, "Prx/", "/mnt/vendor/persist/sensors/PSensor3cm_ct.txt", "Prx 0", 0, false, "target=3"},
    {"Prx 19", "proximity, restored from the delta", "normal-proximity", Call::calibrate, proximity, 19, "33171005",
     "Lux", "500", -1, 5, "Prx/", "", "Prx 0|Prx 2"},
    {"self-test of Acc", "commands to the hub", "reference", Call::calibrate, accelerometer, 4, "", "", "", -1, 8},
    {"33171015 (SAR)", "commands to the hub", "reference", Call::calibrate, sar, 0, "", "", "", -1, 11, "33171015/"},
    {"33171016 (SAR)", "", "reference", Call::calibrate, sar_second},
    {"33171015 soft", "soft SAR command", "reference", Call::calibrate, sar, -1, "", "", "", -1, 11, "33171015/"},
    {"33171015 register", "SAR registers", "reference", Call::sar_register, sar, 0, "", "", "", -1, 43,
     "33171015/registers", "", "", 1},
    {"dark values", "dark values", "reference", Call::dark, light, 0, "", "", "", -1, 38, "Lux/dark", "", "", 0, true,
     "dark-box=on"},
    {"Lux 8, under OLED", "light under OLED", "reference", Call::calibrate, light, 8, "", "", "", -1, 0,
     "Lux/panel_samples", "", "", 0, true},
    {"Lux 13", "panel light, high", "reference", Call::calibrate, light, 13, "33171007", "Lux_F", "5000", -1, 26,
     "Lux/backlight|Lux/colour_backlight", "", "Lux", 1, false, "dark-box=on"},
    {"Lux 14", "panel light, low", "reference", Call::calibrate, light, 14, "33171007", "Lux_F", "5000", -1, 26,
     "Lux/backlight|Lux/colour_backlight", "", "Lux|Lux 13", 1, false, "dark-box=on"},
    {"Lux 14, bright panel", "panel light, low, of a bright panel", "normal-proximity", Call::calibrate, light, 14,
     "33171007", "Lux_F", "5000", -1, 26, "Lux/backlight|Lux/colour_backlight", "", "Lux|Lux 13", 1, false,
     "dark-box=on"},
    {"Lux 13, colour", "panel colour, high", "colour-backlight", Call::calibrate, light, 13, "33171007", "Lux_F",
     "5000", 31, 27, "Lux/backlight|Lux/colour_backlight", "",
     "truth of CCT_F_strm|CCT_F_strm|truth of 33171007|33171007|Lux", 0, false, "dark-box=on"},
    {"Lux 14, colour", "panel colour, low", "colour-backlight", Call::calibrate, light, 14, "33171007", "Lux_F", "5000",
     31, 27, "Lux/backlight|Lux/colour_backlight", "",
     "truth of CCT_F_strm|CCT_F_strm|truth of 33171007|33171007|Lux|Lux 13, colour", 0, false, "dark-box=on"},
    {"report", "report", "reference", Call::report, 0, 0, "", "", "", -1, -1, "", "",
     "Acc|Gyr|Bar|Lux|Lux_B|truth of CCT_F_strm|CCT_F_strm|truth of CCT_B_strm|CCT_B_strm|dark values|33171015 (SAR)|"
     "33171016 (SAR)|Prx 0, by the chip|Prx 2, by the chip"},
    {"truth of CCT_F_strm", "", "reference", Call::golden_truth, cct_f_stream},
    {"truth of CCT_B_strm", "", "reference", Call::golden_truth, cct_b_stream},
    {"truth of 33171007", "", "reference", Call::golden_truth, light_stream},
};

}  // namespace fault_matrix
