#include "station/settings.h"

#include <errno.h>
#include <netdb.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <set>
#include <sstream>

#include "cli/terminal.h"
#include "files/app_error.h"
#include "files/json_text.h"
#include "files/numbers.h"
#include "files/placed_json.h"
#include "files/whole_file.h"
#include "files/words.h"
#include "report/file_name.h"
#include "station/embedded.h"
#include "store/stored_text.h"
#include "store/uri.h"

namespace factory::station {
namespace {

namespace fs = std::filesystem;

// Letters, digits and what labels have between them: nothing that a shell or a file's name knows otherwise.
constexpr char kUsualSerials[] = "[A-Za-z0-9][A-Za-z0-9._-]{0,63}";
// Nobody has to stand at the fixture of a simulated phone.
const std::vector<std::string> kUsualRunner = {"{program}",       "run",      "-",        "--events",  "--phone",
                                               "{phones}/{slot}", "--serial", "{serial}", "--station", "{station}"};

// Refuses what `check` throws for.
template <typename Check>
void checked(const PlacedJson& setting, Check check) {
  try {
    check();
  } catch (const std::exception& error) {
    setting.problem(error.what());
  }
}

// Whether it is there, and an object, whose other keys are problems.
bool is_object(const PlacedJson& setting, const std::set<std::string>& keys) {
  if (setting->isObject()) {
    setting.only_keys(keys);
  } else if (setting.there()) {
    setting.problem("give an object");
  }
  return setting->isObject();
}

// Whether it is there, and a list that is not empty.
bool is_list(const PlacedJson& setting, const std::string& of) {
  const bool is = setting->isArray() && !setting->empty();
  if (!is && setting.there()) setting.problem("give a list of " + of);
  return is;
}

// What is to be told apart and shown: of 1 to 64 characters that can be seen, without blanks around it.
std::string name_of(const PlacedJson& setting, const std::string& otherwise = "") {
  const std::string out = setting.text(otherwise);
  const bool is_shown = out.size() <= 64 && trimmed(out) == out && visible(out) == out;
  if (!is_shown && setting.there()) setting.problem("give a name of 1 to 64 characters, without blanks around it");
  return is_shown ? out : otherwise;
}

// The first of the words is the default.
std::string one_of(const PlacedJson& setting, const std::vector<std::string>& words) {
  const std::string word = setting.text(words.front());
  if (std::find(words.begin(), words.end(), word) != words.end()) return word;
  setting.problem("there is no \"" + word + "\"" + or_nearest(word, words));
  return words.front();
}

class Reader {
 public:
  Reader(const PlacedJson& root, fs::path folder, const Surroundings& around)
      : root_(root), folder_(std::move(folder)), around_(around) {}

  Settings read() {
    out_.folder = folder_.string();
    if (!is_object(root_,
                   {"format",        "about",   "station",   "plan",    "plans",  "serials",   "store",  "spool",
                    "store_samples", "reports", "operators", "slots",   "runner", "silence_s", "retest", "earlier",
                    "golden",        "shifts",  "language",  "address", "port",   "token",     "names"}))
      return out_;
    if (*root_["format"] != "sensorcal.station/1") root_["format"].problem("give \"sensorcal.station/1\"");
    (void)root_["about"].text();
    out_.station = name_of(root_["station"], host_name());
    out_.given = {{"program", around_.program}, {"phones", around_.phones}, {"station", out_.station}};
    out_.serials = pattern(root_["serials"], kUsualSerials);
    read_plans();
    read_store();
    read_reports();
    read_slots();
    read_operators();
    read_policies();
    read_server();
    return out_;
  }

 private:
  static std::string host_name() {
    char name[256] = "";
    gethostname(name, sizeof name - 1);
    return name[0] == '\0' ? "station" : name;
  }

  std::string place(const std::string& file) const {
    return file.empty() ? file : (folder_ / file).lexically_normal().string();
  }

  static Pattern pattern(const PlacedJson& setting, const std::string& usual) {
    const std::string text = setting.text(usual);
    Pattern out;
    checked(setting, [&] { out = Pattern(text); });
    return out;
  }

  void read_plans() {
    if (root_.has("plan") && root_.has("plans")) root_["plans"].problem("either this, or \"plan\"");
    if (root_.has("plan")) {
      add_plan(root_["plan"], {});
    } else if (root_.has("plans")) {
      const PlacedJson list = root_["plans"];
      for (Json::ArrayIndex i = 0; is_list(list, "plans for serial numbers") && i < list->size(); ++i) {
        if (!is_object(list[i], {"serials", "plan"})) continue;
        add_plan(list[i]["plan"], pattern(list[i]["serials"], ".+"));
      }
    } else {
      keep_plan(root_, {{}, "reference.json", std::string(assets::reference_plan), "", "", ""});
    }
  }

  void add_plan(const PlacedJson& setting, Pattern serials) {
    const std::string file = setting.text();
    if (!setting.there()) setting.problem("give a file's name");
    if (file.empty()) return;
    const auto bytes = read_file(place(file));
    if (!bytes) return setting.problem(file + ": " + strerror(errno));
    keep_plan(setting, {std::move(serials), file, *bytes, "", "", ""});
  }

  // Whether each step can be run its runner says.
  void keep_plan(const PlacedJson& setting, PlanChoice plan) {
    Json::Value json;
    std::string why;
    if (!parse_json(plan.bytes, &json, &why)) return setting.problem(plan.file + ": " + why);
    if (!json.isObject() || json["format"] != "sensorcal.plan/1" || !json["name"].isString())
      return setting.problem(plan.file + ": is no plan");
    plan.name = json["name"].asString();
    if (json["version"].isString()) plan.version = json["version"].asString();
    plan.sha256 = store::sha256(plan.bytes);
    out_.plans.push_back(std::move(plan));
  }

  void read_store() {
    out_.store = root_["store"].text();
    out_.samples = root_["store_samples"].truth();
    out_.spool = place(root_["spool"].text());
    if (out_.store.empty() && !out_.spool.empty()) root_["spool"].problem("goes with a \"store\", a server");
    if (out_.store.empty() && !root_.has("reports")) return;
    checked(root_[out_.store.empty() ? "reports" : "store"], [] { (void)store::state_folder(); });
    if (out_.store.empty()) return;
    checked(root_["store"], [&] {
      const bool file = out_.store.find("://") == std::string::npos;
      const size_t scheme = out_.store.starts_with("sqlite:") ? 7 : 0;
      if (file) out_.store = "sqlite:" + place(out_.store.substr(scheme));
      const store::Uri uri = store::parse_uri(out_.store);
      if (!uri.postgresql && !out_.spool.empty())
        root_["spool"].problem("goes with a server; a store in a file needs none");
      if (!uri.postgresql) require_store(root_["store"], uri.place);
      if (uri.postgresql && !out_.spool.empty()) require_store(root_["spool"], out_.spool);
    });
  }

  // A file that is there, or can be made: its folder is not, for where a disk is not mounted a new one would hide it.
  static void require_store(const PlacedJson& setting, const fs::path& file) {
    std::error_code ignored;
    const bool there = fs::exists(file, ignored);
    if (!fs::is_directory(file.parent_path(), ignored))
      return setting.problem("there is no folder " + file.parent_path().string());
    if (access((there ? file : file.parent_path()).c_str(), W_OK) != 0)
      return setting.problem(file.string() + ": cannot be written: " + strerror(errno));
    if (there && fs::file_size(file, ignored) != 0 && !begins(file, "SQLite format 3"))
      setting.problem(file.string() + ": is no store");
  }

  void read_reports() {
    const PlacedJson reports = root_["reports"];
    if (!is_object(reports, {"html", "junit", "csv"})) return;
    const std::pair<const char*, std::string*> kinds[] = {
        {"html", &out_.html}, {"junit", &out_.junit}, {"csv", &out_.csv}};
    for (const auto& [key, name] : kinds) {
      *name = place(reports[key].text());
      const std::string last = fs::path(*name).filename();
      checked(reports[key], [&, &name = *name, &key = key] {
        check_pattern("name", last);
        if (!name.empty()) require_output_folder("its folder", fs::path(name).parent_path());
        if (!name.empty() && !is_pattern(last))
          reports[key].problem("{serial}-{started} in its name keeps every run's");
        if (is_pattern(fs::path(name).parent_path()))
          reports[key].problem("only its last part may be made from the run");
      });
    }
  }

  std::vector<std::string> runner(const PlacedJson& setting, const std::vector<std::string>& usual) const {
    const std::vector<std::string> words = setting.texts(true);
    if (words.empty()) return usual;
    Values values = out_.given;
    for (const char* name : {"slot", "serial", "operator"}) values[name] = "";
    checked(setting, [&] { (void)filled(words, values); });
    if (const std::string& program = words.front(); program.find('{') == std::string::npos && !is_program(program))
      setting.problem("there is no program " + program);
    return words;
  }

  // As the slot's runner is looked for: by its path from the settings' folder, or by its name alone.
  bool is_program(const std::string& word) const {
    const auto runs = [](const fs::path& file) {
      std::error_code ignored;
      return fs::is_regular_file(file, ignored) && access(file.c_str(), X_OK) == 0;
    };
    if (word.find('/') != std::string::npos) return runs(folder_ / word);
    const char* path = getenv("PATH");
    std::istringstream folders(path != nullptr ? path : "/bin:/usr/bin");
    for (std::string folder; std::getline(folders, folder, ':');) {
      if (runs(folder_ / folder / word)) return true;
    }
    return false;
  }

  void read_slots() {
    const std::vector<std::string> all = runner(root_["runner"], kUsualRunner);
    const PlacedJson slots = root_["slots"];
    std::set<std::string> taken;
    if (is_list(slots, "slots")) {
      for (Json::ArrayIndex i = 0; i < slots->size(); ++i) {
        const PlacedJson slot = slots[i];
        if (!is_object(slot, {"slot", "code", "runner"})) continue;
        const std::string name = name_of(slot["slot"], std::to_string(i + 1));
        const std::string code = name_of(slot["code"], "slot " + name);
        require_no_serial(slot["code"], code);
        if (!taken.insert(name).second) {
          slot["slot"].problem("there is another slot \"" + name + "\"");
        } else if (!taken.insert("code " + code).second) {
          slot["code"].problem("another slot has this code");
        }
        out_.slots.push_back({name, code, runner(slot["runner"], all)});
      }
      constexpr size_t kMost = 32;
      if (slots->size() > kMost) slots.problem("a station has 32 slots at most");
    }
    if (out_.slots.empty()) out_.slots.push_back({"1", "slot 1", all});
  }

  // A scan has one meaning. Where any text may be a serial number, codes come first.
  void require_no_serial(const PlacedJson& setting, const std::string& code) const {
    const bool is_any = !root_.has("serials") || out_.serials.matches(" \x7f");
    if (!is_any && out_.serials.matches(code))
      setting.problem("the code " + code + " is a serial number, too: \"serials\" must not match it");
  }

  void read_operators() {
    const PlacedJson operators = root_["operators"];
    const auto codes = operators->isObject() ? operators->getMemberNames() : Json::Value::Members();
    if (!is_object(operators, {codes.begin(), codes.end()})) return;
    for (const std::string& code : codes) {
      const PlacedJson name = operators[code.c_str()];
      out_.operators[code] = name_of(name);
      const bool is_scanned = !code.empty() && code.front() != ' ' && code.back() != ' ' && visible(code) == code;
      if (!is_scanned) name.problem("no scan is this code: wanted are characters without blanks around them");
      require_no_serial(name, code);
      for (const SlotSettings& slot : out_.slots) {
        if (slot.code == code) name.problem("is the code of slot " + slot.name);
      }
    }
  }

  void read_policies() {
    if (const PlacedJson silence = root_["silence_s"]; silence.there()) {
      out_.silence_s = silence->isNumeric() ? silence->asDouble() : 0;
      if (out_.silence_s < 1 || out_.silence_s > 3600) silence.problem("give a number from 1 to 3600");
    }
    if (const PlacedJson retest = root_["retest"]; is_object(retest, {"errors", "failures"})) {
      out_.retests_of_errors = retest["errors"].whole(0, 5, 0);
      out_.retests_of_failures = retest["failures"].whole(0, 100, 0);
    }
    if (const PlacedJson earlier = root_["earlier"]; is_object(earlier, {"station", "unknown"})) {
      out_.earlier = name_of(earlier["station"]);
      out_.earlier_unknown_allowed = one_of(earlier["unknown"], {"refused", "allowed"}) == "allowed";
      if (!earlier["station"].there()) earlier["station"].problem("wanted is a station's name");
      if (out_.store.empty()) earlier.problem("only a store knows it: give \"store\", too");
    }
    if (const PlacedJson golden = root_["golden"]; is_object(golden, {"serials"})) {
      out_.golden = true;
      if (!golden.has("serials")) golden["serials"].problem("wanted is the golden phones' pattern");
      out_.golden_serials = pattern(golden["serials"], ".+");
      const std::string only = out_.golden_serials.is_one_text() ? out_.golden_serials.expression() : "";
      if (!only.empty() && !out_.plans.empty() && (!out_.serials.matches(only) || out_.plan_of(only) == nullptr))
        golden["serials"].problem("no phone is golden: " + only + " is no serial number here, or has no plan");
    }
    read_shifts();
  }

  void read_shifts() {
    const PlacedJson shifts = root_["shifts"];
    if (!is_list(shifts, "times of day")) return;
    out_.shifts.clear();
    for (Json::ArrayIndex i = 0; i < shifts->size(); ++i) {
      const std::string text = shifts[i]->isString() ? shifts[i]->asString() : "";
      const auto hour = read_number<int>(text.substr(0, 2));
      const auto minute = text.size() == 5 && text[2] == ':' ? read_number<int>(text.substr(3)) : std::nullopt;
      if (hour && minute && *hour >= 0 && *hour < 24 && *minute >= 0 && *minute < 60) {
        out_.shifts.push_back(*hour * 60 + *minute);
      } else {
        shifts[i].problem("wanted is a time of day, such as \"06:00\"");
      }
    }
    std::sort(out_.shifts.begin(), out_.shifts.end());
  }

  // Whether the port is free shows only when it is listened at.
  void require_address() const {
    addrinfo wanted{};
    wanted.ai_flags = AI_NUMERICHOST;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(out_.address.c_str(), "0", &wanted, &found) != 0)
      return root_["address"].problem("wanted is an address such as 127.0.0.1");
    const int one = socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(one, found->ai_addr, found->ai_addrlen) != 0)
      root_["address"].problem(out_.address + " is none of this computer's: " + strerror(errno));
    close(one);
    freeaddrinfo(found);
  }

  void read_server() {
    out_.language = one_of(root_["language"], around_.languages);
    out_.address = root_["address"].text(out_.address);
    out_.port = root_["port"].whole(0, 65535, out_.port);
    out_.token = root_["token"].text();
    out_.names = root_["names"].texts();
    require_address();
    const auto simple = [](unsigned char c) { return isalnum(c) != 0 || c == '-' || c == '_'; };
    if (!is_loopback(out_.address) && out_.token.empty())
      root_["address"].problem("others can reach it: give a \"token\", without which nobody gets in");
    if (!out_.token.empty() && (out_.token.size() < 16 || !std::all_of(out_.token.begin(), out_.token.end(), simple)))
      root_["token"].problem("wanted are 16 or more letters and digits");
  }

  const PlacedJson& root_;
  const fs::path folder_;
  const Surroundings& around_;
  Settings out_;
};

std::string quoted_for_shell(const std::string& text) {
  std::string out = "'";
  for (const char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

}  // namespace

bool is_loopback(const std::string& address) { return address.starts_with("127.") || address == "::1"; }

const PlanChoice* Settings::plan_of(const std::string& serial) const {
  const auto found =
      std::find_if(plans.begin(), plans.end(), [&](const PlanChoice& plan) { return plan.serials.matches(serial); });
  return found == plans.end() ? nullptr : &*found;
}

std::vector<std::string> filled(const std::vector<std::string>& words, const Values& values) {
  constexpr const char* kLetters = "abcdefghijklmnopqrstuvwxyz:";
  std::vector<std::string> out;
  for (const std::string& word : words) {
    std::string& made = out.emplace_back();
    for (size_t at = 0; at < word.size();) {
      const size_t close = word[at] == '{' ? word.find_first_not_of(kLetters, at + 1) : std::string::npos;
      if (close == std::string::npos || close == at + 1 || word[close] != '}') {
        made += word[at++];  // a brace that stands for itself
        continue;
      }
      std::string name = word.substr(at + 1, close - at - 1);
      const bool quoted = name.ends_with(":quoted");
      if (quoted) name.erase(name.size() - 7);
      const auto value = values.find(name);
      if (value == values.end()) throw AppError(kUsage, "there is no {" + name + "}");
      made += quoted ? quoted_for_shell(value->second) : value->second;
      at = close + 1;
    }
  }
  return out;
}

Settings read_settings(const std::string& file, const Surroundings& around, std::vector<std::string>* problems) {
  Json::Value json(Json::objectValue);
  json["format"] = "sensorcal.station/1";
  std::optional<std::string> bytes = "";
  if (!file.empty()) {
    bytes = read_file(file);
    std::string why;
    if (!bytes) why = strerror(errno);
    if (!bytes || !parse_json_of_people(*bytes, &json, &why)) {
      problems->push_back(file + ": " + why);
      return {};
    }
  }
  const PlacedJson::Source source{file, *bytes, problems};
  const fs::path folder = fs::absolute(file.empty() ? fs::path("x") : fs::path(file)).parent_path();
  const PlacedJson root(source, json);
  return Reader(root, folder, around).read();
}

}  // namespace factory::station
