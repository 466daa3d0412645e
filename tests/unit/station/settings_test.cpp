// What a settings file may say, and what is said of one that is wrong.
#include "station/settings.h"

#include <regex>
#include <sstream>

#include "files/app_error.h"

namespace factory::station {
namespace {

namespace fs = std::filesystem;

class StationSettings : public testing::Test {
 protected:
  StationSettings() : folder_(fs::path(testing::TempDir()) / "station_settings") {
    fs::create_directories(folder_);
    std::ofstream(folder_ / "plan.json") << R"({"format": "sensorcal.plan/1", "name": "small", "steps": []})";
    std::ofstream(folder_ / "other.json") << R"({"format": "sensorcal.plan/1", "name": "other", "steps": []})";
  }
  ~StationSettings() override { fs::remove_all(folder_); }

  Settings read(const std::string& rest) {
    const fs::path file = folder_ / "s.json";
    std::ofstream(file) << "{\"format\": \"sensorcal.station/1\"" << rest << "}";
    problems_.clear();
    Settings out = read_settings(file, {"/bin/sensorcal", "/phones", {"en", "zh"}}, &problems_);
    // Without the file's name and the column.
    for (std::string& problem : problems_)
      problem = std::regex_replace(problem, std::regex("^.*?s\\.json(:[0-9]+)?(:[0-9]+)?"), "$1");
    return out;
  }

  const fs::path folder_;
  std::vector<std::string> problems_;
};

TEST_F(StationSettings, EverySettingHasADefault) {
  std::vector<std::string> problems;
  const Settings settings = read_settings("", {"/bin/sensorcal", "/phones", {"en"}}, &problems);
  EXPECT_TRUE(problems.empty());
  ASSERT_EQ(settings.slots.size(), 1u);
  EXPECT_EQ(
      filled(settings.slots[0].runner,
             {{"program", "p"}, {"phones", "f"}, {"slot", "1"}, {"serial", "A"}, {"station", "s"}}),
      (std::vector<std::string>{"p", "run", "-", "--events", "--phone", "f/1", "--serial", "A", "--station", "s"}));
  ASSERT_EQ(settings.plans.size(), 1u);
  EXPECT_EQ(settings.plans[0].name, "reference");
  EXPECT_EQ(settings.shifts, (std::vector<int>{6 * 60, 14 * 60, 22 * 60}));
  EXPECT_TRUE(settings.serials.matches("SN-77_a.b"));
  for (const char* text : {"", "-A", "A B", "A;reboot", "A\nB", "$(x)"})
    EXPECT_FALSE(settings.serials.matches(text)) << text;
}

TEST_F(StationSettings, WhatIsWrongIsToldWithItsPlace) {
  const std::pair<const char*, std::vector<std::string>> rows[] = {
      {R"(,
"colour": 1})",
       {}},
      {R"(,
"storre": "x")",
       {":2: storre: unknown key; did you mean store?"}},
      {R"(, "plan": "nosuch.json")", {":1: plan: nosuch.json: No such file or directory"}},
      {R"(, "plan": "s.json")", {":1: plan: s.json: is no plan"}},
      {R"(, "plan": "plan.json", "plans": [])", {":1: plans: either this, or \"plan\""}},
      {R"(, "serials": "[A")", {":1: serials: no regular expression: Unmatched [, [^, [:, [., or [="}},
      {R"(, "slots": [{"slot": "1"},
{"slot": "1", "runner": ["sh", "{seriel}"]}])",
       {":2: slots[1].slot: there is another slot \"1\"", ":2: slots[1].runner: there is no {seriel}"}},
      {R"(, "port": 70000, "silence_s": "long")",
       {":1: silence_s: give a number from 1 to 3600", ":1: port: give a whole number from 0 to 65535"}},
      {R"(, "address": "0.0.0.0")",
       {":1: address: others can reach it: give a \"token\", without which nobody gets in"}},
      {R"(, "address": "somewhere", "token": "short")",
       {":1: address: wanted is an address such as 127.0.0.1", ":1: token: wanted are 16 or more letters and digits"}},
      {R"(, "language": "fr")", {":1: language: there is no \"fr\"; known are en, zh"}},
      {R"(, "shifts": ["6:00", "24:00"])",
       {":1: shifts[0]: wanted is a time of day, such as \"06:00\"",
        ":1: shifts[1]: wanted is a time of day, such as \"06:00\""}},
      {R"(, "earlier": {"unknown": "maybe"})",
       {":1: earlier.unknown: there is no \"maybe\"; known are refused, allowed",
        ":1: earlier.station: wanted is a station's name", ":1: earlier: only a store knows it: give \"store\", too"}},
      {R"(, "reports": {"html": "report.html", "csv": "{started}/{seriel}"})",
       {":1: reports.html: {serial}-{started} in its name keeps every run's",
        ":1: reports.csv: name {seriel}: there is no {seriel}; did you mean {serial}?"}},
      {R"(, "operators": {"slot 1": "Li Na", "x": 3})",
       {":1: operators.slot 1: is the code of slot 1", ":1: operators.x: give a text"}},
      {R"(, "station": "", "slots": null, "shifts": [6], "earlier": {"station": null}, "store": "r.db")",
       {":1: station: give a text", ":1: slots: give a list of slots", ":1: earlier.station: give a text",
        ":1: shifts[0]: wanted is a time of day, such as \"06:00\""}},
      {R"(, "plan": 3, "runner": [4], "names": "x")",
       {":1: plan: give a text", ":1: runner: give a list of texts", ":1: names: give a list of texts"}},
      {R"(, "serials": "OP[0-9]+", "operators": {"OP1": "Li", " x": "Wu", "y": " "}, "slots": [{"code": "OP2"}])",
       {":1: slots[0].code: the code OP2 is a serial number, too: \"serials\" must not match it",
        ":1: operators. x: no scan is this code: wanted are characters without blanks around them",
        ":1: operators.OP1: the code OP1 is a serial number, too: \"serials\" must not match it",
        ":1: operators.y: give a name of 1 to 64 characters, without blanks around it"}},
      {R"(, "serials": "A[0-9]+", "golden": {"serials": "GOLD-1"})",
       {":1: golden.serials: no phone is golden: GOLD-1 is no serial number here, or has no plan"}},
      {R"(, "runner": ["nosuch-program"], "slots": [{"runner": ["./plan.json"]}])",
       {":1: runner: there is no program nosuch-program", ":1: slots[0].runner: there is no program ./plan.json"}},
      {R"(, "store": "sqlite:r.db", "spool": "s.db")", {":1: spool: goes with a server; a store in a file needs none"}},
      {R"(, "spool": "s.db", "address": "192.0.2.1", "token": "0123456789abcdef", "retest": {"failures": 4294967297})",
       {":1: spool: goes with a \"store\", a server", ":1: retest.failures: give a whole number from 0 to 100",
        ":1: address: 192.0.2.1 is none of this computer's: Cannot assign requested address"}},
      {R"(}, {)", {}},
      {R"(, "retest": {"errors": 1.5}, "golden": {})",
       {":1: retest.errors: give a whole number from 0 to 5",
        ":1: golden.serials: wanted is the golden phones' pattern"}},
  };
  for (const auto& [rest, problems] : rows) {
    read(rest);
    if (problems.empty()) {
      EXPECT_EQ(problems_.size(), 1u) << rest;  // no JSON
      continue;
    }
    EXPECT_EQ(problems_, problems) << rest;
  }
}

// Where runs and pages would go, looked at before there are any.
TEST_F(StationSettings, PlacesAreThere) {
  const std::string in = folder_.string();
  std::ofstream(folder_ / "file") << "text";
  const std::pair<const char*, std::string> rows[] = {
      {R"(, "reports": {"html": "file/{serial}.html"})", ":1: reports.html: its folder " + in + "/file: is no folder"},
      {R"(, "store": "nosuch/r.db")", ":1: store: there is no folder " + in + "/nosuch"},
      {R"(, "store": "sqlite:file")", ":1: store: " + in + "/file: is no store"},
      {R"(, "store": "postgresql://x/y", "spool": "nosuch/s.db")", ":1: spool: there is no folder " + in + "/nosuch"},
      {R"(, "store": "r.db", "reports": {"csv": "new/{serial}", "html": "{serial}.html"})", ""},
  };
  for (const auto& [rest, problem] : rows) {
    read(rest);
    EXPECT_EQ(problems_, problem.empty() ? std::vector<std::string>() : std::vector<std::string>{problem}) << rest;
  }
  read(R"(, "port": 1, "port": 2)");
  ASSERT_EQ(problems_.size(), 1u);
  EXPECT_NE(problems_[0].find("Duplicate key: 'port'"), std::string::npos) << problems_[0];
}

// What the C library would compile or match for minutes, or take for something else, is refused at once.
TEST(StationPattern, TakesWhatIsKnownAndCheap) {
  std::string nested;
  for (int i = 0; i < 40; ++i) nested += "(a?)*";
  for (const std::string& bad : {nested, std::string(201, 'a'), std::string()})
    EXPECT_THROW(Pattern{bad}, AppError) << bad;
  std::istringstream words(
      R"words((a*)* ((a|b?)+) (a|)+ (x{0,3}){2} ((a{1,99}){1,99}){1,99} [a-z]{30000} a{16384}{16384}{16384}{16384}{16384}
              \d+ SN\w (A A)|(B * [A A{ a{2,1} [[: \ )words");
  for (std::string bad; words >> bad;) EXPECT_THROW(Pattern{bad}, AppError) << bad;
  const std::tuple<const char*, const char*, const char*> rows[] = {{"[A-Z]{2}[0-9]{3}(-[0-9]+)?", "AB123-4", "AB12"},
                                                                    {"([A-Z]{2}-)+X*", "AB-CD-", "AB"},
                                                                    {R"(A\.B|C)", "A.B", "AxB"},
                                                                    {"[]^[:digit:]*]+", "1]*", "a"},
                                                                    {"(a|b)+c{1,64}", "abc", "ab"}};
  for (const auto& [expression, matches, not_this] : rows) {
    EXPECT_TRUE(Pattern(expression).matches(matches)) << expression;
    EXPECT_FALSE(Pattern(expression).matches(not_this)) << expression;
  }
  EXPECT_TRUE(Pattern("GOLD-1").is_one_text());
  EXPECT_FALSE(Pattern("GOLD-.").is_one_text());
}

TEST_F(StationSettings, AreTakenAsTheyStand) {
  const Settings settings = read(R"(, "station": "line-3", "store": "sqlite:runs.db", "shifts": ["22:00", "06:30"],
    "plans": [{"serials": "A.*", "plan": "plan.json"}, {"serials": "B.*", "plan": "other.json"}],
    "slots": [{"slot": "left", "code": "L", "runner": ["sh", "-s", "{slot}", "shell", "run", "{serial:quoted}"]}, {}],
    "runner": ["/bin/sh", "{slot}"], "golden": {"serials": "G.*"}, "retest": {"errors": 1, "failures": 2},
    "reports": {"html": "reports/{serial}-{started}.html"})");
  EXPECT_TRUE(problems_.empty()) << problems_.front();
  EXPECT_EQ(settings.plan_of("A1")->name, "small");
  EXPECT_EQ(settings.plan_of("B1")->name, "other");
  EXPECT_EQ(settings.plan_of("C1"), nullptr);
  EXPECT_EQ(settings.store, "sqlite:" + (folder_ / "runs.db").string());
  EXPECT_EQ(settings.html, (folder_ / "reports/{serial}-{started}.html").string());
  EXPECT_EQ(settings.shifts, (std::vector<int>{390, 1320}));
  EXPECT_TRUE(settings.is_golden("G7"));
  EXPECT_FALSE(settings.is_golden("A7"));
  ASSERT_EQ(settings.slots.size(), 2u);
  EXPECT_EQ(settings.slots[1].name, "2");
  EXPECT_EQ(settings.slots[1].runner[0], "/bin/sh");
  // A serial number's own quotation marks and signs are the phone's shell's no more.
  EXPECT_EQ(filled(settings.slots[0].runner, {{"slot", "left"}, {"serial", "A'$(reboot)"}}).back(),
            R"('A'\''$(reboot)')");
  EXPECT_THROW(filled({"{nobody}"}, {}), AppError);
  const std::vector<std::string> braces = {"{}", "{ serial }", "{\"a\": 1}", "{", "}{", "{serial"};
  EXPECT_EQ(filled(braces, {{"serial", "A"}}), braces);
}

}  // namespace
}  // namespace factory::station
