// The faults by class.
#include "rules.h"

namespace fault_matrix {
namespace {

constexpr Groups kSubscribed = kRuns;  // what needs the sensor service
constexpr Groups kWithFiles = kProximity;

constexpr FaultRow kFaults[] = {
    {"sensors-absent", FaultClass::no_service},
    {"list-refused", FaultClass::no_list},
    {"list-refused:7", FaultClass::no_list},
    {"sensors-fail", FaultClass::no_list},
    {"sensors-vanish:0", FaultClass::no_list},
    {"queue-refused", FaultClass::no_queue},
    {"queue-refused:7", FaultClass::no_queue},
    {"queue-never", FaultClass::no_queue},
    {"sensors-fail:1", FaultClass::no_manager},
    {"sensors-vanish:1", FaultClass::no_manager},
    {"sensors-fail:2", FaultClass::no_manager},
    {"sensors-vanish:2", FaultClass::no_manager},
    {"sensors-vanish:{calls}", FaultClass::late_death, kSubscribed},
    {"sensors-fail:{calls}", FaultClass::stays_on, kSubscribed},
    {"enable-refused:{sensor}", FaultClass::no_start},
    {"enable-refused:{sensor},6", FaultClass::no_start},
    {"enable-refused:{other}", FaultClass::harmless},

    {"hub-absent", FaultClass::no_hub},
    {"hub-vanish:0", FaultClass::hub_gone},
    {"hub-fail", FaultClass::hub_lost},
    {"hub-fail:{get}", FaultClass::read_lost},
    {"hub-fail:29", FaultClass::golden_lost, kChannels},
    {"hub-fail:{set}", FaultClass::write_lost},
    {"hub-word:{set},{word},{below}", FaultClass::refused_below},
    {"hub-word:{set},{word},{above}", FaultClass::refused_above},
    {"hub-word:31,0,-5", FaultClass::read_refused, kChannels | kPanelColourHigh | kPanelColourLow},
    {"hub-word:29,0,-1", FaultClass::golden_refused, kChannels},
    {"hub-word:40,0,-1", FaultClass::colour_running, kHubChannels | kHubGolden},
    {"hub-word:40,0,7", FaultClass::colour_failed, kHubChannels | kHubGolden},
    {"hub-slow:40", FaultClass::slow},

    {"silent:{sensor}", FaultClass::silent},
    {"wrong-type:{sensor}", FaultClass::silent},
    {"silent:{other}", FaultClass::harmless},
    {"stuck:{sensor}", FaultClass::stuck},
    {"motion:{sensor},{much}", FaultClass::shaken},
    {"drift:{sensor},{much}", FaultClass::restless},
    {"out-of-range:{sensor}", FaultClass::restless},
    {"out-of-range:{other}", FaultClass::harmless},
    {"nan:{sensor}", FaultClass::not_a_number},
    {"nan:{other}", FaultClass::harmless},
    {"duplicate:{sensor}", FaultClass::harmless},
    {"late:{sensor}", FaultClass::harmless},
    {"burst:{sensor}", FaultClass::harmless},
    {"straggler:{sensor}", FaultClass::harmless},
    {"wrong-handle:{sensor}", FaultClass::harmless},

    {"brightness-missing", FaultClass::panel_gone},
    {"brightness-read-only", FaultClass::panel_gone},
    {"brightness node without permission", FaultClass::panel_gone, kPanel, Real::sealed_panel},
    {"brightness-clamped:100", FaultClass::panel_clamped},

    {"persist-full", FaultClass::files_full},
    {"persist-read-only", FaultClass::files_sealed},
    {"persist-absent", FaultClass::files_absent},
    {"files without permission", FaultClass::files_sealed, kWithFiles, Real::sealed_files},
    {"files missing in a folder without permission", FaultClass::files_sealed, kWithFiles, Real::sealed_folder},
    {"files missing on a full partition", FaultClass::no_room, kWithFiles, Real::full_partition},
    {"truncated:/mnt/vendor/persist/sensors/PSensor_ct1.txt", FaultClass::crosstalk_spoilt,
     kChipCrosstalk | kChipThresholds},
    {"garbled:/mnt/vendor/persist/sensors/PSensor_ct1.txt", FaultClass::crosstalk_spoilt,
     kChipCrosstalk | kChipThresholds},
    {"truncated:/mnt/vendor/persist/sensors/PSensor3cm_ct.txt", FaultClass::delta_spoilt,
     kCrosstalkWithDelta | kThresholds | kRestore},
    {"garbled:/mnt/vendor/persist/sensors/PSensor3cm_ct.txt", FaultClass::delta_spoilt,
     kCrosstalkWithDelta | kThresholds | kRestore},
    {"truncated:/mnt/vendor/nvcfg/sensor/lightSensorCali.json", FaultClass::json_spoilt, kChannels, Real::none,
     "CCT_F_strm"},
    {"garbled:/mnt/vendor/nvcfg/sensor/lightSensorCali.json", FaultClass::json_spoilt, kChannels, Real::none,
     "CCT_F_strm"},
    {"light sensor's file without permission", FaultClass::json_sealed, kChannels, Real::sealed_files, "CCT_F_strm"},
    {"truncated:/vendor/etc/sensors/reference.json", FaultClass::harmless, kReport},
    {"garbled:/vendor/etc/sensors/judge_calibrated.json", FaultClass::harmless, kReport},

    {"no-property:persist.vendor.display.parse.algorithm", FaultClass::json_off, kChannels},
    {"property:persist.vendor.display.parse.algorithm=maybe", FaultClass::json_off, kChannels},
    {"property:persist.vendor.goodix.cct_support=1", FaultClass::colour_by_hub, kChannels, Real::none, "CCT_F_strm"},
    {"no-property:persist.vendor.goodix.cct_support", FaultClass::colour_by_hand, kHubGolden},
    {"no-property:persist.vendor.sensor.cali_sensor", FaultClass::few_verdicts, kReport},
    {"property:persist.vendor.sensor.cali_sensor=x0", FaultClass::odd_verdicts, kReport},
    {"no-property:sys.backlight.lux", FaultClass::no_high_level, kPanelLow | kPanelStepped},
    {"property:sys.backlight.lux=bright", FaultClass::no_high_level, kPanelLow | kPanelStepped},
    {"no-property:persist.vendor.sensor.cct_lcdbacklight_b", FaultClass::no_high_colour, kPanelColourLow},
    {"no-property:persist.vendor.sensor.cct_need_lcdbacklight_cali", FaultClass::no_panel_colour,
     kPanelColourHigh | kPanelColourLow},
    {"no-property:ro.build.product", FaultClass::harmless},
};

void replace(std::string* text, const char* key, const std::string& value) {
  const std::string braced = std::string("{") + key + "}";
  for (size_t at = text->find(braced); at != std::string::npos; at = text->find(braced)) {
    text->replace(at, braced.size(), value);
  }
}

// Beyond the variance that the kind's settings accept. Light and reflection cannot fall below zero: so much that no
// window is small by chance.
const char* too_much_for(const Kind& kind) {
  if (kind.group == kOffsets) return "20";
  if (kind.group == kLight) return "1000000";
  return (kind.group & kProximity) != 0 ? "500" : "5000";
}

bool mentions(const FaultRow& fault, const char* key) {
  return std::string(fault.text).find(std::string("{") + key + "}") != std::string::npos;
}

}  // namespace

std::span<const FaultRow> fault_rows() { return kFaults; }

bool applies(const FaultRow& fault, const Kind& kind) {
  if ((fault.groups & kind.group) == 0) return false;
  if (*fault.only != '\0' && std::string(fault.only) != kind.name) return false;
  if ((mentions(fault, "sensor") || mentions(fault, "other")) && *kind.sensor == '\0') return false;
  if (mentions(fault, "get") && kind.get_code < 0) return false;
  return !mentions(fault, "set") || kind.set_code >= 0;
}

std::string fault_text(const FaultRow& fault, const Kind& kind) {
  // List, queue, enabling; proximity asks which chip it has as well.
  const bool asks_chip = (kind.group & kProximity) != 0;
  std::string text = fault.text;
  replace(&text, "sensor", kind.sensor);
  replace(&text, "other", kind.other);
  replace(&text, "get", std::to_string(kind.get_code));
  replace(&text, "set", std::to_string(kind.set_code));
  replace(&text, "word", std::to_string(kind.result_word));
  replace(&text, "below", kind.float_result ? "-5.0" : "-5");
  replace(&text, "above", kind.float_result ? "5.0" : "5");
  replace(&text, "much", too_much_for(kind));
  replace(&text, "calls", asks_chip ? "4" : "3");
  return text;
}

bool unprivileged(const FaultRow& fault) {
  const std::string text = fault.text;
  for (const char* start : {"persist-", "brightness-", "truncated:", "garbled:"}) {
    if (text.rfind(start, 0) == 0) return true;
  }
  return fault.real != Real::none;
}

}  // namespace fault_matrix
