#include "commands/command.h"

#include "commands/commands.h"

namespace factory {

const std::vector<Command>& commands() {
  static const std::vector<Command> kCommands = {
      {"sensors", "list the phone's sensors, their records and what the chip probes say",
       "  sensorcal sensors\n  sensorcal sensors --json --phone DIR", set_up_sensors},
      {"calibrate", "calibrate sensors and compare fresh samples with the truth",
       "  sensorcal calibrate Acc Acc2 Gyr Gyr2\n"
       "  sensorcal calibrate Acc --replay Acc=rest.csv,columns=t,x,y,z,time=ms --speed max\n"
       "  sensorcal calibrate Gyr --world rotation=0.1,0,0 --log run.log --hub-log hub.jsonl",
       set_up_calibrate},
      {"check", "hold sensors against the limits that Android publishes (Compatibility Definition 7.3)",
       "  sensorcal check\n"
       "  sensorcal check Acc Gyr --json\n"
       "  sensorcal check Bar --reference 1013.4\n"
       "  sensorcal check Acc --replay Acc=rest.csv --speed max",
       set_up_check},
      {"watch", "show a sensor's values live, their scatter, its rate and whether it has settled",
       "  sensorcal watch Acc\n  sensorcal watch Gyr --seconds 5 --json\n  sensorcal watch Lux --period 200",
       set_up_watch},
      {"run", "run a factory plan: set up, calibrate, verify and check, and keep the record",
       "  sensorcal run plans/reference.json --serial A1234 --html report.html\n"
       "  sensorcal run plans/inertial.json --json > record.json\n"
       "  sensorcal run plans/inertial.json --speed max --fault motion:Acc\n"
       "  sensorcal run plans/inertial.json --serial A1234 --station north --store runs.db",
       set_up_run},
      {"show", "a run's page and files from its record, or from the store that keeps the run",
       "  sensorcal show record.json --html report.html\n"
       "  sensorcal run plans/inertial.json --json | sensorcal show - --junit run.xml --csv values\n"
       "  sensorcal show 019ab69d-cc00-7000-8000-000000000001 --store runs.db --html report.html",
       set_up_show},
      {"stats", "yield, failures, capability, drift and outliers of the runs in a store",
       "  sensorcal stats --store runs.db\n"
       "  sensorcal stats --store postgresql://line@db/line --since 2026-11-01 --plan inertial --html stats.html\n"
       "  sensorcal stats --store runs.db --station north --json",
       set_up_stats},
      {"history", "all that happened to one phone, newest first",
       "  sensorcal history A1234 --store runs.db\n"
       "  sensorcal history --run 019ab69d-cc00-7000-8000-000000000001 --store runs.db",
       set_up_history},
      {"sync", "bring runs that wait at the station up to the server",
       "  sensorcal sync --store postgresql://line@db/line\n"
       "  sensorcal sync --store postgresql://line@db/line --spool waiting.db",
       set_up_sync},
      {"report", "which sensors are calibrated, what the hub holds for each, and why", "  sensorcal report --json",
       set_up_report},
      {"judge", "the verdict table: lines kept and dropped, key paths, reference values", "  sensorcal judge",
       set_up_judge},
      {"selftest", "run the chips' own self-tests", "  sensorcal selftest Acc Gyr", set_up_selftest},
      {"sar", "calibrate a SAR chip, or write one of its registers",
       "  sensorcal sar 1\n  sensorcal sar 2 --soft\n  sensorcal sar 1 --register 16 255", set_up_sar},
      {"tof", "the time-of-flight steps", "  sensorcal tof 5\n  sensorcal tof 7 --sensor Prx", set_up_tof},
      {"channel", "calibrate one light channel to a target", "  sensorcal channel Lux 0 200", set_up_channel},
      {"collect", "ask the hub for one sample", "  sensorcal collect", set_up_collect},
      {"get", "read stored values through the command API",
       "  sensorcal get Acc\n  sensorcal get CCT_F_strm golden --count 7", set_up_get},
      {"set", "write a stored value and read it back",
       "  sensorcal set Acc offset 0.01 -0.02 0.005\n  sensorcal set Prx near 327", set_up_set},
      {"backlight", "show or set the panel's brightness", "  sensorcal backlight\n  sensorcal backlight 2047",
       set_up_backlight},
      {"hub", "show, log and send messages of the sensor hub",
       "  sensorcal hub state\n  sensorcal hub log hub.jsonl\n  sensorcal hub send Acc get-acc-offset", set_up_hub},
      {"man", "print the man page", "  sensorcal man | man -l -\n  sensorcal man > sensorcal.1", set_up_man},
      {"completion", "print the completions of a shell",
       "  source <(sensorcal completion bash)\n  sensorcal completion zsh > ~/.zfunc/_sensorcal", set_up_completion},
  };
  return kCommands;
}

}  // namespace factory
