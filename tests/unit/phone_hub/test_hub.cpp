// What the hub applies, the panel's curve, and its colour run.
#include <chrono>
#include <cmath>
#include <thread>

#include "hub_fixture.h"

namespace phone {
namespace {

using std::chrono::milliseconds;

TEST_F(HubTest, ASoftSarCalibrationComesOnTopAndGoesWithAReboot) {
  raw.values = {{{33171015, 0}, 40}};
  ask(33171015, 11);
  raw.values = {{{33171015, 0}, 43}};
  ask(33171015, 11, {F(-1)});
  EXPECT_EQ(hub.sar_offset(33171015, 0), 43);
  EXPECT_EQ(ask(33171015, 4).as_float(0), 40);
  hub.reboot();
  EXPECT_EQ(hub.sar_offset(33171015, 0), 40);
  ask(33171015, 11, {F(-1)});
  ask(33171015, 11);
  EXPECT_EQ(hub.sar_offset(33171015, 0), 43) << "a full calibration leaves no baseline";
}

TEST_F(HubTest, PanelCurveRunsThroughBothLevels) {
  ask(5, 26, {13, 4095, 35});
  EXPECT_EQ(hub.panel_lux(5, 4095), 0) << "one level is no curve";
  ask(5, 26, {14, 2047, 12});
  EXPECT_NEAR(hub.panel_lux(5, 4095), 35, 1e-4);
  EXPECT_NEAR(hub.panel_lux(33171007, 2047), 12, 1e-4);
  // Halfway down again the same ratio applies: a power law, not a straight line.
  EXPECT_NEAR(hub.panel_lux(5, 1023), 12 * 12.0 / 35, 0.01);
  EXPECT_EQ(hub.panel_lux(5, 0), 0);
  EXPECT_EQ(hub.panel_lux(33171080, 4095), 0);

  ask(5, 9, {F(2)});
  EXPECT_NEAR(hub.panel_lux(5, 4095), 70, 1e-3) << "levels follow a scale that was calibrated after them";
}

// Levels are whole lux: a usual gamma that explains both within their rounding is nearer to the panel than the curve
// through the rounded points.
TEST(HubPanelCurve, UsualPanelsAreRecognisedThroughTheRounding) {
  struct {
    double lux, gamma;
    int32_t low_brightness;
  } const panels[] = {{24.55, 1, 3072}, {18.4, 1, 3072}, {34.2, 2.2, 2047}, {38.6, 2.2, 2047}};
  for (const auto& panel : panels) {
    const auto truth = [&](int brightness) { return panel.lux * std::pow(brightness / 4095.0, panel.gamma); };
    FakeRaw raw;
    Hub hub(&raw, {});
    hub.handle(record(5, 26, {13, 4095, static_cast<int32_t>(truth(4095) + 0.5)}), nullptr);
    hub.handle(record(5, 26, {14, panel.low_brightness, static_cast<int32_t>(truth(panel.low_brightness) + 0.5)}),
               nullptr);
    for (const int brightness : {4095, 2047, 1023, 400}) {
      EXPECT_NEAR(hub.panel_lux(5, brightness), truth(brightness), 0.5) << panel.lux << " at " << brightness;
    }
  }
}

TEST(HubPanelCurve, LevelsThatNoPanelGivesFallBackToTheHighOne) {
  struct {
    int32_t high_brightness, high, low_brightness, low;
    float at_half_of_4000;
  } const cases[] = {
      {4000, 20, 3000, 0, 10},   // low forced to zero
      {4000, 20, 3000, 20, 10},  // gamma 0
      {4000, 20, 3000, 25, 10},  // low above high
      {4000, 20, 3990, 1, 10},   // a cliff
      {4000, 20, 4000, 15, 10},  // one brightness twice
      {4000, 20, -3, 15, 10},   {4000, 0, 3000, 15, 0},   {0, 20, 3000, 15, 0},
      {4000, -7, 3000, 15, 0},  {4000, 20, 2000, 10, 10}, {4000, 64, 1000, 4, 16},
  };
  for (const auto& row : cases) {
    FakeRaw raw;
    Hub hub(&raw, {});
    hub.handle(record(5, 26, {13, row.high_brightness, row.high}), nullptr);
    hub.handle(record(5, 26, {14, row.low_brightness, row.low}), nullptr);
    EXPECT_NEAR(hub.panel_lux(5, 2000), row.at_half_of_4000, 1e-4) << row.high << " " << row.low;
  }
}

TEST_F(HubTest, ALowLevelForType5CompletesTheChipWhoseHighLevelCameLast) {
  ask(5, 26, {13, 4000, 20});
  ask(33171084, 26, {13, 4000, 12});
  ask(5, 26, {14, 2000, 6});
  EXPECT_NEAR(hub.panel_lux(33171080, 2000), 6, 1e-4);
  EXPECT_EQ(hub.panel_lux(5, 2000), 0);

  // Colour levels have a last one of their own; every channel has its curve.
  ask(5, 27, {F(13), F(4000), F(80), F(0), F(40), F(NAN)});
  ask(5, 27, {F(14), F(2000), F(20), F(5), F(20), F(1)});
  EXPECT_THAT(hub.panel_channels(5, 1000), testing::Pointwise(testing::FloatNear(1e-4F), {5.0F, 0.0F, 10.0F, 0.0F}));
  EXPECT_NEAR(hub.panel_channels(33171007, 2000)[0], 20, 1e-4);
}

struct ColourRunTest : testing::Test {
  static constexpr int kRunMs = 150;
  FakeRaw raw;
  Hub hub{&raw, {.runs_colour_calibration = true, .colour_run_ms = kRunMs}};

  int32_t ask(int32_t code, float command) {
    return hub.handle(record(33171089, code, {F(command), code == 40 ? F(92) : 0}), nullptr).words[0];
  }
  int32_t result_of(float command) {
    EXPECT_EQ(ask(39, command), 0);
    int32_t result = -1;
    for (int i = 0; result == -1 && i < 5000; ++i) {
      std::this_thread::sleep_for(milliseconds(1));
      result = ask(40, command);
    }
    return result;
  }
};

TEST_F(ColourRunTest, TakesItsTimeThenSetsTheScales) {
  EXPECT_EQ(ask(40, 0), 3) << "no run yet";
  EXPECT_EQ(result_of(0), 1) << "no golden channels";
  for (int i = 0; i < 8; ++i) raw.values[{33171089, i}] = static_cast<float>(10 * (i + 1));
  EXPECT_EQ(result_of(-1), 0);
  for (int i = 0; i < 8; ++i) raw.values[{33171089, i}] = static_cast<float>(5 * (i + 1));

  std::atomic<int> changes = 0;
  hub.on_change([&] { return ++changes > 0; });
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(ask(39, 0), 0);
  EXPECT_EQ(ask(40, 0), -1);
  EXPECT_EQ(ask(39, 0), -1) << "busy";
  EXPECT_EQ(hub.channel_scales(33171089)[0], 1);
  while (ask(40, 0) == -1) std::this_thread::sleep_for(milliseconds(1));
  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(kRunMs));
  EXPECT_EQ(ask(40, 0), 0);
  EXPECT_THAT(hub.channel_scales(33171089), testing::ElementsAre(2, 2, 2, 2, 2, 1, 1, 1));
  EXPECT_THAT(hub.channel_scales(33171057), testing::Each(1));
  while (changes == 0) std::this_thread::sleep_for(milliseconds(1));

  raw.values[{33171089, 3}] = 0;
  EXPECT_EQ(result_of(0), 2) << "a scale out of range";
  EXPECT_EQ(hub.channel_scales(33171089)[0], 2);
}

TEST_F(ColourRunTest, ARebootEndsIt) {
  raw.values = {{{33171089, 0}, 10}};
  EXPECT_EQ(ask(39, -1), 0);
  hub.reboot();
  EXPECT_EQ(ask(40, -1), 3);
  std::this_thread::sleep_for(milliseconds(2 * kRunMs));
  EXPECT_EQ(ask(29, 5), -1) << "the run's golden channels came after all";
}

TEST(Deadline, CallsOnceForEachStart) {
  std::atomic<int> calls = 0;
  Deadline deadline([&] { ++calls; });
  for (const int wanted : {1, 2}) {
    deadline.start(milliseconds(1));
    for (int ms = 0; calls < wanted && ms < 5000; ++ms) std::this_thread::sleep_for(milliseconds(1));
    std::this_thread::sleep_for(milliseconds(5));
    EXPECT_EQ(calls, wanted);
  }
}

}  // namespace
}  // namespace phone
