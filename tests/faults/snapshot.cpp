#include "snapshot.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fault_matrix {
namespace {

namespace fs = std::filesystem;

bool identical(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

bool begins_with_one_of(const std::string& text, const char* beginnings) {
  const std::vector<std::string> parts = split(beginnings);
  return std::any_of(parts.begin(), parts.end(), [&](const std::string& part) { return text.rfind(part, 0) == 0; });
}

// The numbers of a text that are results: of a JSON file those between the marks of "scale_data".
std::vector<double> results_in(const std::string& path, std::string text) {
  if (path.find(".json") != std::string::npos) {
    const size_t scale = std::min(text.find("scale_data"), text.size());
    text = text.substr(scale, text.find("\n", scale) - scale);
  }
  for (char& c : text) {
    if ((c < '0' || c > '9') && c != '-' && c != '.') c = ' ';
  }
  std::istringstream words(text);
  std::vector<double> out;
  for (double number = 0; words >> number;) out.push_back(number);
  return out;
}

bool same_results(const std::string& path, const std::string& good, const std::string& found) {
  constexpr double kCounts = 4;
  constexpr double kScale = 0.02;
  const std::vector<double> a = results_in(path, good);
  const std::vector<double> b = results_in(path, found);
  const double limit = path.find(".json") != std::string::npos ? kScale : kCounts;
  if (a.empty()) return !b.empty();  // the first result
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [limit](double x, double y) { return std::fabs(x - y) <= limit; });
}

}  // namespace

Numbers hub_numbers(const Json::Value& hub_state) {
  Numbers out;
  for (const std::string& sensor : hub_state.getMemberNames()) {
    for (const std::string& name : hub_state[sensor].getMemberNames()) {
      test::flatten(hub_state[sensor][name]["value"], sensor + "/" + name, &out);
    }
  }
  return out;
}

Files device_files(const std::string& directory) {
  Files out;
  std::error_code ignored;
  for (auto it = fs::recursive_directory_iterator(directory + "/mnt", ignored);
       it != fs::recursive_directory_iterator(); it.increment(ignored)) {
    if (!it->is_regular_file(ignored)) continue;  // a link of a fault counts as what it leads to
    std::ostringstream text;
    text << std::ifstream(it->path()).rdbuf();
    out[it->path().string().substr(directory.size())] = text.str();
  }
  return out;
}

State compare_hub(const Kind& kind, const Numbers& before, const Numbers& after, std::string* strangers) {
  State state = State::same;
  Numbers all = before;
  all.insert(after.begin(), after.end());
  for (const auto& [path, ignored] : all) {
    const auto was = before.find(path);
    const auto is = after.find(path);
    const bool both = was != before.end() && is != after.end();
    if (both && identical(was->second, is->second)) continue;
    if (!begins_with_one_of(path, kind.owns)) *strangers += " " + path;
    const bool near = both && std::fabs(was->second - is->second) <= test::wander(path, was->second);
    state = std::max(state, near ? State::good : State::wrong);
  }
  return state;
}

State compare_files(const Kind& kind, const Files& good, const Files& before, const Files& after,
                    std::string* strangers) {
  State state = State::same;
  Files all = before;
  all.insert(after.begin(), after.end());
  for (const auto& [path, ignored] : all) {
    const auto was = before.find(path);
    const auto is = after.find(path);
    if (was != before.end() && is != after.end() && was->second == is->second) continue;
    if (!begins_with_one_of(path, kind.files)) *strangers += " " + path;
    const auto wanted = good.find(path);
    const bool near = wanted != good.end() && is != after.end() && same_results(path, wanted->second, is->second);
    state = std::max(state, near ? State::good : State::wrong);
  }
  return state;
}

}  // namespace fault_matrix
