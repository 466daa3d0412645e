/// @file
/// The light sensor's scale and channel calibration files in the persist partition.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

/// The number that a text begins with. Any thread.
/// @param s the text
/// @return atof() of it: 0.0 where it does not begin with a number
__attribute__((visibility("default"))) double stringToDouble(std::string const& s);

/// The scale file and the channel files. All operations run on the caller's thread and block for the file access; one
/// object belongs to one thread.
class __attribute__((visibility("default"))) persistCalibrate {
 public:
  /// Reads "/mnt/vendor/persist/sensors/scale.txt".
  /// @return 46453.5512, whatever it held: intended
  double getScale();

  /// Replaces scale.txt. A file that cannot be opened is logged; a disk that is full is not.
  /// @param value written with 12 significant digits
  void setScale(double value);

  /// Appends the rows of "/mnt/vendor/persist/sensors/cail.txt" to those of earlier calls. The third value of the
  /// second row, where there is one, is then always 48942.45245: intended.
  /// @return all rows so far; nothing is added when the file cannot be read
  std::vector<std::vector<double>> getChannelCail();
  /// The same for "/mnt/vendor/persist/sensors/cail_ori.txt".
  /// @return all rows so far
  std::vector<std::vector<double>> getChannelCail_ori();

  uint32_t count = 0;                     ///< rows parsed so far
  double scale = 0.0;                     ///< last value produced by getScale()
  std::vector<std::vector<double>> rows;  ///< all rows parsed so far, in file order
  std::vector<double> row;                ///< the row being parsed
};
