// What is not the recording, or not all of it, never passes for a replay.
#include "recorded_run.h"

namespace recording_test {
namespace {

constexpr char kSteps[] = R"({"fixture": {"up": "flat"}}, {"calibrate": "Acc"})";

// Replaces the n-th occurrence from the back.
void replace_last(const std::string& file, const std::string& from, const std::string& to) {
  std::string text = read(file);
  const size_t at = text.rfind(from);
  ASSERT_NE(at, std::string::npos) << from;
  write(file, text.replace(at, from.size(), to));
}

void replay_dies_with(RecordedRun& run, const std::string& text) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(run.replay(), ::testing::ExitedWithCode(factory::kDiffers), text);
}

TEST(TamperedRecordingDeathTest, AnotherActIsADivergence) {
  RecordedRun run;
  run.record(kSteps);
  // The offset that is sent: another run would send another.
  const std::string tape = read(run.tape());
  const size_t message = tape.rfind(R"("name":"hub","of":{"message":[)");
  ASSERT_NE(message, std::string::npos);
  std::string changed = tape;
  changed.insert(tape.find('[', message) + 1, "9");
  write(run.tape(), changed);
  replay_dies_with(run, "the replay leaves the recording at line [0-9]+ .*now came call");
}

TEST(TamperedRecordingDeathTest, ACutTapeIsNamed) {
  RecordedRun run;
  run.record(kSteps);
  const std::string tape = read(run.tape());
  write(run.tape(), tape.substr(0, tape.size() * 2 / 3));
  replay_dies_with(run, "the recording is cut off");
}

TEST(TamperedRecording, AnotherAnswerShowsInTheRecord) {
  RecordedRun run;
  const Json::Value recorded = run.record(kSteps);
  // The remark that a hub message was told with.
  replace_last(run.tape(), R"("note":"")", R"("note":"changed")");
  const Json::Value replayed = run.replay();
  EXPECT_THAT(factory::differences(recorded, replayed),
              ::testing::ElementsAre(::testing::ContainsRegex(R"(steps\[1\].attempts\[0\].hub\[[0-9]+\].*changed)")));
}

TEST(TamperedRecording, AnotherVersionIsRefusedByName) {
  RecordedRun run;
  run.record(kSteps);
  replace_last(run.folder() + "/run.json", "sensorcal.recording/1", "sensorcal.recording/2");
  try {
    run.replay();
    FAIL();
  } catch (const factory::AppError& error) {
    EXPECT_EQ(error.code, factory::kUsage);
    EXPECT_THAT(error.what(), ::testing::HasSubstr("sensorcal.recording/2"));
  }
}

TEST(Recording, NeedsAFolderOfItsOwn) {
  RecordedRun run;
  run.record(kSteps);
  EXPECT_THROW(factory::begin_recording(run.folder(), {}), factory::AppError);
}

TEST(Differences, AreTold) {
  Json::Value a;
  a["verdict"] = "passed";
  a["steps"].append(1);
  a["application"] = "1.0";
  Json::Value b = a;
  b["application"] = "2.0";
  EXPECT_THAT(factory::differences(a, b), ::testing::IsEmpty());
  b["verdict"] = "failed";
  b["steps"].append(2);
  b["more"] = true;
  EXPECT_THAT(factory::differences(a, b),
              ::testing::ElementsAre("more: recorded null, now true", "steps: 1 entries recorded, now 2",
                                     R"(verdict: recorded "passed", now "failed")"));
}

}  // namespace
}  // namespace recording_test
