// The commands that read the records of runs, and never open a phone.
#pragma once

#include <functional>
#include <vector>

#include "cli/command.h"

namespace factory {

using StationRunner = std::function<int(const CommonOptions& options)>;

// In the order in which --help lists them.
const std::vector<CommandOf<CommonOptions>>& station_commands();

StationRunner set_up_show(ArgumentParser parser);
StationRunner set_up_stats(ArgumentParser parser);
StationRunner set_up_history(ArgumentParser parser);
StationRunner set_up_sync(ArgumentParser parser);
StationRunner set_up_grr(ArgumentParser parser);

}  // namespace factory
