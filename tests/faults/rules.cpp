// What each class of faults must lead to. The first rule that fits decides; where none does, the kind must end as on a
// phone without a fault.
#include "rules.h"

namespace fault_matrix {
namespace {

using enum State;

enum class Wait { none, timeout, colour_run, at_most };

struct Rule {
  FaultClass effect;
  Groups groups;
  int result;
  State hub;
  State files;
  Wait wait = Wait::none;
  const char* says = "";
  const char* note = "";
};

constexpr Groups kReading = kChannels | kLight;
constexpr Groups kForcedZero = kPanelLow | kPanelColourLow;
constexpr Groups kOtherRuns = kRuns & ~(kForcedZero | kChipCrosstalk);
constexpr int kMinusOneAsFloat = -1082130432;
constexpr int kRegisterValue = 7;
constexpr int kColourTimedOut = 1098;

constexpr char kTimedOut[] = "E/libsensor_cal: Sensor Calibration timeout error";
constexpr char kNoQueue[] = "E/libsensor_cal:  event_queue is nullptr";
constexpr char kNotEnabled[] = "E/libsensor_cal: Fail to enable sensor ";
constexpr char kNotSet[] = " failed when set offset to hub";
constexpr char kInvalidNear[] = "offset_near invalid";
constexpr char kForced[] = "E/libsensor_cal: lcdbacklight_low_calibrate set low force to 0";

constexpr char kNotReady[] = "initCheck() says -19: nothing else is to be trusted";
constexpr char kZeroStored[] = "the mean of no sample is 0, and a low level of 0 is stored";
constexpr char kZeroKept[] = "a low level of 0 is stored";
constexpr char kReadsAsDone[] = "the lost answer reads as success: only a look at the hub tells";
constexpr char kStoredAll[] = "the hub has stored the result nevertheless";
constexpr char kLostScale[] = "the lost answer reads as a scale of 0, by which no sample passes";
constexpr char kMeasuredAgain[] = "the chip has measured its crosstalk by then";
constexpr char kUnlooked[] = "nobody looks at this answer";
constexpr char kRequestBack[] = "without a service the request comes back as the answer";

constexpr char kInLog[] = "the failure is in the log alone";
constexpr char kThresholdsFirst[] = "the hub holds the new thresholds by then";
constexpr char kNoFile[] = "no file counts as no crosstalk, which such a chip leaves anyway";
constexpr char kNoDelta[] = "without a delta the thresholds stay";

constexpr Rule kRules[] = {
    {FaultClass::no_service, kUnderOled, 0, usual, usual, Wait::none, "", "this needs the test service alone"},
    {FaultClass::no_service, kEvery, -1, same, same, Wait::none, "", kNotReady},

    {FaultClass::no_list, kForcedZero, 0, wrong, same, Wait::none, kForced, kZeroStored},
    {FaultClass::no_list, kOffsets | kProximity, -1, same, same, Wait::none, "sensor not exist. type = "},
    {FaultClass::no_list, kLight | kChannels, -1, same, same, Wait::none, "lightsensor calibrate fail: state=0"},
    {FaultClass::no_list, kGolden, -1, same, same, Wait::none, "set golden channel data fail: state=0"},
    {FaultClass::no_list, kRuns, -1, same, same},

    {FaultClass::no_queue, kForcedZero, 0, wrong, same, Wait::none, kNoQueue, kZeroStored},
    {FaultClass::no_queue, kChipCrosstalk, -1, good, same, Wait::none, kNoQueue, kMeasuredAgain},
    {FaultClass::no_queue, kRuns, -1, same, same, Wait::none, kNoQueue},

    {FaultClass::no_start, kForcedZero, 0, wrong, same, Wait::none, kNotEnabled, kZeroStored},
    {FaultClass::no_start, kChipCrosstalk, -1, good, same, Wait::none, kNotEnabled, kMeasuredAgain},
    {FaultClass::no_start, kRuns, -1, same, same, Wait::none, kNotEnabled},

    {FaultClass::no_manager, kForcedZero, 0, wrong, same, Wait::none, "", kZeroStored},
    {FaultClass::no_manager, kChipCrosstalk, -1, good, same, Wait::none, "", kMeasuredAgain},
    {FaultClass::no_manager, kCrosstalk | kCrosstalkWithDelta, -1, wrong, same, Wait::none, "",
     "a chip that cannot be asked counts as one that measures its own crosstalk, and is told to"},
    {FaultClass::no_manager, kRuns, -1, same, same},

    {FaultClass::stays_on, kEvery, 0, usual, usual, Wait::none, "", "the sensor stays on: nobody hears the disabling"},

    {FaultClass::no_hub, kRuns, -1, same, same, Wait::timeout, kTimedOut, kNotReady},
    {FaultClass::no_hub, kHubChannels, 0, same, same, Wait::none, "", kNotReady},
    {FaultClass::no_hub, kHubGolden | kUnderOled, -1, same, same, Wait::none, "", kNotReady},
    {FaultClass::no_hub, kSoftSar, kMinusOneAsFloat, same, same, Wait::none, "", kNotReady},
    {FaultClass::no_hub, kRegister, kRegisterValue, same, same, Wait::none, "", kNotReady},
    {FaultClass::no_hub, kEvery, 0, same, same, Wait::none, "", kNotReady},

    {FaultClass::hub_gone, kHubChannels, 0, same, same, Wait::none, "", kRequestBack},
    {FaultClass::hub_lost, kHubChannels | kHubGolden, 0, same, same, Wait::none, "", kReadsAsDone},
    {FaultClass::hub_gone, kOffsets, -1, same, same, Wait::none, kNotSet, kRequestBack},
    {FaultClass::hub_gone, kHubGolden, kColourTimedOut, same, same, Wait::colour_run, "", kRequestBack},
    {FaultClass::hub_gone, kThresholds, 0, same, wrong, Wait::none, "", "the lost answer reads as no crosstalk"},
    {FaultClass::hub_lost, kThresholds, 0, same, wrong, Wait::none, "", "the lost answer reads as no crosstalk"},
    {FaultClass::hub_gone, kPanelColourLow, -1, same, same, Wait::timeout, kTimedOut, kLostScale},
    {FaultClass::hub_lost, kPanelColourLow, 0, same, same, Wait::timeout, kTimedOut, kLostScale},
    {FaultClass::read_lost, kPanelColourLow, 0, wrong, same, Wait::timeout, kTimedOut, kZeroStored},
    {FaultClass::read_lost, kOffsets | kPressure, 0, wrong, same, Wait::none, "",
     "the lost answer reads as an offset of 0: what is left of the error replaces the offset"},
    {FaultClass::read_lost, kThresholds, 0, wrong, wrong, Wait::none, "", "the lost answer reads as no crosstalk"},
    {FaultClass::read_lost, kHubChannels | kHubGolden, 0, usual, same, Wait::none, "",
     "the lost answer reads as the run's end"},
    {FaultClass::read_lost, kReading | kPanelColourHigh, -1, same, same, Wait::timeout, kTimedOut, kLostScale},
    {FaultClass::golden_lost, kChannels, -1, same, same, Wait::none, "cct channel_scale not in resonable arrange"},
    {FaultClass::write_lost, kChipCrosstalk, 0, same, wrong, Wait::none, "", "the lost answer reads as no crosstalk"},
    {FaultClass::write_lost, kHubChannels | kHubGolden, 3, same, same, Wait::none, "",
     "the lost answer reads as begun; the hub knows of no run"},
    {FaultClass::write_lost, kUnderOled, 1, same, same, Wait::none, "", "the request's own first word"},
    {FaultClass::write_lost, kEvery, 0, same, usual, Wait::none, "", kReadsAsDone},

    {FaultClass::refused_below, kOffsets | kChannels | kGolden | kHubChannels | kHubGolden, -1, good, same, Wait::none,
     "", kStoredAll},
    {FaultClass::refused_below, kPanelColourLow, -1, good, same, Wait::none, "setCctChannelBacklight_api failed",
     kStoredAll},
    {FaultClass::refused_below, kPanel, -5, good, same, Wait::none, "setAlsBacklightLuxCali_api failed", kStoredAll},
    {FaultClass::refused_below, kCommand | kSoftSar | kRegister | kUnderOled, -5, good, same, Wait::none, "",
     kStoredAll},
    {FaultClass::refused_below, kChipCrosstalk, 0, good, wrong, Wait::none, "",
     "its first word is the crosstalk itself"},
    {FaultClass::refused_below, kEvery, 0, usual, usual, Wait::none, "", kUnlooked},
    {FaultClass::refused_above, kOffsets | kChannels | kGolden | kHubChannels | kHubGolden, -1, good, same, Wait::none,
     "", kStoredAll},
    {FaultClass::refused_above, kPanelColourLow, -1, good, same, Wait::none, "setCctChannelBacklight_api failed",
     kStoredAll},
    {FaultClass::refused_above, kPanel, 5, good, same, Wait::none, "setAlsBacklightLuxCali_api failed", kStoredAll},
    {FaultClass::refused_above, kCommand | kSoftSar | kRegister | kUnderOled, 5, good, same, Wait::none, "",
     kStoredAll},
    {FaultClass::refused_above, kChipCrosstalk, 0, good, wrong, Wait::none, "",
     "its first word is the crosstalk itself"},
    {FaultClass::refused_above, kEvery, 0, usual, usual, Wait::none, "", kUnlooked},
    {FaultClass::read_refused, kEvery, -5, same, same, Wait::none, "getLuxScale fail ret = -5"},
    {FaultClass::golden_refused, kEvery, -1, same, same, Wait::none, "getLuxScale fail ret = -1"},
    {FaultClass::colour_running, kEvery, kColourTimedOut, good, same, Wait::colour_run, "countdown_times=1"},
    {FaultClass::colour_failed, kEvery, 7, good, same, Wait::none, "", kStoredAll},
    {FaultClass::slow, kEvery, 0, usual, usual, Wait::none, "", "later by 40 ms a message"},

    {FaultClass::shaken, kLight, -1, same, same, Wait::at_most, "",
     "a window of nothing but zeros ends it, or its time limit"},
    {FaultClass::silent, kForcedZero, 0, wrong, same, Wait::timeout, kForced, kZeroStored},
    {FaultClass::silent, kChipCrosstalk, -1, good, same, Wait::timeout, kTimedOut, kMeasuredAgain},
    {FaultClass::silent, kOtherRuns, -1, same, same, Wait::timeout, kTimedOut},
    {FaultClass::restless, kForcedZero, 0, wrong, same, Wait::timeout, kForced, kZeroStored},
    {FaultClass::restless, kChipCrosstalk, -1, good, same, Wait::timeout, kTimedOut, kMeasuredAgain},
    {FaultClass::restless, kOtherRuns, -1, same, same, Wait::timeout, kTimedOut},

    {FaultClass::stuck, kOffsets, -1, same, same, Wait::timeout, "Zero variance found, restarting algorithm"},
    {FaultClass::stuck, kPressure | kPanelStepped, -1, same, same, Wait::timeout, kTimedOut},
    {FaultClass::stuck, kLight, -1, same, same, Wait::none, "fatal error: invalid coefficient"},
    {FaultClass::stuck, kChannels, -1, same, same, Wait::none, "cct channel_scale not in resonable arrange"},
    {FaultClass::stuck, kChipThresholds | kThresholds, -1, same, same, Wait::none, kInvalidNear},
    {FaultClass::stuck, kChipCrosstalk, 0, good, good, Wait::none, "",
     "no light is all that such a chip leaves anyway"},
    {FaultClass::stuck, kForcedZero, 0, wrong, same, Wait::none, kForced, kZeroKept},
    {FaultClass::stuck, kRuns, 0, wrong, same, Wait::none, "", "zeros are stored"},

    {FaultClass::not_a_number, kChipThresholds | kThresholds, -1, same, same, Wait::none, kInvalidNear},
    {FaultClass::not_a_number, kPanelStepped, -1, same, same, Wait::timeout, kTimedOut},
    {FaultClass::not_a_number, kChipCrosstalk, 0, good, good, Wait::none, "",
     "as a whole number it is 0, which such a chip leaves anyway"},
    {FaultClass::not_a_number, kCrosstalk | kCrosstalkWithDelta | kRestore | kPanelHigh | kPanelColourHigh, 0, wrong,
     same, Wait::none, "", "as a whole number it is 0"},
    {FaultClass::not_a_number, kPanelLow, 0, wrong, same, Wait::none, kForced, "as a whole number it is 0"},
    {FaultClass::not_a_number, kRuns, 0, wrong, wrong, Wait::none, "", "no limit stops it, and the hub holds it"},

    {FaultClass::panel_gone, kPanel, -1, same, same, Wait::none, "lcdbacklight_calibrate_write_backlight failed"},
    {FaultClass::panel_clamped, kPanel, 0, same, same, Wait::none,
     "lcdbacklight_high_calibrate brightness matching check failed", "a mismatch is success, and nothing is measured"},

    {FaultClass::files_full, kChipCrosstalk, 0, good, same, Wait::none, " err -5", kInLog},
    {FaultClass::files_full, kChipThresholds, 0, good, same, Wait::none, " err -5", kNoFile},
    {FaultClass::files_full, kThresholds, -1, good, same, Wait::none, "saveProDelta_api save delta failed!",
     kThresholdsFirst},
    {FaultClass::files_full, kRestore, 0, same, same, Wait::none, "Failed to read the delta data file"},
    {FaultClass::files_full, kCrosstalkWithDelta, 0, good, same, Wait::none, "", kNoDelta},
    {FaultClass::files_sealed, kChipCrosstalk, 0, good, same, Wait::none, " err -5", kInLog},
    {FaultClass::files_sealed, kThresholds, -1, good, same, Wait::none, "saveProDelta_api save delta failed!",
     kThresholdsFirst},
    {FaultClass::files_absent, kChipCrosstalk, 0, good, same, Wait::none, " err -5", kInLog},
    {FaultClass::files_absent, kChipThresholds, 0, good, same, Wait::none, " err -5", kNoFile},
    {FaultClass::files_absent, kThresholds, -1, good, same, Wait::none, "saveProDelta_api save delta failed!",
     kThresholdsFirst},
    {FaultClass::files_absent, kRestore, 0, same, same, Wait::none, "Failed to read the delta data file"},
    {FaultClass::files_absent, kCrosstalkWithDelta, 0, good, same, Wait::none, "", kNoDelta},
    {FaultClass::no_room, kChipCrosstalk, 0, good, wrong, Wait::none, " err -5", kInLog},
    {FaultClass::no_room, kThresholds, -1, good, wrong, Wait::none, "saveProDelta_api save delta failed!",
     "the new file is empty, and the hub holds the new thresholds by then"},
    {FaultClass::crosstalk_spoilt, kChipThresholds, 0, good, same, Wait::none, " err -5", kNoFile},
    {FaultClass::delta_spoilt, kRestore, 0, same, same, Wait::none, "Failed to read the delta data file"},
    {FaultClass::delta_spoilt, kCrosstalkWithDelta, 0, good, same, Wait::none, " err -5", kNoDelta},
    {FaultClass::json_spoilt, kChannels, -1, good, same, Wait::none, "parse json error",
     "the hub holds the new scales by then"},
    {FaultClass::json_sealed, kChannels, 0, good, same, Wait::none, "open json file fail!!!", kInLog},
    {FaultClass::json_off, kChannels, 0, good, same, Wait::none, "", "the file is not asked for"},
    {FaultClass::colour_by_hub, kChannels, -1, same, same, Wait::none, kNotSet},
    {FaultClass::no_high_level, kPanel, 0, wrong, same, Wait::none, kForced,
     "any light is above a high level of 0, and becomes 0"},
    {FaultClass::no_high_colour, kPanelColourLow, -1, same, same, Wait::none, "low is higher than high"},
    {FaultClass::no_panel_colour, kPanelColourHigh, 0, wrong, same, Wait::none, "",
     "the level is stored as lux, not as colour"},
    {FaultClass::no_panel_colour, kPanelColourLow, 0, wrong, same, Wait::none, kForced,
     "the level is stored as lux, not as colour"},
};

constexpr struct {
  FaultClass effect;
  const char* verdict;
} kVerdicts[] = {
    {FaultClass::no_service, ""},
    // Zeros, the request's count and the number of the dark value: scales of 0 and dark values read as set.
    {FaultClass::no_hub, "00101100011"},
    {FaultClass::hub_gone, "00101100011"},
    {FaultClass::hub_lost, "00100100011"},
    {FaultClass::few_verdicts, "1111"},
    {FaultClass::odd_verdicts, "111"},
};
constexpr char kAllCalibrated[] = "11111111111";

// A message that is lost on its own, or with all others, means the same where nothing says otherwise.
FaultClass wider(FaultClass effect, Groups group) {
  const bool reads_first = (group & (kReading | kPanelColourHigh)) != 0;
  if (effect == FaultClass::hub_gone || effect == FaultClass::hub_lost) {
    return reads_first ? FaultClass::read_lost : FaultClass::write_lost;
  }
  return effect == FaultClass::shaken ? FaultClass::restless : effect;
}

const Rule* find_rule(FaultClass effect, Groups group) {
  for (const Rule& rule : kRules) {
    if (rule.effect == effect && (rule.groups & group) != 0) return &rule;
  }
  return nullptr;
}

double wait_of(Wait wait, const Kind& kind) {
  constexpr double kColourRun_s = 4.5;
  return wait == Wait::timeout || wait == Wait::at_most ? kind.timeout_s : wait == Wait::colour_run ? kColourRun_s : 0;
}

State usual_of(const char* what) { return *what == '\0' ? same : good; }

}  // namespace

Expected expected_of(const FaultRow& fault, const Kind& kind) {
  Expected out;
  const Rule* rule = find_rule(fault.effect, kind.group);
  if (rule == nullptr) rule = find_rule(wider(fault.effect, kind.group), kind.group);
  if (rule != nullptr) {
    out = {.result = rule->result,
           .hub = rule->hub,
           .files = rule->files,
           .wait_s = wait_of(rule->wait, kind),
           .may_wait = rule->wait == Wait::at_most,
           .says = rule->says,
           .note = rule->note};
  }
  // What a kind does not have cannot change.
  if (out.hub == usual || *kind.owns == '\0') out.hub = usual_of(kind.owns);
  if (out.files == usual || *kind.files == '\0') out.files = usual_of(kind.files);
  if (fault.effect == FaultClass::no_service || fault.effect == FaultClass::no_hub) out.init = -19;
  out.stays_on = fault.effect == FaultClass::stays_on;
  if (kind.group != kReport) return out;
  out.result = 0;
  out.verdict = kAllCalibrated;
  for (const auto& row : kVerdicts) {
    if (row.effect == fault.effect) out.verdict = row.verdict;
  }
  return out;
}

}  // namespace fault_matrix
