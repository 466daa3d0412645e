/// @file
/// Sensor type numbers and the tags that factory commands and the verdict table use for them.
#pragma once

/// Type numbers and tags.
namespace sensor_type {

/// @name Android's own types
/// @{

/// Type number.
inline constexpr int accelerometer = 1;
inline constexpr int magnetic_field = 2;
inline constexpr int gyroscope = 4;
inline constexpr int light = 5;
inline constexpr int pressure = 6;
inline constexpr int proximity = 8;
inline constexpr int gyroscope_uncalibrated = 16;

/// @}
/// @name Vendor types
/// kTags has the tag of each that has one.
/// @{

/// Type number.
inline constexpr int proximity_stream = 33171005;
inline constexpr int light_stream = 33171007;
inline constexpr int sar = 33171015;
inline constexpr int sar_second = 33171016;
inline constexpr int tof = 33171040;
inline constexpr int gas = 33171053;
inline constexpr int lux_f = 33171054;
inline constexpr int lux_b = 33171055;
inline constexpr int flicker = 33171056;
inline constexpr int cct_b_stream = 33171057;
inline constexpr int cct_b = 33171058;
inline constexpr int lux_pri2 = 33171080;
inline constexpr int lux_sec = 33171081;
inline constexpr int lux_sec_stream = 33171082;
inline constexpr int lux_pri2_stream = 33171084;
inline constexpr int lux_b_stream = 33171085;
inline constexpr int cct_f = 33171088;
inline constexpr int cct_f_stream = 33171089;
inline constexpr int accelerometer_second = 268369921;
inline constexpr int gyroscope_second = 268369924;

/// @}

/// A tag and its number.
struct TagRow {
  const char* tag;  ///< as factory commands and the verdict table spell it
  int type;         ///< type number
};

/// Every tag with its number. "MagCal" is the calibrated magnetic field and "Mag" the uncalibrated one: intended.
inline constexpr TagRow kTags[] = {
    {"Acc", accelerometer},
    {"Acc2", accelerometer_second},
    {"Mag", 14},
    {"MagCal", magnetic_field},
    {"Ori", 3},
    {"Gyr", gyroscope},
    {"Gyr2", gyroscope_second},
    {"Lux", light},
    {"Bar", pressure},
    {"Tmp", 7},
    {"Prx", proximity},
    {"Grv", 9},
    {"Lac", 10},
    {"Rot", 11},
    {"Hum", 12},
    {"Tam", 13},
    {"Tof", tof},
    {"Gas", gas},
    {"Lux_F", lux_f},
    {"Lux_B", lux_b},
    {"Lux_B_strm", lux_b_stream},
    {"Lux_pri2", lux_pri2},
    {"Lux_pri2_strm", lux_pri2_stream},
    {"Lux_sec", lux_sec},
    {"Lux_sec_strm", lux_sec_stream},
    {"Flicker", flicker},
    {"CCT_B", cct_b},
    {"CCT_B_strm", cct_b_stream},
    {"CCT_F", cct_f},
    {"CCT_F_strm", cct_f_stream},
};

}  // namespace sensor_type

/// The type number of a tag. Any thread; does not block.
/// @param name case-sensitive, the whole text; not null
/// @return the number; for a text that is no tag but begins with a digit atoi() of it; for any other -1
__attribute__((visibility("default"))) int getSensorType(char const* name);

/// The tag of a type number. Any thread for a number that has one; does not block.
/// @param type sensor type number
/// @return the tag, for ever; for a number without one its decimal text in the library's only buffer for it, which the
/// next unknown number overwrites: copy it at once
__attribute__((visibility("default"))) char const* getSensorName(int type);
