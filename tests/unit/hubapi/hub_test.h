// A hub that answers, the log, and what an operation may write to.
#pragma once

#include <SensorCalibrationAPI.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "fake_hub.h"
#include "log_capture.h"

namespace test {

// The caller's variables, with values that show which of them an operation wrote.
struct Buffers {
  static constexpr int kFloats = 17;
  float f[kFloats];
  int i[2] = {40, 41};

  Buffers() {
    for (int n = 0; n < kFloats; ++n) f[n] = before(n);
  }
  static float before(int n) { return static_cast<float>(n) + 0.25f; }
};

class HubTest : public ::testing::Test {
 protected:
  HubTest() { log.clear(); }
  ~HubTest() override { FakeHub::remove(); }

  // The lines so far as "P text", with <sent> for the three lines that a completed send writes.
  Lines lines() const {
    static const std::string kTag = "/libsensor_calapi: ";
    Lines out;
    for (const std::string& line : log.all()) {
      EXPECT_EQ(line.substr(1, kTag.size()), kTag);
      const std::string text = line.substr(1 + kTag.size());
      if (text.find("send_ssc_oem_test_msg: ") == 0) continue;
      if (text.find("send_ssc_oem_test_msg return") != 0) {
        out.push_back(line.substr(0, 1) + " " + text);
      } else if (text.find(", value:(") != std::string::npos && text.find('.') != std::string::npos) {
        out.push_back("<sent>");
      }
    }
    return out;
  }

  LogCapture log;
  ::android::sp<FakeHub> hub = FakeHub::install();
  SensorCalibrationAPI api;
};

}  // namespace test
