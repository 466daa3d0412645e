// The one-value files of the persist partition that keep proximity crosstalk. Layout: docs/formats/persist-files.md.
#pragma once

namespace hubapi {

inline constexpr char kCrosstalk1Path[] = "/mnt/vendor/persist/sensors/PSensor_ct1.txt";
inline constexpr char kCrosstalk2Path[] = "/mnt/vendor/persist/sensors/PSensor_ct2.txt";
inline constexpr char kDeltaPath[] = "/mnt/vendor/persist/sensors/PSensor3cm_ct.txt";  // with a card at 3 cm

// 0, or -5 when the file cannot be opened or does not hold "offset=" and a number; `*value` then stays as it was.
// A number beyond an int saturates: it was meant to be large, and a wrapped one could pass for a good value.
int load_value(const char* path, int* value);

// Replaces the file. 0, or -5 when it cannot be opened or nothing could be written.
int save_value(const char* path, int value);

}  // namespace hubapi
