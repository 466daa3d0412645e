// What the parser of the command line lacks: help that fits the terminal, and numbers that look like options.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace factory {

// Breaks the lines of a help text to the terminal's width, or to that of a page; what is explained on the right stays
// there where it has room. Examples stay whole.
std::string fit_help(const std::string& help);

// "-inf" and "-nan" are values, not options: hides their minus from the parser. Takes argv without the program's name.
std::vector<std::string> hide_numbers(int argc, char** argv);
// Makes every option and argument of the tree take hidden numbers as they were typed.
void show_numbers(CLI::App& app);

// Whether `help` is given as the option's value.
bool asks_for_help(const std::vector<std::string>& arguments, const std::string& option);

// What is wrong on a command line that the parser refused.
std::string parse_problem(const CLI::App& app, const std::string& error);

}  // namespace factory
