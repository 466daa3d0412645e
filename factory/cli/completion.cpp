#include "cli/completion.h"

#include <functional>
#include <set>
#include <sstream>

namespace factory {
namespace {

std::string joined(const std::vector<std::string>& words, const char* between) {
  std::string out;
  for (const std::string& word : words) out += (out.empty() ? "" : between) + word;
  return out;
}

// Calls back for a command and all of its parts, with the path "/hub/send"; the program itself has the empty path.
void each_command(const CommandText& command, const std::string& path,
                  const std::function<void(const CommandText&, const std::string&)>& visit) {
  visit(command, path);
  for (const CommandText& part : command.parts) each_command(part, path + "/" + part.name, visit);
}

std::vector<std::string> option_names(const CommandText& command) {
  std::vector<std::string> out;
  for (const ArgumentText& option : command.options) out.insert(out.end(), option.names.begin(), option.names.end());
  return out;
}

std::vector<std::string> part_names(const CommandText& command) {
  std::vector<std::string> out;
  for (const CommandText& part : command.parts) out.push_back(part.name);
  return out;
}

// What bash is to offer: a call of one of the script's functions.
std::string bash_offer(const ArgumentText& value) {
  if (value.kind == ValueKind::file) return "_sensorcal_offer_files -f";
  if (value.kind == ValueKind::directory) return "_sensorcal_offer_files -d";
  return value.offered.empty() ? "COMPREPLY=()" : "_sensorcal_offer '" + joined(value.offered, " ") + "'";
}

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

// Options of which a value follows, by what it is.
void write_bash_values(const CommandText& program, std::ostream& out) {
  std::set<std::string> seen;
  out << "  case $prev in\n";
  each_command(program, "", [&](const CommandText& command, const std::string&) {
    for (const ArgumentText& option : command.options) {
      const std::string names = joined(option.names, "|");
      if (option.value.empty() || !seen.insert(names).second) continue;
      out << "    " << names << ") " << bash_offer(option) << "; return ;;\n";
    }
  });
  out << "  esac\n";
}

void write_bash_words(const CommandText& program, std::ostream& out) {
  const std::string common = joined(option_names(program), " ");
  out << "  case $path in\n";
  each_command(program, "", [&](const CommandText& command, const std::string& path) {
    const std::string own = path.empty() ? "" : joined(option_names(command), " ") + " ";
    out << "    '" << path << "')\n      if [[ $cur == -* ]]; then\n        _sensorcal_offer '" << own << common
        << "'\n      else\n        ";
    if (!command.parts.empty()) {
      out << "_sensorcal_offer '" << joined(part_names(command), " ") << "'\n";
    } else if (!command.positionals.empty()) {
      out << bash_offer(command.positionals.front()) << "\n";
    } else {
      out << "COMPREPLY=()\n";
    }
    out << "      fi\n      ;;\n";
  });
  out << "  esac\n";
}

// Text inside zsh's single quotes, in a place where colons and brackets have a meaning.
std::string zsh_text(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '\'') {
      out += "'\\''";
    } else if (c == '[' || c == ']' || c == ':' || c == '\\') {
      out += std::string("\\") + c;
    } else {
      out += c;
    }
  }
  return out;
}

std::string zsh_action(const ArgumentText& value) {
  if (value.kind == ValueKind::file) return "_files";
  if (value.kind == ValueKind::directory) return "_files -/";
  return value.offered.empty() ? " " : "(" + joined(value.offered, " ") + ")";
}

void write_zsh_option(const ArgumentText& option, std::ostream& out) {
  for (const std::string& name : option.names) {
    out << "    '" << (option.many ? "*" : "") << name << "[" << zsh_text(option.description) << "]";
    if (!option.value.empty()) out << ":" << zsh_text(option.value) << ":" << zsh_action(option);
    out << "'\n";
  }
}

std::string zsh_function(std::string path) {
  for (char& c : path) c = c == '/' || c == '-' ? '_' : c;
  return "_sensorcal" + path;
}

void write_zsh_command(const CommandText& command, const std::string& path, std::ostream& out) {
  out << zsh_function(path) << "() {\n  local context state state_descr line\n  typeset -A opt_args\n"
      << "  local -a arguments\n  arguments=(\n    $_sensorcal_common\n";
  if (!path.empty()) {
    for (const ArgumentText& option : command.options) {
      if (option.names.back() != "--help") write_zsh_option(option, out);
    }
  }
  if (!command.parts.empty()) {
    out << "    '1:command:->command'\n    '*::argument:->argument'\n  )\n  _arguments -C $arguments\n  case $state "
           "in\n"
        << "    command)\n      local -a commands\n      commands=(\n";
    for (const CommandText& part : command.parts) {
      out << "        '" << zsh_text(part.name) << ":" << zsh_text(part.summary) << "'\n";
    }
    out << "      )\n      _describe command commands\n      ;;\n    argument)\n      case $line[1] in\n";
    for (const CommandText& part : command.parts) {
      out << "        " << part.name << ") " << zsh_function(path + "/" + part.name) << " ;;\n";
    }
    out << "      esac\n      ;;\n  esac\n}\n\n";
    return;
  }
  for (const ArgumentText& positional : command.positionals) {
    out << "    '" << (positional.many ? "*" : "") << (positional.required ? ":" : "::") << zsh_text(positional.value)
        << ":" << zsh_action(positional) << "'\n";
  }
  out << "  )\n  _arguments $arguments\n}\n\n";
}

}  // namespace

std::string bash_completion(const CommandText& program) {
  std::ostringstream out;
  std::set<std::string> with_value;
  std::vector<std::string> paths;
  each_command(program, "", [&](const CommandText& command, const std::string& path) {
    for (const ArgumentText& option : command.options) {
      if (!option.value.empty()) with_value.insert(option.names.begin(), option.names.end());
    }
    if (!path.empty()) paths.push_back(path);
  });
  out << kBashHead << joined({with_value.begin(), with_value.end()}, "|") << ") ((i++)) ;;\n      *)\n"
      << "        case $path/${COMP_WORDS[i]} in\n          " << joined(paths, "|")
      << ") path=$path/${COMP_WORDS[i]} ;;\n        esac\n        ;;\n    esac\n  done\n";
  write_bash_values(program, out);
  write_bash_words(program, out);
  out << "}\n\ncomplete -F _sensorcal sensorcal\n";
  return out.str();
}

std::string zsh_completion(const CommandText& program) {
  std::ostringstream out;
  out << "#compdef sensorcal\n# zsh completion of sensorcal, as `sensorcal completion zsh` prints it.\n\n"
      << "typeset -ga _sensorcal_common\n_sensorcal_common=(\n";
  for (const ArgumentText& option : program.options) write_zsh_option(option, out);
  out << ")\n\n";
  each_command(program, "",
               [&](const CommandText& command, const std::string& path) { write_zsh_command(command, path, out); });
  // Run by the completion system when autoloaded; only made known when sourced.
  out << "if [[ ${funcstack[1]} == _sensorcal ]]; then\n  _sensorcal \"$@\"\nelse\n"
      << "  compdef _sensorcal sensorcal\nfi\n";
  return out.str();
}

}  // namespace factory
