// Child processes of every kind: those that speak, die, hang, flood and do not go.
#include "station/runner.h"

#include <signal.h>

#include <future>

namespace factory::station {
namespace {

using std::chrono::duration;
using std::chrono::steady_clock;

class StationRunner : public testing::Test {
 protected:
  struct Ended {
    RunnerEnd end;
    std::vector<std::string> lines;
    double seconds = 0;
  };

  // `while_it_runs` is called at its first line.
  static Ended run(const std::string& script, double silence = 30,
                   const std::function<void(Runner*)>& at_first_line = {}) {
    Ended out;
    std::promise<RunnerEnd> ended;
    Runner* runner = nullptr;
    const auto start = steady_clock::now();
    Runner own(
        [&](const std::string& line) {
          out.lines.push_back(line);
          if (out.lines.size() == 1 && at_first_line) at_first_line(runner);
          return !line.starts_with("nonsense");
        },
        [&](const RunnerEnd& end) { ended.set_value(end); });
    runner = &own;
    own.start({{"/bin/sh", "-c", script}, "/", "the plan", std::chrono::milliseconds(300), duration<double>(silence)});
    out.end = ended.get_future().get();
    out.seconds = duration<double>(steady_clock::now() - start).count();
    return out;
  }
};

TEST_F(StationRunner, ExchangesLines) {
  const Ended all =
      run("read plan; echo \"got $plan\"; read answer; echo \"got $answer\" >&2; printf '%s\\n.\\n..\\n' $PWD; exit 7",
          30, [](Runner* runner) { runner->say("done"); });
  EXPECT_EQ(all.lines, (std::vector<std::string>{"got the plan", "/", ".", ".."}));
  EXPECT_EQ(all.end.code, 7);
  EXPECT_EQ(all.end.why.text, "");
  EXPECT_EQ(all.end.last_words, "got done");
  // More than a pipe holds, both ways.
  const Ended much = run("read plan; head -c 300000 /dev/zero | tr '\\0' x; echo; wc -c", 30,
                         [](Runner* runner) { runner->say(std::string(300000, 'y')), runner->stop(); });
  ASSERT_EQ(much.lines.size(), 2u);
  EXPECT_EQ(much.lines[0].size(), 300000u);
  EXPECT_EQ(much.end.code, 0);
}

TEST_F(StationRunner, SaysWhatWasWrong) {
  const std::tuple<const char*, double, const char*, const char*> rows[] = {
      {"kill -9 $$", 30, "it was ended by a signal: Killed", ""},
      {"trap 'exit 0' TERM; printf 'fine\\nnonsense\\033\\n'; while :; do sleep 0.1; done", 30,
       "it says what is no event of a run: nonsense\\u001b", ""},
      {"echo one; printf unfinished", 30, "its last line has no end", ""},
      {"echo oh dear >&2; cat >/dev/null", 0.3, "it said nothing for 0.3 s", "oh dear"},
      {"yes xxxxxxxxxxxxxxx | tr -d '\\n'", 30, "it says a line without an end", ""},
      {"printf '\\033[31mred\\377' >&2; exit 3", 30, "", "\\u001b[31mred\\xff"},
      {"(printf x; head -c 100000 /dev/zero | tr '\\0' y) >&2; exit 3", 30, "", "y"},
  };
  for (const auto& [script, silence, why, last_words] : rows) {
    const Ended all = run(script, silence);
    EXPECT_EQ(all.end.why.text, why) << script;
    EXPECT_TRUE(all.end.last_words.starts_with(last_words)) << all.end.last_words;
    EXPECT_LT(all.seconds, 4) << script;
  }
  std::promise<RunnerEnd> none;
  Runner own([](const std::string&) { return true; }, [&](const RunnerEnd& end) { none.set_value(end); });
  own.start({{"/nosuch/program"}, "/", "", {}, duration<double>(1)});
  EXPECT_EQ(none.get_future().get().why.text, "/nosuch/program cannot be started: No such file or directory");
}

// Closes its input first; what does not go is asked by a signal, then killed, and so are its children.
TEST_F(StationRunner, EndsWhatDoesNotGo) {
  const Ended goes =
      run("echo up; cat >/dev/null; echo put back; exit 130", 30, [](Runner* runner) { runner->stop(); });
  EXPECT_EQ(goes.lines, (std::vector<std::string>{"up", "put back"}));
  EXPECT_EQ(goes.end.code, 130);
  EXPECT_EQ(goes.end.why.text, "");
  EXPECT_LT(goes.seconds, 3);
  const Ended stubborn =
      run("trap '' TERM; sleep 300 & echo $!; while :; do sleep 0.2; done", 30, [](Runner* runner) { runner->stop(); });
  EXPECT_EQ(stubborn.end.why.text, "it did not end when it was asked to");
  EXPECT_EQ(stubborn.end.code, -1);
  EXPECT_GT(stubborn.seconds, 2);  // between the two signals
  ASSERT_EQ(stubborn.lines.size(), 1u);
  const pid_t child = std::stoi(stubborn.lines[0]);
  const auto lives = [&] {
    std::ifstream file("/proc/" + std::to_string(child) + "/stat");
    const std::string stat((std::istreambuf_iterator<char>(file)), {});
    return !stat.empty() && stat.find(") Z ") == std::string::npos;  // nobody may have waited for it yet
  };
  for (int i = 0; i < 100 && lives(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_FALSE(lives());
}

TEST_F(StationRunner, IsPatientWhereSomebodyIsAsked) {
  const Ended all = run("echo prompt; sleep 1.2; echo answered", 0.6, [](Runner* runner) { runner->patient(true); });
  EXPECT_EQ(all.lines, (std::vector<std::string>{"prompt", "answered"}));
  EXPECT_EQ(all.end.why.text, "");
}

}  // namespace
}  // namespace factory::station
