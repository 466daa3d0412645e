#include "commands/phone/commands.h"

namespace factory {

const std::vector<Command>& phone_commands() {
  static const std::vector<Command> kCommands = {
      {"sensors", "list the phone's sensors, their records and what the chip probes say",
       "  sensorcal sensors\n  sensorcal sensors --json", set_up_sensors, Uses::reads},
      {"calibrate", "calibrate sensors and hold fresh samples against what they should be",
       "  sensorcal calibrate Acc Acc2 Gyr Gyr2\n"
       "  sensorcal calibrate Gyr --world rotation=0.1,0,0 --log run.log",
       set_up_calibrate, Uses::works},
      {"check", "hold sensors against the limits that Android publishes (Compatibility Definition 7.3)",
       "  sensorcal check\n"
       "  sensorcal check Acc Gyr --json\n"
       "  sensorcal check Bar --reference 1013.4",
       set_up_check, Uses::reads},
      {"watch", "show a sensor's values live, their scatter, its rate and whether it has settled",
       "  sensorcal watch Acc\n  sensorcal watch Gyr --seconds 5 --json\n  sensorcal watch Lux --period 200",
       set_up_watch, Uses::reads},
      {"run", "run a factory plan: set up, calibrate, verify and check, and keep the record",
       "  sensorcal run plans/reference.json --serial A1234 --station north\n"
       "  sensorcal run plans/inertial.json --json > record.json",
       [](ArgumentParser parser) { return set_up_run(parser, {}); }, Uses::works},
      {"plan", "check plans without a phone", "  sensorcal plan check plans/*.json", set_up_plan, Uses::json},
      {"report", "which sensors are calibrated, what the hub holds for each, and why", "  sensorcal report --json",
       set_up_report, Uses::reads},
      {"judge", "the verdict table: lines kept and dropped, key paths, reference values", "  sensorcal judge",
       set_up_judge, Uses::reads},
      {"selftest", "run the chips' own self-tests", "  sensorcal selftest Acc Gyr", set_up_selftest, Uses::works},
      {"sar", "calibrate a SAR chip, or write one of its registers",
       "  sensorcal sar 1\n  sensorcal sar 2 --soft\n  sensorcal sar 1 --register 16 255", set_up_sar, Uses::works},
      {"tof", "the time-of-flight steps", "  sensorcal tof 5\n  sensorcal tof 7 --sensor Prx", set_up_tof, Uses::works},
      {"channel", "calibrate one light channel to a target", "  sensorcal channel Lux 0 200", set_up_channel,
       Uses::works},
      {"collect", "ask the hub for one sample", "  sensorcal collect", set_up_collect, Uses::reads},
      {"get", "read stored values through the command API",
       "  sensorcal get Acc\n  sensorcal get CCT_F_strm golden --count 7", set_up_get, Uses::reads},
      {"set", "write a stored value and read it back",
       "  sensorcal set Acc offset 0.01 -0.02 0.005\n  sensorcal set Prx near 327", set_up_set, Uses::works},
      {"files", "whether the light sensor's file is whole, and what it held before a step that was cut off",
       "  sensorcal files\n  sensorcal files --repair", set_up_files, Uses::reads},
      {"backlight", "show or set the panel's brightness", "  sensorcal backlight\n  sensorcal backlight 2047",
       set_up_backlight, Uses::reads},
      {"hub", "send a message to the sensor hub by hand", "  sensorcal hub send Acc get-acc-offset", set_up_hub,
       Uses::reads},
  };
  return kCommands;
}

}  // namespace factory
