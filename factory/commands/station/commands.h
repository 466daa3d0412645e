// The commands that read the records of runs, and never open a phone.
#pragma once

#include <functional>
#include <vector>

#include "cli/command.h"

namespace factory {

using StationRunner = std::function<int(const CommonOptions& options)>;

// In the order in which --help lists them, the manual apart.
const std::vector<CommandOf<CommonOptions>>& station_commands();

// Words that a shell may offer for the value of an option or an argument, by its name there.
using WordsFor = std::function<std::vector<std::string>(const std::string& argument)>;

// The man page and the completions of the whole program, which are for a desk.
std::vector<CommandOf<CommonOptions>> manual_commands(const WordsFor& words);

StationRunner set_up_show(ArgumentParser parser);
StationRunner set_up_stats(ArgumentParser parser);
StationRunner set_up_history(ArgumentParser parser);
StationRunner set_up_store(ArgumentParser parser);
StationRunner set_up_sync(ArgumentParser parser);
StationRunner set_up_grr(ArgumentParser parser);
StationRunner set_up_station(ArgumentParser parser);

}  // namespace factory
