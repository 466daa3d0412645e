// `sensorcal man` and `sensorcal completion`: made from the parser. What it does not know, they cannot tell, and what
// it knows, they cannot forget.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <set>
#include <sstream>

#include "commands/station/commands.h"
#include "files/app_error.h"
#include "files/words.h"

namespace factory {
namespace {

using Words = std::vector<std::string>;
using Arguments = std::vector<const CLI::Option*>;

Arguments arguments_of(const CLI::App& command, bool positional) {
  return command.get_options([=](const CLI::Option* option) {
    const bool for_people = !option->get_group().empty();
    return for_people && option->get_positional() == positional;
  });
}

// "-h", "--help"; one name for a positional.
Words names_of(const CLI::Option& argument) {
  if (argument.get_positional()) return {argument.get_single_name()};
  Words out;
  for (const std::string& name : argument.get_snames()) out.push_back("-" + name);
  for (const std::string& name : argument.get_lnames()) out.push_back("--" + name);
  return out;
}

// What stands for the value, "HUB_LOG" for --hub-log; empty for a flag.
std::string value_of(const CLI::Option& argument) {
  if (argument.get_positional()) return argument.get_single_name();
  if (argument.get_items_expected_max() == 0) return "";
  std::string out = upper(argument.get_lnames().back());
  std::replace(out.begin(), out.end(), '-', '_');
  return out;
}

bool takes_many(const CLI::Option& argument) { return argument.get_items_expected_max() > 1; }

// `--help` stands among the options of all commands.
bool is_help(const CLI::Option& option) { return option.check_lname("help"); }

// ---- The man page, in groff's man macros.

constexpr char kIntroduction[] =
    "Calibrates the sensors of a phone, shows and checks what they deliver, and reads and writes what the phone's "
    "sensor hub stores. The host's build works on a simulated phone, which is a directory.\n";

constexpr struct {
  const char* name;
  const char* text;
} kEnvironment[] = {
    {"SENSORCAL_PHONE", "the phone directory where --phone is not given"},
    {"NO_COLOR", "when set and not empty: no colour"},
    {"COLUMNS", "the terminal's width, where it is not to be asked; tables wrap within it"},
};

// Text as groff prints it: a minus that can be pasted, no escapes, no requests.
std::string escaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (out.empty() || out.back() == '\n') out += c == '.' || c == '\'' ? "\\&" : "";
    out += c == '\\' ? "\\e" : c == '-' ? "\\-" : std::string(1, c);
  }
  return out;
}

std::string in_bold(const std::string& text) { return "\\fB" + escaped(text) + "\\fR"; }
std::string in_italic(const std::string& text) { return "\\fI" + escaped(text) + "\\fR"; }

void write_argument(const CLI::Option& argument, std::ostream& out) {
  const bool positional = argument.get_positional();
  Words names = names_of(argument);
  std::transform(names.begin(), names.end(), names.begin(), positional ? in_italic : in_bold);
  out << ".TP\n" << joined(names, ", ");
  if (const std::string value = value_of(argument); !positional && !value.empty()) out << " " << in_italic(value);
  out << "\n" << escaped(argument.get_description());
  if (const std::string given = argument.get_default_str(); !given.empty())
    out << " (default " << escaped(given) << ")";
  out << "\n";
}

// The lines of "Examples:\n  sensorcal ..." as they are to be typed.
void write_examples(const std::string& footer, std::ostream& out) {
  const size_t begin = footer.find('\n');
  if (begin == std::string::npos) return;
  out << ".PP\nExamples:\n.PP\n.nf\n.RS\n";
  std::istringstream lines(footer.substr(begin + 1));
  for (std::string line; std::getline(lines >> std::ws, line);) out << escaped(line) << "\n";
  out << ".RE\n.fi\n";
}

// "TAG...", "[FILE]".
std::string synopsis(const CLI::Option& positional) {
  const std::string name = value_of(positional) + (takes_many(positional) ? "..." : "");
  return positional.get_required() ? name : "[" + name + "]";
}

void write_command(const CLI::App& command, const std::string& before, std::ostream& out) {
  const std::string path = before + command.get_name();
  out << ".SS \"" << escaped(path);
  for (const CLI::Option* positional : arguments_of(command, true)) out << " " << escaped(synopsis(*positional));
  if (!command.get_subcommands({}).empty()) out << " COMMAND";
  out << "\"\n" << escaped(command.get_description()) << "\n";
  for (const CLI::Option* positional : arguments_of(command, true)) write_argument(*positional, out);
  for (const CLI::Option* option : arguments_of(command, false)) {
    if (!is_help(*option)) write_argument(*option, out);
  }
  write_examples(command.get_footer(), out);
  for (const CLI::App* part : command.get_subcommands({})) write_command(*part, path + " ", out);
}

void write_man_page(const CLI::App& program, std::ostream& out) {
  const std::string name = escaped(program.get_name());
  const std::string version = program.version();
  out << ".TH SENSORCAL 1 \"\" \"" << escaped(version.substr(0, version.find(','))) << "\" \"Factory calibration\"\n"
      << ".SH NAME\n"
      << name << " \\- " << escaped(program.get_description()) << "\n"
      << ".SH SYNOPSIS\n.B " << name << "\n.I COMMAND\n[\\fIARGUMENT\\fR...]\n[\\fIOPTION\\fR...]\n"
      << ".SH DESCRIPTION\n"
      << escaped(kIntroduction) << ".SH OPTIONS\nThese are understood by every command, before or behind its name.\n";
  for (const CLI::Option* option : arguments_of(program, false)) write_argument(*option, out);
  out << ".SH COMMANDS\n";
  for (const CLI::App* command : program.get_subcommands({})) write_command(*command, "", out);
  out << ".SH EXIT STATUS\n" << escaped(program.get_footer()) << "\n.SH ENVIRONMENT\n";
  for (const auto& row : kEnvironment) out << ".TP\n" << in_bold(row.name) << "\n" << escaped(row.text) << "\n";
}

// ---- What shells complete.

constexpr const char* kFiles[] = {"FILE", "PLAN", "--log", "--hub-log", "--html", "--junit"};
constexpr const char* kFolders[] = {"DIR", "--phone", "--csv", "--record"};

// How a shell says what may stand for a value: a file, a folder, one of words, or anything.
struct Dialect {
  const char *file, *folder, *before_words, *behind_words, *anything;
};
constexpr Dialect kBash = {"_sensorcal_offer_files -f", "_sensorcal_offer_files -d", "_sensorcal_offer '", "'",
                           "COMPREPLY=()"};
constexpr Dialect kZsh = {"_files", "_files -/", "(", ")", " "};

constexpr char kBashHead[] = R"(# bash completion of sensorcal, as `sensorcal completion bash` prints it.
_sensorcal_offer() {
  mapfile -t COMPREPLY < <(compgen -W "$1" -- "$cur")
}

_sensorcal_offer_files() {
  compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen "$1" -- "$cur")
}

_sensorcal() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]} path='' i
  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i]} in
      )";

// Text inside zsh's single quotes, in a place where colons and brackets have a meaning.
std::string zsh_text(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (std::string_view("[]:\\").find(c) != std::string_view::npos) out += '\\';
    out += c == '\'' ? "'\\''" : std::string(1, c);
  }
  return out;
}

std::string zsh_function(std::string path) {
  for (char& c : path) c = c == '/' || c == '-' ? '_' : c;
  return "_sensorcal" + path;
}

class Completion {
 public:
  Completion(const CLI::App& program, WordsFor words) : program_(program), words_(std::move(words)) {
    add(program, "");
  }

  void write_bash(std::ostream& out) const {
    std::set<std::string> with_value;
    Words paths;
    for (const auto& [path, command] : commands_) {
      for (const CLI::Option* option : arguments_of(*command, false)) {
        const Words names = names_of(*option);
        if (!value_of(*option).empty()) with_value.insert(names.begin(), names.end());
      }
      if (!path.empty()) paths.push_back(path);
    }
    out << kBashHead << joined({with_value.begin(), with_value.end()}, "|") << ") ((i++)) ;;\n      *)\n"
        << "        case $path/${COMP_WORDS[i]} in\n          " << joined(paths, "|")
        << ") path=$path/${COMP_WORDS[i]} ;;\n        esac\n        ;;\n    esac\n  done\n";
    write_bash_values(out);
    write_bash_words(out);
    out << "}\n\ncomplete -F _sensorcal sensorcal\n";
  }

  void write_zsh(std::ostream& out) const {
    out << "#compdef sensorcal\n# zsh completion of sensorcal, as `sensorcal completion zsh` prints it.\n\n"
        << "typeset -ga _sensorcal_common\n_sensorcal_common=(\n";
    for (const CLI::Option* option : arguments_of(program_, false)) write_zsh_option(*option, out);
    out << ")\n\n";
    for (const auto& [path, command] : commands_) write_zsh_command(*command, path, out);
    // Run by the completion system when autoloaded; only made known when sourced.
    out << "if [[ ${funcstack[1]} == _sensorcal ]]; then\n  _sensorcal \"$@\"\nelse\n"
        << "  compdef _sensorcal sensorcal\nfi\n";
  }

 private:
  void add(const CLI::App& command, const std::string& path) {
    commands_.emplace_back(path, &command);
    for (const CLI::App* part : command.get_subcommands({})) add(*part, path + "/" + part->get_name());
  }

  std::string offer(const CLI::Option& argument, const Dialect& shell) const {
    const std::string name = names_of(argument).back();
    if (std::count(std::begin(kFiles), std::end(kFiles), name) > 0) return shell.file;
    if (std::count(std::begin(kFolders), std::end(kFolders), name) > 0) return shell.folder;
    const Words words = name == "SHELL" ? Words{"bash", "zsh"} : words_(name);
    return words.empty() ? shell.anything : shell.before_words + joined(words, " ") + shell.behind_words;
  }

  // Options of which a value follows, by what it is.
  void write_bash_values(std::ostream& out) const {
    std::set<std::string> seen;
    out << "  case $prev in\n";
    for (const auto& [path, command] : commands_) {
      for (const CLI::Option* option : arguments_of(*command, false)) {
        const std::string names = joined(names_of(*option), "|");
        if (value_of(*option).empty() || !seen.insert(names).second) continue;
        out << "    " << names << ") " << offer(*option, kBash) << "; return ;;\n";
      }
    }
    out << "  esac\n";
  }

  static std::string option_names(const CLI::App& command) {
    Words out;
    for (const CLI::Option* option : arguments_of(command, false)) {
      for (const std::string& name : names_of(*option)) out.push_back(name);
    }
    return joined(out, " ");
  }

  void write_bash_words(std::ostream& out) const {
    out << "  case $path in\n";
    for (const auto& [path, command] : commands_) {
      const std::string own = path.empty() ? "" : option_names(*command) + " ";
      const Arguments positionals = arguments_of(*command, true);
      Words parts;
      for (const CLI::App* part : command->get_subcommands({})) parts.push_back(part->get_name());
      out << "    '" << path << "')\n      if [[ $cur == -* ]]; then\n        _sensorcal_offer '" << own
          << option_names(program_) << "'\n      else\n        "
          << (!parts.empty()        ? kBash.before_words + joined(parts, " ") + kBash.behind_words
              : positionals.empty() ? kBash.anything
                                    : offer(*positionals.front(), kBash))
          << "\n      fi\n      ;;\n";
    }
    out << "  esac\n";
  }

  void write_zsh_option(const CLI::Option& option, std::ostream& out) const {
    const bool many = takes_many(option) || option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
    const std::string value = value_of(option);
    for (const std::string& name : names_of(option)) {
      out << "    '" << (many ? "*" : "") << name << "[" << zsh_text(option.get_description()) << "]";
      if (!value.empty()) out << ":" << zsh_text(value) << ":" << offer(option, kZsh);
      out << "'\n";
    }
  }

  void write_zsh_command(const CLI::App& command, const std::string& path, std::ostream& out) const {
    out << zsh_function(path) << "() {\n  local context state state_descr line\n  typeset -A opt_args\n"
        << "  local -a arguments\n  arguments=(\n    $_sensorcal_common\n";
    for (const CLI::Option* option : arguments_of(command, false)) {
      if (!path.empty() && !is_help(*option)) write_zsh_option(*option, out);
    }
    const std::vector<const CLI::App*> parts = command.get_subcommands({});
    if (parts.empty()) {
      for (const CLI::Option* positional : arguments_of(command, true)) {
        out << "    '" << (takes_many(*positional) ? "*" : "") << (positional->get_required() ? ":" : "::")
            << zsh_text(value_of(*positional)) << ":" << offer(*positional, kZsh) << "'\n";
      }
      out << "  )\n  _arguments $arguments\n}\n\n";
      return;
    }
    out << "    '1:command:->command'\n    '*::argument:->argument'\n  )\n  _arguments -C $arguments\n  case $state "
           "in\n"
        << "    command)\n      local -a commands\n      commands=(\n";
    for (const CLI::App* part : parts)
      out << "        '" << zsh_text(part->get_name()) << ":" << zsh_text(part->get_description()) << "'\n";
    out << "      )\n      _describe command commands\n      ;;\n    argument)\n      case $line[1] in\n";
    for (const CLI::App* part : parts)
      out << "        " << part->get_name() << ") " << zsh_function(path + "/" + part->get_name()) << " ;;\n";
    out << "      esac\n      ;;\n  esac\n}\n\n";
  }

  const CLI::App& program_;
  const WordsFor words_;
  std::vector<std::pair<std::string, const CLI::App*>> commands_;  // by their path, "/hub/send"; the program has none
};

StationRunner set_up_man(ArgumentParser parser) {
  return [parser](const CommonOptions& /*options*/) {
    write_man_page(parser.parent(), std::cout);
    return kPassed;
  };
}

StationRunner set_up_completion(ArgumentParser parser, const WordsFor& words) {
  auto shell = std::make_shared<std::string>();
  parser.add_option("SHELL", *shell, "bash or zsh", {.required = true, .one_of = {"bash", "zsh"}});
  return [parser, shell, words](const CommonOptions& /*options*/) {
    const Completion completion(parser.parent(), words);
    *shell == "bash" ? completion.write_bash(std::cout) : completion.write_zsh(std::cout);
    return kPassed;
  };
}

}  // namespace

std::vector<CommandOf<CommonOptions>> manual_commands(const WordsFor& words) {
  return {{"man", "print the man page", "  sensorcal man | man -l -\n  sensorcal man > sensorcal.1", set_up_man},
          {"completion", "print the completions of a shell",
           "  source <(sensorcal completion bash)\n  sensorcal completion zsh > ~/.zfunc/_sensorcal",
           [words](ArgumentParser parser) { return set_up_completion(parser, words); }}};
}

}  // namespace factory
