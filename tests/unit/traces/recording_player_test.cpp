#include "phone/traces/recording_player.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace phone {
namespace {

// Samples at these times, numbered 0, 1, 2 in their first value.
std::shared_ptr<const Recording> at(const std::vector<int64_t>& times_ns, int first_word = 0) {
  const auto recording = std::make_shared<Recording>();
  recording->axes = 1;
  recording->first_word = first_word;
  for (const int64_t time_ns : times_ns) {
    RecordedSample sample;
    sample.time_ns = time_ns;
    sample.v[0] = static_cast<float>(recording->samples.size());
    recording->samples.push_back(sample);
  }
  return recording;
}

using Played = std::vector<std::pair<int64_t, int>>;  // time, number

// Plays one enabling as a sensor does: it looks one sample ahead. `count` events are delivered.
Played play(RecordingPlayer* player, int64_t period_ns, size_t count) {
  Played out;
  player->enabled(period_ns);
  for (auto sample = player->next(-1); sample && out.size() < count; sample = player->next(sample->time_ns)) {
    out.emplace_back(sample->time_ns, static_cast<int>(sample->value[sample->count - 1]));
  }
  return out;
}

TEST(RecordingPlayer, OwnTimingKeepsSpacingsDuplicatesAndOrder) {
  RecordingPlayer player(at({0, 10, 10, 25, 20, 30}), true);
  // The step back comes at once, and the step after it has its own length.
  EXPECT_EQ(play(&player, 100, 99), (Played{{100, 0}, {110, 1}, {110, 2}, {125, 3}, {125, 4}, {135, 5}}));
  EXPECT_EQ(play(&player, 100, 99), Played());  // silent at the end
}

TEST(RecordingPlayer, EachEnablingGoesOnWithTheFirstUndeliveredSample) {
  RecordingPlayer own(at({0, 10, 30, 60}), true);
  EXPECT_EQ(play(&own, 7, 2), (Played{{7, 0}, {17, 1}}));
  EXPECT_EQ(play(&own, 5, 99), (Played{{5, 2}, {35, 3}}));

  RecordingPlayer requested(at({0, 10, 20, 30, 40, 50}), false);
  EXPECT_EQ(play(&requested, 20, 2), (Played{{20, 0}, {40, 2}}));
  EXPECT_EQ(play(&requested, 10, 2), (Played{{10, 3}, {20, 4}}));
}

TEST(RecordingPlayer, RequestedPeriodDecimatesHoldsAndNeverInterpolates) {
  RecordingPlayer fast(at({0, 10, 19, 31, 40}), false);
  EXPECT_EQ(play(&fast, 20, 99), (Played{{20, 0}, {40, 2}, {60, 4}}));
  RecordingPlayer slow(at({0, 10, 25}), false);
  EXPECT_EQ(play(&slow, 5, 99), (Played{{5, 0}, {10, 0}, {15, 1}, {20, 1}, {25, 1}, {30, 2}}));
}

TEST(RecordingPlayer, TimesThatLeapToAndFroNeverRunOver) {
  const int64_t far_ns = 1'000'000'000'000'000'000;
  std::vector<int64_t> times_ns;
  for (int i = 0; i < 12; ++i) times_ns.insert(times_ns.end(), {far_ns, -far_ns});
  RecordingPlayer player(at(times_ns), true);
  const Played played = play(&player, 1, 99);
  ASSERT_EQ(played.size(), times_ns.size());
  EXPECT_EQ(played.back().first, far_ns);
}

TEST(RecordingPlayer, ValuesStandAtTheirWords) {
  RecordingPlayer player(at({0, 1}, 2), true);
  player.enabled(1);
  player.next(-1);
  const auto sample = player.next(1);
  ASSERT_TRUE(sample);
  EXPECT_EQ(sample->count, 3);
  EXPECT_EQ(sample->value[0], 0);
  EXPECT_EQ(sample->value[2], 1);
}

}  // namespace
}  // namespace phone
