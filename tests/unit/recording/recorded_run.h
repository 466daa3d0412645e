// Records a run on a simulated phone and replays it, in this process.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "files/json_text.h"
#include "folder.h"
#include "run/plan_run.h"
#include "simulator/recording.h"

namespace recording_test {

using factory::Options;
using test::content;

class RecordedRun {
 public:
  explicit RecordedRun(const std::string& profile = "reference") {
    options.phone = folder_.file("phone");
    options.profile = profile;
    options.speed = "max";
    options.seed = 7;
  }

  std::string folder() const { return folder_.file("recording"); }
  std::string trace() const { return folder() + factory::kTraceFile; }

  // `steps` is what stands between the brackets. Returns the record.
  factory::record::Run record(const std::string& steps, factory::plan::Observer* observer = nullptr) {
    const std::string text = R"({"format": "sensorcal.plan/1", "name": "test", "steps": [)" + steps + "]}";
    Options recorded = options;
    recorded.record = folder();
    return run(recorded, {"test.json", text, options.speed, {{"S1", "station 4", "me"}}}, observer);
  }

  factory::record::Run replay() {
    Options replayed;
    replayed.recording = folder();
    const factory::RunHead head = factory::read_head(folder());
    replayed.speed = head.speed;
    return run(replayed, head, nullptr);
  }

  // How many sensors were on at the end of the recording, or when an attempt began, such as "3.1". The line of one that
  // goes off at once may come ahead of that of its enabling.
  int on(const std::string& attempt = "") const {
    int out = 0;
    std::ifstream in(trace());
    for (std::string text; std::getline(in, text);) {
      Json::Value line;
      EXPECT_TRUE(factory::parse_json(text, &line));
      if (!attempt.empty() && line["attempt"] == attempt) break;
      const bool done = line["answer"].isObject() && line["answer"]["result"] == 0;
      if (line["ask"] == "enable" && done) ++out;
      if (line["ask"] == "disable" && done) --out;
    }
    return out;
  }

  Options options;

 private:
  factory::record::Run run(const Options& wanted, const factory::RunHead& head, factory::plan::Observer* observer) {
    std::vector<std::string> problems;
    const auto plan = factory::plan::parse_plan(head.plan_file, head.plan_bytes, &problems);
    EXPECT_THAT(problems, ::testing::IsEmpty());
    factory::Session session(wanted);
    factory::plan::Observer silent;
    factory::plan::PlanRun plan_run(session, plan, head.order, observer == nullptr ? silent : *observer);
    factory::record::Run record = plan_run.run();
    session.fixture().run_ends(record);
    return record;
  }

  const test::Folder folder_;
};

}  // namespace recording_test
