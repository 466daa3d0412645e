#include "phone/traces/replay_option.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "phone/core/phone.h"

namespace phone {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

TEST(ReplayOption, ReadsEveryKey) {
  const ReplayOption replay =
      parse_replay("Acc=run.csv,columns=t,_,x,y,z,time=ms,unit=g,sign=-,period=requested,start=2.5,length=10");
  EXPECT_EQ(replay.sensor_type, 1);
  EXPECT_EQ(replay.file, "run.csv");
  EXPECT_EQ(replay.columns, (std::vector<std::string>{"t", "_", "x", "y", "z"}));
  EXPECT_EQ(replay.time_unit, TimeUnit::ms);
  ASSERT_TRUE(replay.unit);
  EXPECT_DOUBLE_EQ(replay.unit->factor, 9.80665);
  EXPECT_TRUE(replay.negate);
  EXPECT_FALSE(replay.own_timing);
  EXPECT_EQ(replay.start_s, 2.5);
  EXPECT_EQ(replay.length_s, 10);
}

TEST(ReplayOption, FileNamesMayHoldCommasAndEqualsSigns) {
  const struct {
    const char* text;
    const char* file;
    bool rate;
  } kCases[] = {
      {"Acc=logs/iphone12,1_180.txt", "logs/iphone12,1_180.txt", false},
      {"Acc=a=b,c.csv,rate=100", "a=b,c.csv", true},
      {"268369921=D=3,X=1.csv", "D=3,X=1.csv", false},
  };
  for (const auto& c : kCases) {
    const ReplayOption replay = parse_replay(c.text);
    EXPECT_EQ(replay.file, c.file);
    EXPECT_EQ(replay.rate_hz.has_value(), c.rate) << c.text;
  }
}

TEST(ReplayOption, SaysWhatIsWrongAndWhere) {
  const struct {
    const char* text;
    const char* wrong;
  } kCases[] = {
      {"Acc", "TAG=FILE"},
      {"Akk=f", "'Akk'"},
      {"Mag=f", "'Mag'"},  // no recording of a magnetometer has a use
      {"Acc=", "no file"},
      {"Acc=f,rte=100", "rte=100 is unknown"},
      {"Acc=f,unit=g,unit=g", "unit= stands there twice"},
      {"Acc=f,columns=t,x,y", "takes x, y and z"},
      {"Acc=f,columns=t,x,x,y,z", "'x' stands there twice"},
      {"Acc=f,columns=t,x,y,q", "'q'"},
      {"Acc=f,columns=x,y,z,v", "takes x, y and z"},
      {"Bar=f,columns=t,x,y,z", "takes v"},
      {"CCT_F_strm=f,columns=t,c1,c3", "takes c1"},
      {"Acc=f,time=min", "time=min"},
      {"Acc=f,rate=0", "rate=0"},
      {"Acc=f,rate=nan", "rate=nan"},
      {"Acc=f,unit=deg/s", "does not fit an accelerometer"},
      {"Acc=f,unit=uT", "does not fit"},
      {"Acc=f,unit=furlong", "unit=furlong"},
      {"Acc=f,unit=0", "unit=0"},
      {"Acc=f,sign=x", "sign=x"},
      {"Acc=f,period=2", "period=2"},
      {"Acc=f,start=-1", "start=-1"},
      {"Acc=f,length=0", "length=0"},
      {"Acc=f,rate=100,time=ms", "exclude"},
  };
  for (const auto& c : kCases) {
    EXPECT_THAT([&] { parse_replay(c.text); }, ThrowsMessage<PhoneError>(AllOf(HasSubstr(c.wrong), HasSubstr(c.text))));
  }
}

}  // namespace
}  // namespace phone
