// The recordings that come with the project are what docs/formats/recordings.md says of them.
#include <gtest/gtest.h>

#include "phone/traces/recording.h"

namespace phone {
namespace {

RecordingReport report_of(const std::string& tag, const std::string& file_and_options) {
  return load_recording(parse_replay(tag + "=" TEST_DATA_DIR "/recordings/" + file_and_options)).report;
}

TEST(ShippedRecordings, RestingOnes) {
  const RecordingReport acc = report_of("Acc", "rest_accelerometer.csv");
  EXPECT_NEAR(acc.rate_hz, 100, 1);
  EXPECT_GT(acc.duplicate_times, 10u);
  EXPECT_NEAR(acc.mean[2], 9.80665 + 0.121, 0.002);
  EXPECT_TRUE(acc.slips.empty());

  const RecordingReport gyr = report_of("Gyr", "rest_gyroscope.csv");
  EXPECT_NEAR(gyr.mean[0], 0.0061, 0.0002);
  EXPECT_TRUE(gyr.slips.empty());

  const RecordingReport bar = report_of("Bar", "rest_barometer_pa.csv");
  EXPECT_NEAR(bar.mean[0], 1008.624, 0.002);
  EXPECT_EQ(bar.gaps, 1u);
  EXPECT_NEAR(bar.longest_gap_s, 4.24, 0.01);

  const RecordingReport lux = report_of("Lux", "room_light.csv,columns=t,v");
  EXPECT_EQ(lux.samples, 300u);
  EXPECT_EQ(lux.gaps, 0u);  // a sensor that reports changes has none
}

TEST(ShippedRecordings, MovingOnes) {
  const RecordingReport as_it_is = report_of("Acc", "tumble_accelerometer_g.csv");
  EXPECT_TRUE(as_it_is.has_slip("looks_like_g"));
  EXPECT_TRUE(as_it_is.has_slip("opposite_sign"));
  const RecordingReport told = report_of("Acc", "tumble_accelerometer_g.csv,unit=g,sign=-");
  EXPECT_TRUE(told.slips.empty());
  EXPECT_NEAR(told.stillest_mean[2], 9.80665, 0.02);

  const RecordingReport tilted = report_of("Acc", "walk_tilted_accelerometer.csv,columns=t,_,x,y,z,time=ns");
  EXPECT_GT(tilted.mean[1], 5);
  const RecordingReport level = report_of("Acc", "walk_level_accelerometer.csv");
  EXPECT_LT(std::abs(level.mean[2] - 9.80665), 0.1);
  EXPECT_GT(level.std_dev[2], 1.5);
}

}  // namespace
}  // namespace phone
