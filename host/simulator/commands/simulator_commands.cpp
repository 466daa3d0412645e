#include "simulator_commands/simulator_commands.h"

#include "files/json_text.h"
#include "phone/core/phone.h"
#include "simulator/simulated_phone.h"

namespace factory {

Runner set_up_recorded_run(ArgumentParser parser);
Runner set_up_simulated_hub(ArgumentParser parser);
Runner set_up_simulated_grr(ArgumentParser parser);
Runner set_up_line(ArgumentParser parser);
Runner set_up_replay(ArgumentParser parser);

namespace {

void tell(const Options& options, const char* form, const char* text) {
  print_result(options.json, form, json_object({{"verdict", "passed"}}), text);
}

int reboot(const Options& options) {
  open_simulated(options)->reboot();
  tell(options, "reboot/1", "rebooted\n");
  return kPassed;
}

int factory_reset(const Options& options) {
  open_simulated(options)->factory_reset();
  tell(options, "factory-reset/1", "the hub holds its defaults; the calibration files are gone\n");
  return kPassed;
}

}  // namespace

const std::vector<Command>& simulator_commands() {
  static const std::vector<Command> kCommands = {
      {"run", "run a factory plan: set up, calibrate, verify and check, and keep the record",
       "  sensorcal run plans/reference.json --serial A1234 --html report.html\n"
       "  sensorcal run plans/inertial.json --json > record.json\n"
       "  sensorcal run plans/inertial.json --speed max --fault motion:Acc\n"
       "  sensorcal run plans/inertial.json --serial A1234 --station north --store runs.db",
       set_up_recorded_run, Uses::works},
      {"hub", "show, log and send messages of the sensor hub",
       "  sensorcal hub state\n  sensorcal hub log hub.jsonl\n  sensorcal hub send Acc get-acc-offset",
       set_up_simulated_hub, Uses::reads},
      {"grr", "gauge repeatability and reproducibility: what of the scatter is the stations'",
       "  sensorcal grr readings.csv --low -0.1 --high 0.1\n"
       "  sensorcal grr --store runs.db --plan inertial --measurement offset --full\n"
       "  sensorcal grr --run plans/inertial.json --phones 10 --stations 3 --trials 3 --seed 7",
       set_up_simulated_grr, Uses::profile | Uses::seed | Uses::json},
      {"line", "simulate a production line: stations as processes, phones drawn from a seed, runs into a store",
       "  sensorcal line --phones 1000 --stations 4 --seed 1 --store runs.db\n"
       "  sensorcal line --phones 1000 --seed 1 --fault-rate 0.05 --plan plans/reference.json --store runs.db\n"
       "  sensorcal line --phones 10000 --stations 8 --store postgresql://line@db/line --json",
       set_up_line, Uses::profile | Uses::seed | Uses::json},
      {"replay", "run a recorded run's plan over its recording, without a phone, and compare the records",
       "  sensorcal replay a1234\n"
       "  sensorcal replay a1234 --html report.html --log run.log",
       set_up_replay, Uses::logs | Uses::json},
      {"reboot", "reboot the phone: what a real reboot drops is dropped", "  sensorcal reboot",
       [](ArgumentParser) { return reboot; }, Uses::phone | Uses::profile | Uses::seed | Uses::json},
      {"factory-reset", "restore the hub's defaults and remove the calibration files", "  sensorcal factory-reset",
       [](ArgumentParser) { return factory_reset; }, Uses::phone | Uses::profile | Uses::seed | Uses::json},
  };
  return kCommands;
}

}  // namespace factory
