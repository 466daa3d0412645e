// Cuts a phone's power at every call that changes a file, and looks at what is left.
//
//   power_cuts SENSORCAL LIBRARY_CALLS PLANS FOLDER [POINTS]
//
// A story of commands is told once. At every command, from the folder as the one before left it, the power is cut at
// one point after the other, at POINTS of them spread evenly (all when not given). Afterwards every stored file must
// hold what it held before or what took its place as a whole, the phone must open in a fresh process and report, and
// what the library writes in place must be whole or an error to its reader.
#include <json/json.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <regex>
#include <sstream>

#include "traced_run.h"

namespace {

namespace fs = std::filesystem;
using Files = std::map<std::string, std::string>;

struct Command {
  const char* name;
  std::vector<std::string> words;
};

const std::vector<Command> kStory = {
    {"first use", {"calibrate", "Acc", "--seed", "7", "--max-equal", "20"}},
    {"set", {"set", "Acc", "offset", "0.01", "-0.02", "0.005"}},
    {"library's files",
     {"call", "save_prox_ct1", "1234", "+", "save_prox_ct2", "-56", "+", "save_prox_delta", "789", "+", "setScale",
      "0.25", "+", "WirteScaleToFileJson", "0.99", "/mnt/vendor/nvcfg/sensor/lightSensorCali.json"}},
    {"again",
     {"call", "save_prox_ct1", "4321", "+", "save_prox_ct2", "65", "+", "save_prox_delta", "987", "+", "setScale",
      "2.5", "+", "WirteScaleToFileJson", "0.98", "/mnt/vendor/nvcfg/sensor/lightSensorCali.json"}},
    {"calibrate", {"calibrate", "Acc", "Gyr", "Bar", "Lux", "--world", "lux=200"}},
    {"property", {"report", "--max-equal", "30"}},
    {"plan", {"run", "PLAN", "--html", "FOLDER/run.html", "--junit", "FOLDER/run.xml", "--csv", "FOLDER/csv"}},
    {"plan again", {"run", "PLAN", "--html", "FOLDER/run.html", "--junit", "FOLDER/run.xml", "--csv", "FOLDER/csv"}},
    {"put back", {"run", "FOLDER/../put_back.json"}},
    {"reboot", {"reboot"}},
    {"factory reset", {"factory-reset"}},
};

// Its calibration cannot pass, so the light sensor's file returns to what it held.
constexpr char kPutBackPlan[] = R"({"format": "sensorcal.plan/1", "name": "put back", "steps": [
  {"fixture": {"lux": "200 lux", "cct": "4000 K"}},
  {"calibrate": "CCT_F_strm", "golden": [800, 1200, 600, 2000, 400, 300, 200],
   "limits": {"residual": "0.000001 %"}}]})";

// Written by the library as it must write them, or no stored value at all.
const std::string kPersist = "/phone/mnt/vendor/persist/sensors/";
const std::string kLightJson = "/phone/mnt/vendor/nvcfg/sensor/lightSensorCali.json";
const std::map<std::string, const char*> kCrosstalkFiles = {{kPersist + "PSensor_ct1.txt", "load_prox_ct1"},
                                                            {kPersist + "PSensor_ct2.txt", "load_prox_ct2"},
                                                            {kPersist + "PSensor3cm_ct.txt", "load_prox_delta"}};
const std::set<std::string> kLibraryFiles = {kPersist + "PSensor_ct1.txt", kPersist + "PSensor_ct2.txt",
                                             kPersist + "PSensor3cm_ct.txt", kPersist + "scale.txt", kLightJson};
const std::regex kNotStored("/phone/(\\.lock|sys/.*)|.*\\.new|.*\\.[A-Za-z0-9]{6}");

Files files_of(const std::string& folder) {
  Files out;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    std::ifstream in(entry.path(), std::ios::binary);
    std::stringstream bytes;
    bytes << in.rdbuf();
    out[entry.path().string().substr(folder.size())] = bytes.str();
  }
  return out;
}

bool is_json(const std::string& text) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["allowSpecialFloats"] = true;
  Json::Value ignored;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  return reader->parse(text.data(), text.data() + text.size(), &ignored, nullptr);
}

bool ends_with(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// Whether it can be the whole of a file of this name.
bool is_whole(const std::string& path, const std::string& text) {
  if (path == "/phone/vendor/etc/sensors/judge_calibrated.json") return ends_with(text, "\n");  // a table by nature
  if (path == kPersist + "scale.txt") return !text.empty();  // a number without a line feed
  if (ends_with(path, ".json")) return is_json(text);
  if (ends_with(path, ".html")) return ends_with(text, "</html>\n");
  if (ends_with(path, ".xml")) return ends_with(text, "</testsuites>\n") || ends_with(text, "</testsuite>\n");
  return text.empty() || ends_with(text, "\n");
}

class PowerCuts {
 public:
  PowerCuts(std::string sensorcal, std::string calls, std::string plans, std::string folder)
      : sensorcal_(std::move(sensorcal)),
        calls_(std::move(calls)),
        plan_(plans + "/reference.json"),
        folder_(std::move(folder)),
        now_(folder_ + "/now") {}

  void tell(int points);
  int faults() const { return faults_; }
  int tried() const { return tried_; }

 private:
  std::vector<std::string> words(const Command& command) const;
  FileHistory trace(const Command& command, int cut_at, int* exit_code);
  void set_back() const;
  void cut(const Command& command, int point);
  void check_file(const std::string& path, const Files& before, const Files& after, const FileHistory& history);
  void check_phone(const FileHistory& history);
  std::string answer(const std::string& program, const std::string& arguments, int* exit_code) const;
  void fault(const std::string& what) {
    ++faults_;
    std::cout << "FAULT at " << place_ << ": " << what << "\n";
  }

  const std::string sensorcal_, calls_, plan_, folder_;
  const std::string now_;  // the folder in which the commands work
  std::string place_;
  int faults_ = 0;
  int tried_ = 0;
};

std::vector<std::string> PowerCuts::words(const Command& command) const {
  const std::string& program = command.words[0] == "call" ? calls_ : sensorcal_;
  std::vector<std::string> out = {program, "--phone", now_ + "/phone"};
  if (command.words[0] != "reboot" && command.words[0] != "factory-reset")
    out.insert(out.end(), {"--speed", "max"});  // those two wait for nothing
  for (std::string word : command.words) {
    if (word == "PLAN") word = plan_;
    if (word.compare(0, 7, "FOLDER/") == 0) word = now_ + word.substr(6);
    out.push_back(word);
  }
  return out;
}

FileHistory PowerCuts::trace(const Command& command, int cut_at, int* exit_code) {
  TracedRun run;
  run.command = words(command);
  run.folder = now_ + "/";
  run.cut_at = cut_at;
  run.exit_code = exit_code;
  return run.run();
}

void PowerCuts::set_back() const {
  fs::remove_all(now_);
  fs::copy(folder_ + "/before", now_, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
}

std::string PowerCuts::answer(const std::string& program, const std::string& arguments, int* exit_code) const {
  const std::string line =
      program + " --phone " + now_ + "/phone --speed max " + arguments + " 2>" + folder_ + "/err </dev/null";
  std::string out;
  FILE* const pipe = popen(line.c_str(), "r");
  if (pipe == nullptr) return out;
  char buffer[4096];
  for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
  const int status = pclose(pipe);
  *exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return out;
}

void PowerCuts::check_file(const std::string& path, const Files& before, const Files& after,
                           const FileHistory& history) {
  if (std::regex_match(path, kNotStored)) return;
  const auto left = after.find(path);
  const auto old = before.find(path);
  const bool in_place = history.written_in_place.count(now_ + path) != 0;
  if (in_place && kLibraryFiles.count(path) != 0) {
    // Too short to be split, and never in two pieces: so it is old, empty or new.
    const auto writes = history.writes.find(now_ + path);
    if (path != kLightJson && writes != history.writes.end() && writes->second > 1) fault(path + " takes two writes");
    return;
  }
  if (in_place) fault(path + " is written in place");
  std::optional<std::string> wanted;
  if (old != before.end()) wanted = old->second;
  const auto replaced = history.whole.find(now_ + path);
  if (replaced != history.whole.end()) wanted = replaced->second;
  if (wanted.has_value() != (left != after.end())) {
    fault(path + (wanted ? " is gone" : " is there again"));
  } else if (wanted && left->second != *wanted) {
    fault(path + " holds neither the old nor the new value");
  } else if (wanted && !is_whole(path, *wanted)) {
    fault(path + " took a place and was not whole");
  }
}

// A fresh process: the phone opens and reports, and a file that a cut left short is an error to its reader.
void PowerCuts::check_phone(const FileHistory& history) {
  int exit_code = -1;
  answer(sensorcal_, "report --profile reference", &exit_code);  // a first use may leave no phone yet
  if (exit_code != 0 && exit_code != 1)
    return fault("the phone does not open and report: exit code " + std::to_string(exit_code));
  const Files left = files_of(now_);
  std::string reads;
  for (const auto& [path, operation] : kCrosstalkFiles) reads += std::string(operation) + " + ";
  const std::string calls =
      answer(calls_, "call " + reads + "WirteScaleToFileJson 1 " + kLightJson.substr(6), &exit_code);
  std::vector<int> out;
  std::stringstream results(calls);
  for (int result = 0; results >> result;) out.push_back(result);
  if (exit_code != 0 || out.size() != kCrosstalkFiles.size() + 1) return fault("the phone does not answer");
  size_t i = 0;
  for (const auto& [path, operation] : kCrosstalkFiles) {
    const auto file = left.find(path);
    const bool whole = file != left.end() && std::regex_match(file->second, std::regex("offset=-?[0-9]+\n"));
    const int wanted = whole ? 0 : -5;
    const int result = out[i++];
    // Half of such a line would read as a shorter number; but no kill and no disk splits a write so short.
    if (history.torn.count(now_ + path) != 0) continue;
    if (result != wanted) fault(std::string(operation) + " does not give " + std::to_string(wanted));
  }
  const auto light = left.find(kLightJson);
  const bool readable = light != left.end() && is_json(light->second);
  if (out[i] != (readable ? 0 : 1)) fault("the light sensor's file, cut short, is taken for whole");
}

void PowerCuts::cut(const Command& command, int point) {
  ++tried_;
  place_ = std::string(command.name) + ", point " + std::to_string(point);
  set_back();
  const Files before = files_of(now_);
  const FileHistory history = trace(command, point, nullptr);
  const Files after = files_of(now_);
  Files all = before;
  all.insert(after.begin(), after.end());
  for (const auto& [path, content] : all) check_file(path, before, after, history);
  for (const std::string& problem : history.problems) fault(problem);
  check_phone(history);
}

void PowerCuts::tell(int points) {
  fs::create_directories(now_);
  std::ofstream(folder_ + "/put_back.json") << kPutBackPlan;
  std::vector<FileHistory> whole;
  // First without a cut: every command must do its work, and the disk must hear of everything in time.
  int all_points = 0;
  for (const Command& command : kStory) {
    place_ = command.name;
    int exit_code = -1;
    fs::rename(now_, folder_ + "/before." + std::to_string(whole.size()));
    fs::copy(folder_ + "/before." + std::to_string(whole.size()), now_, fs::copy_options::recursive);
    whole.push_back(trace(command, 0, &exit_code));
    if (exit_code != 0 && exit_code != 1) fault("ended with " + std::to_string(exit_code));
    for (const std::string& problem : whole.back().problems) fault(problem);
    if (std::string(command.name) == "put back" && whole.back().whole.count(now_ + kLightJson) == 0) {
      fault(kLightJson + " is put back in place, or not at all");
    }
    all_points += whole.back().points;
  }
  const int step = points <= 0 || points >= all_points ? 1 : (all_points + points - 1) / points;
  int index = 0;
  for (size_t i = 0; i < kStory.size(); ++i) {
    fs::remove_all(folder_ + "/before");
    fs::rename(folder_ + "/before." + std::to_string(i), folder_ + "/before");
    int here = 0;
    for (int point = 1; point <= whole[i].points; ++point) {
      if (index++ % step != 0) continue;
      cut(kStory[i], point);
      ++here;
    }
    std::cout << kStory[i].name << ": " << here << " of " << whole[i].points << " points\n" << std::flush;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5) {
    std::cerr << "usage: power_cuts SENSORCAL LIBRARY_CALLS PLANS FOLDER [POINTS]\n";
    return 2;
  }
  const std::string folder = fs::absolute(argv[4]).lexically_normal().string();
  fs::remove_all(folder);
  fs::create_directories(folder);
  PowerCuts cuts(fs::absolute(argv[1]).string(), fs::absolute(argv[2]).string(), fs::absolute(argv[3]).string(),
                 folder);
  try {
    cuts.tell(argc > 5 ? atoi(argv[5]) : 0);
  } catch (const std::exception& error) {
    std::cerr << "power_cuts: " << error.what() << "\n";
    return 1;
  }
  std::cout << cuts.tried() << " cuts, " << cuts.faults() << " faults\n";
  return cuts.faults() == 0 && cuts.tried() > 0 ? 0 : 1;
}
