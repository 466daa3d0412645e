// Recordings in the place of sensors: what moving phones do to a run.
#include "whole_phone.h"

namespace scenario {
namespace {

TEST(Recordings, MovingPhones) {
  const struct {
    const char* file;
    const char* options;
    size_t events;        // that the run takes, of which it skips three and judges fifty at a time
    bool passes;          // else it goes on to the recording's end
    const char* restart;  // some restart's line; null: there is none
  } rows[] = {
      {"tumble_accelerometer_g.csv", ",unit=g,sign=-", 753, true, "High BIAS found, restarting algorithm. index: 0; "},
      {"walk_tilted_accelerometer.csv", ",columns=t,_,x,y,z,time=ns", 1000, false,
       "High BIAS found, restarting algorithm. index: 1; "},
      // Large changes around a small mean are within the limits.
      {"walk_level_accelerometer.csv", "", 53, true, nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.file);
    phone::PhoneOptions replayed = options();
    replayed.replays = {std::string("Acc=") + TEST_DATA_DIR + "/recordings/" + row.file + row.options};
    WholePhone whole(replayed);
    const test::LogCapture log;
    const int result = row.passes ? whole.cal->sensor_calibrate(kAcc.type, 0)
                                  : whole.calibrate_until_silent(kAcc.type, log, row.events);
    EXPECT_EQ(result, row.passes ? 0 : -1);
    EXPECT_EQ(log.count("SENSOR_TYPE_ACCELEROMETER data: {"), row.events);
    EXPECT_EQ(whole.stored(kAcc) != Axes{}, row.passes);
    EXPECT_EQ(log.contains("restarting algorithm"), row.restart != nullptr);
    EXPECT_TRUE(row.restart == nullptr || log.contains(row.restart)) << row.restart;
  }
}

}  // namespace
}  // namespace scenario
