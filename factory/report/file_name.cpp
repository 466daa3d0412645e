#include "report/file_name.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "files/app_error.h"
#include "files/time_text.h"
#include "files/words.h"

namespace factory {
namespace {

using record::Run;

struct Part {
  const char* name;
  std::string (*of)(const Run& run);
};

// "20261124T220405.123Z": without what file names do without.
std::string compact_time(const Run& run) {
  std::string out = iso_time(run.started);
  std::erase_if(out, [](char c) { return c == '-' || c == ':'; });
  return out;
}

constexpr Part kParts[] = {
    {"serial", [](const Run& run) { return run.serial; }},
    {"started", compact_time},
    {"plan", [](const Run& run) { return run.plan.name; }},
    {"verdict", [](const Run& run) { return std::string(outcome_name(run.outcome)); }},
};

const Part* part_named(const std::string& name) {
  const auto* const found =
      std::find_if(std::begin(kParts), std::end(kParts), [&](const Part& part) { return name == part.name; });
  return found == std::end(kParts) ? nullptr : found;
}

// Letters, digits and a few signs stay; all else becomes %XX, and so does a point in front.
std::string safe(const std::string& text) {
  std::string out;
  for (const char c : text) {
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    if (letter || c == '-' || c == '_' || c == '+' || (c == '.' && !out.empty())) {
      out += c;
    } else {
      char code[4];
      snprintf(code, sizeof code, "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
      out += code;
    }
  }
  return out.empty() ? "none" : out;
}

// What stands between braces, each in turn; what `replace` gives takes its place.
template <typename Replace>
std::string replaced(const std::string& pattern, Replace replace) {
  std::string out;
  size_t at = 0;
  for (;;) {
    const size_t open = pattern.find('{', at);
    const size_t close = open == std::string::npos ? open : pattern.find('}', open);
    if (close == std::string::npos) return out + pattern.substr(at);
    out += pattern.substr(at, open - at) + replace(pattern.substr(open + 1, close - open - 1));
    at = close + 1;
  }
}

}  // namespace

void check_pattern(const std::string& option, const std::string& pattern, bool known_before) {
  replaced(pattern, [&](const std::string& name) -> std::string {
    if (part_named(name) == nullptr) {
      std::vector<std::string> names;
      for (const Part& part : kParts) names.push_back("{" + std::string(part.name) + "}");
      throw AppError(kUsage,
                     option + " " + pattern + ": there is no {" + name + "}" + or_nearest("{" + name + "}", names));
    }
    if (known_before && name == "verdict")
      throw AppError(kUsage, option + " " + pattern + ": the verdict is not known before the run");
    return "";
  });
}

bool is_pattern(const std::string& text) {
  return replaced(text, [](const std::string&) { return std::string(); }) != text;
}

std::string file_name(const std::string& pattern, const Run& run) {
  return replaced(pattern, [&](const std::string& name) {
    const Part* part = part_named(name);
    return part == nullptr ? "{" + name + "}" : safe(part->of(run));
  });
}

}  // namespace factory
