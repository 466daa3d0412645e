// Every kind of calibration that the library offers, and the report: what is asked for, on which phone and in which
// world, what it takes from the phone and where its result goes.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace fault_matrix {

// Kinds of one group meet every fault alike. A set of groups is the sum of their bits.
using Groups = uint32_t;
enum Group : Groups {
  kOffsets = 1U << 0,
  kPressure = 1U << 1,
  kLight = 1U << 2,
  kChannels = 1U << 3,
  kGolden = 1U << 4,
  kHubChannels = 1U << 5,
  kHubGolden = 1U << 6,
  kChipCrosstalk = 1U << 7,
  kChipThresholds = 1U << 8,
  kCrosstalk = 1U << 9,
  kCrosstalkWithDelta = 1U << 10,
  kThresholds = 1U << 11,
  kRestore = 1U << 12,
  kCommand = 1U << 13,
  kSoftSar = 1U << 14,
  kRegister = 1U << 15,
  kDark = 1U << 16,
  kUnderOled = 1U << 17,
  kPanelHigh = 1U << 18,
  kPanelLow = 1U << 19,
  kPanelStepped = 1U << 20,
  kPanelColourHigh = 1U << 21,
  kPanelColourLow = 1U << 22,
  kReport = 1U << 23,
};
inline constexpr Groups kEvery = (1U << 24) - 1;
inline constexpr Groups kPanel = kPanelHigh | kPanelLow | kPanelStepped | kPanelColourHigh | kPanelColourLow;
inline constexpr Groups kProximity =
    kChipCrosstalk | kChipThresholds | kCrosstalk | kCrosstalkWithDelta | kThresholds | kRestore;
// Those that wait for a sensor's events.
inline constexpr Groups kRuns = kOffsets | kPressure | kLight | kChannels | kGolden | kProximity | kPanel;

struct GroupInfo {
  Group group;
  const char* title;
};
std::span<const GroupInfo> group_list();

enum class Call { calibrate, pressure, channel, sar_register, dark, golden_truth, report };

struct Kind {
  const char* name;
  Group group;
  const char* profile = "reference";
  Call call = Call::calibrate;
  int type = 0;
  int param = 0;
  const char* sensor = "";  // whose events it takes, as a fault names it
  const char* other = "";   // a sensor that is none of its business
  int timeout_s = 0;
  int get_code = -1;  // of the message that reads what the hub holds
  int set_code = -1;  // of the message that changes it
  int result_word = 0;
  bool float_result = false;
  bool get_answers_result = false;  // the read's first word is a result, not a value
  const char* world = "";           // "key=value"
  const char* owns = "";            // of the hub's values: beginnings of their paths, '|' between them
  const char* files = "";           // that a good run writes, '|' between them
  const char* before = "";          // names of the kinds that a factory runs before, '|' between them
};

// What the matrix is about, and what only prepares a phone for it.
std::span<const Kind> kind_list();
const Kind* find_kind(const std::string& name);

std::vector<std::string> split(const std::string& text, char separator = '|');

}  // namespace fault_matrix
