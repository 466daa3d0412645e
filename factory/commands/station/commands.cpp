#include "commands/station/commands.h"

namespace factory {

const std::vector<CommandOf<CommonOptions>>& station_commands() {
  static const std::vector<CommandOf<CommonOptions>> kCommands = {
      {"show", "a run's page and files from its record, or from the store that keeps the run",
       "  sensorcal show record.json --html report.html\n"
       "  sensorcal run plans/inertial.json --json | sensorcal show - --junit run.xml --csv values\n"
       "  sensorcal show 019ab69d-cc00-7000-8000-000000000001 --store runs.db --html report.html",
       set_up_show, Uses::json},
      {"stats", "yield, failures, capability, drift and outliers of the runs in a store",
       "  sensorcal stats --store runs.db\n"
       "  sensorcal stats --store postgresql://line@db/line --since 2026-11-01 --plan inertial --html stats.html\n"
       "  sensorcal stats --store runs.db --station north --json\n"
       "  sensorcal stats --store runs.db --watch --on-alert ./tell-the-shift",
       set_up_stats, Uses::profile | Uses::json},
      {"history", "all that happened to one phone, newest first",
       "  sensorcal history A1234 --store runs.db\n"
       "  sensorcal history --run 019ab69d-cc00-7000-8000-000000000001 --store runs.db",
       set_up_history, Uses::json},
      {"store", "runs from files into a store, each once, and out of it",
       "  sensorcal store import record.json other.db --store runs.db\n"
       "  sensorcal store export --store runs.db --since 2026-11-01 --station north --csv november.csv",
       set_up_store, Uses::profile | Uses::json},
      {"sync", "bring runs that wait at the station up to the server",
       "  sensorcal sync --store postgresql://line@db/line\n"
       "  sensorcal sync --store postgresql://line@db/line --spool waiting.db",
       set_up_sync, Uses::json},
      {"grr", "gauge repeatability and reproducibility: what of the scatter is the stations'",
       "  sensorcal grr readings.csv --low -0.1 --high 0.1\n"
       "  sensorcal grr --store runs.db --plan inertial --measurement offset --full",
       set_up_grr, Uses::profile | Uses::json},
      {"station", "an operator's page: phones by scan, prompts, verdicts, a shift's counters",
       "  sensorcal station\n"
       "  sensorcal station station.json\n"
       "  sensorcal station station.json --check",
       set_up_station},
  };
  return kCommands;
}

}  // namespace factory
