#include "cli/man_page.h"

#include <algorithm>
#include <sstream>

namespace factory {
namespace {

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
    switch (c) {
      case '\\':
        out += "\\e";
        break;
      case '-':
        out += "\\-";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string bold(const std::string& text) { return "\\fB" + escaped(text) + "\\fR"; }
std::string italic(const std::string& text) { return "\\fI" + escaped(text) + "\\fR"; }

void write_argument(const ArgumentText& argument, bool positional, std::ostream& out) {
  out << ".TP\n";
  for (size_t i = 0; i < argument.names.size(); ++i) {
    out << (i > 0 ? ", " : "") << (positional ? italic(argument.names[i]) : bold(argument.names[i]));
  }
  if (!positional && !argument.value.empty()) out << " " << italic(argument.value);
  out << "\n" << escaped(argument.description);
  if (!argument.by_default.empty()) out << " (default " << escaped(argument.by_default) << ")";
  out << "\n";
}

// The lines of "Examples:\n  sensorcal ..." as they are to be typed.
void write_examples(const std::string& footer, std::ostream& out) {
  const size_t begin = footer.find('\n');
  if (begin == std::string::npos) return;
  out << ".PP\nExamples:\n.PP\n.nf\n.RS\n";
  std::istringstream lines(footer.substr(begin + 1));
  for (std::string line; std::getline(lines, line);) {
    out << escaped(line.substr(std::min(line.find_first_not_of(' '), line.size()))) << "\n";
  }
  out << ".RE\n.fi\n";
}

// `--help` stands among the options of all commands.
bool is_help(const ArgumentText& option) { return option.names.back() == "--help"; }

void write_command(const CommandText& command, const std::string& before, std::ostream& out) {
  const std::string path = before + command.name;
  out << ".SS "
      << "\"" << escaped(path);
  for (const ArgumentText& positional : command.positionals) out << " " << escaped(synopsis(positional));
  if (!command.parts.empty()) out << " COMMAND";
  out << "\"\n" << escaped(command.summary) << "\n";
  for (const ArgumentText& positional : command.positionals) write_argument(positional, true, out);
  for (const ArgumentText& option : command.options) {
    if (!is_help(option)) write_argument(option, false, out);
  }
  if (!command.footer.empty()) write_examples(command.footer, out);
  for (const CommandText& part : command.parts) write_command(part, path + " ", out);
}

}  // namespace

std::string man_page(const CommandText& program, const std::string& version) {
  std::ostringstream out;
  out << ".TH SENSORCAL 1 \"\" \"sensorcal " << escaped(version) << "\" \"Factory calibration\"\n"
      << ".SH NAME\n"
      << escaped(program.name) << " \\- " << escaped(program.summary) << "\n"
      << ".SH SYNOPSIS\n.B " << escaped(program.name) << "\n.I COMMAND\n[\\fIARGUMENT\\fR...]\n[\\fIOPTION\\fR...]\n"
      << ".SH DESCRIPTION\n"
      << escaped(kIntroduction) << ".SH OPTIONS\nThese are understood by every command, before or behind its name.\n";
  for (const ArgumentText& option : program.options) write_argument(option, false, out);
  out << ".SH COMMANDS\n";
  for (const CommandText& command : program.parts) write_command(command, "", out);
  out << ".SH EXIT STATUS\n" << escaped(program.footer) << "\n.SH ENVIRONMENT\n";
  for (const auto& row : kEnvironment) out << ".TP\n" << bold(row.name) << "\n" << escaped(row.text) << "\n";
  return out.str();
}

}  // namespace factory
