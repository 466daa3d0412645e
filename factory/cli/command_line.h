// What the parser of the command line lacks: help that fits the terminal, and numbers that look like options.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace factory {

// Breaks the lines of a help text; what is explained on the right stays there where it has room. Examples stay whole.
std::string fit_help(const std::string& help, size_t columns);

// "-inf" and "-nan" are values, not options: hides their minus from the parser. Takes argv without the program's name.
std::vector<std::string> hide_numbers(int argc, char** argv);
// Makes every option and argument of the tree take hidden numbers as they were typed.
void show_numbers(CLI::App& app);

// Whether `--fault help` is among the arguments.
bool asks_for_faults(const std::vector<std::string>& arguments);

}  // namespace factory
