#include "cli/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <sstream>
#include <string_view>

#include "cli/terminal.h"
#include "files/words.h"

namespace factory {
namespace {

constexpr char kHidden = '\x01';
constexpr char kExample[] = "  sensorcal ";

bool is_number_word(const std::string& text) {
  const std::string word = lower(text);
  return word == "-inf" || word == "-infinity" || word == "-nan";
}

// Where the explanation of a line begins: behind the first gap of its text; 0 without one.
size_t explanation(const std::string& line) {
  const size_t text = line.find_first_not_of(' ');
  const size_t gap = text == std::string::npos ? text : line.find("  ", text);
  const size_t begin = gap == std::string::npos ? gap : line.find_first_not_of(' ', gap);
  return begin == std::string::npos ? 0 : begin;
}

std::string fit_line(const std::string& line, size_t columns) {
  constexpr size_t kRoomMin = 30;
  constexpr size_t kNarrowIndent = 6;
  if (line.size() <= columns || line.rfind(kExample, 0) == 0) return line;
  const size_t begin = explanation(line);
  if (begin == 0) {
    const size_t own = line.find_first_not_of(' ');
    const std::string indent(columns >= own + kRoomMin ? own : kNarrowIndent, ' ');
    return indent + wrapped(line, columns, indent, indent.size());
  }
  const bool room = columns >= begin + kRoomMin;
  const std::string indent(room ? begin : kNarrowIndent, ' ');
  std::string name = line.substr(0, begin);
  if (!room) {
    name.erase(name.find_last_not_of(' ') + 1);
    name += "\n" + indent;
  }
  return name + wrapped(line.substr(begin), columns, indent, indent.size());
}

}  // namespace

std::string fit_help(const std::string& help) {
  constexpr size_t kPipedColumns = 80;
  const size_t terminal = terminal_columns();
  const size_t columns = terminal > 0 ? terminal : kPipedColumns;
  std::string out;
  std::istringstream lines(help);
  for (std::string line; std::getline(lines, line);) out += fit_line(line, columns) + "\n";
  return out;
}

std::vector<std::string> hide_numbers(int argc, char** argv) {
  std::vector<std::string> out(argv + 1, argv + argc);
  for (std::string& argument : out) {
    if (is_number_word(argument)) argument.insert(argument.begin(), kHidden);
  }
  return out;
}

void show_numbers(CLI::App& app) {
  const CLI::Validator show(
      [](std::string& text) {
        if (!text.empty() && text[0] == kHidden) text.erase(0, 1);
        return std::string();
      },
      "");
  for (CLI::Option* option : app.get_options({})) {
    if (option->get_items_expected_max() > 0) option->transform(show);
  }
  for (CLI::App* part : app.get_subcommands({})) show_numbers(*part);
}

bool asks_for_help(const std::vector<std::string>& arguments, const std::string& option) {
  for (size_t i = 0; i < arguments.size(); ++i) {
    if (arguments[i] == option + "=help") return true;
    if (arguments[i] == option && i + 1 < arguments.size() && arguments[i + 1] == "help") return true;
  }
  return false;
}

namespace {

// What stands in `text` for each % of the pattern; nothing where it does not fit.
std::vector<std::string> taken_apart(const std::string& text, std::string_view pattern) {
  std::vector<std::string> out;
  size_t at = 0;
  for (size_t mark = pattern.find('%'); mark != std::string_view::npos; mark = pattern.find('%')) {
    if (text.compare(at, mark, pattern.substr(0, mark)) != 0) return {};
    at += mark;
    pattern.remove_prefix(mark + 1);
    const std::string_view behind = pattern.substr(0, pattern.find('%'));
    const size_t end = behind.empty() ? text.size() : text.find(behind, at);
    if (end == std::string::npos) return {};
    out.push_back(text.substr(at, end - at));
    at = end;
  }
  return text.compare(at, std::string::npos, pattern) == 0 ? out : std::vector<std::string>();
}

// What the parsing library says of the number of values, in words.
std::string in_words(const std::string& error) {
  constexpr std::pair<const char*, const char*> kWords[] = {
      {"%: At least % required but received %", "% takes % in all, not %"},
      {"%: At Most % required but received %", "% takes % in all, not %"},
      {"%: % required % missing", "% takes a value"},
      {"% was given a disallowed flag override", "--% takes no value"},
  };
  for (const auto& [pattern, words] : kWords) {
    const std::vector<std::string> parts = taken_apart(error, pattern);
    if (parts.empty()) continue;
    std::string out;
    auto part = parts.begin();
    for (const char c : std::string_view(words)) {
      if (c == '%') {
        out += *part++;
      } else {
        out += c;
      }
    }
    return out;
  }
  return error;
}

}  // namespace

std::string parse_problem(const CLI::App& app, const std::string& error) {
  const CLI::App* at = &app;
  std::string path = app.get_name();
  while (!at->get_subcommands().empty()) {
    at = at->get_subcommands().front();
    path += " " + at->get_name();
  }
  const std::string help = "`" + path + " --help`";
  const std::string all = help + " lists all";
  const std::vector<std::string> rest = app.remaining(true);
  std::vector<std::string> commands;
  for (const CLI::App* part : at->get_subcommands({})) commands.push_back(part->get_name());
  if (rest.empty())
    return at->get_require_subcommand_min() == 0 ? in_words(error) + "; " + help + " tells more"
                                                 : "a command is missing" + or_nearest("", commands, all);
  const std::string& word = rest.front();
  if (word[0] == '-') {
    std::vector<std::string> options;
    for (const CLI::App* part : {at, &app}) {
      for (const CLI::Option* option : part->get_options({})) {
        const bool named = !option->get_positional() && !option->get_group().empty();
        if (named && std::find(options.begin(), options.end(), option->get_name()) == options.end())
          options.push_back(option->get_name());
      }
    }
    return "unknown option '" + word + "'" + or_nearest(word, options, all);
  }
  if (!commands.empty()) return "unknown command '" + word + "'" + or_nearest(word, commands, all);
  return "'" + word + "' was not expected; " + help + " tells more";
}

}  // namespace factory
