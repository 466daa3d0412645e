#include "run/calibration.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace factory::plan {
namespace {

constexpr int kGoldenParam = -1;
constexpr int kGoldenChannels = 7;
// Beyond the library's own limits: 8 s for a run, two of 10 s at the panel.
constexpr std::chrono::seconds kLongest{12};
constexpr std::chrono::seconds kLongestAtPanel{25};
constexpr double kClockStep = 0.5;  // s; less is how clocks are kept right

bool hub_runs_colour(int type) {
  return type == sensor_type::cct_f_stream && !property("persist.vendor.goodix.cct_support").empty();
}

// Rounding may leave a variance just below zero; what is not a number stays so.
double deviation_of(float variance) { return variance < 0 ? 0 : std::sqrt(static_cast<double>(variance)); }

void read_record(Session& session, Calibration* c) {
  const _sensor_info& record = record_of(session.cal(), *c->kind);
  c->samples = record.sample_count;
  const int values = c->golden ? kGoldenChannels : c->kind->values;
  for (int i = 0; i < values; ++i) {
    Axis axis;
    axis.name = c->kind->axes[i];
    axis.found = static_cast<double>(record.mean[i]);
    axis.standard_deviation = deviation_of(record.variance[i]);
    c->axes.push_back(axis);
  }
  if (c->kind->result == Result::lux_scale) c->axes[0].scale = static_cast<double>(record.coefficient);
}

// The new scales; where the hub ran it by itself those that it holds.
void find_channel_scales(Session& session, Calibration* c) {
  const auto channels = static_cast<size_t>(c->kind->values);
  std::vector<double> scales(channels);
  if (c->in_hub) {
    const Watchdog::Operation operation(session.watchdog());
    const StoredValue* value = stored_value(c->step.type, "channel-scales");
    scales = value->read(*session.cal().cal_api, c->step.type, c->kind->values).values;
    for (size_t i = 0; i < channels; ++i) c->axes.emplace_back().name = c->kind->axes[i];
  } else if (!c->axes.empty()) {
    const std::vector<double> golden = golden_values(session, c->step, channels);
    if (golden.empty()) return;
    for (size_t i = 0; i < channels; ++i)
      scales[i] = static_cast<double>(static_cast<float>(golden[i]) / static_cast<float>(c->axes[i].found));
  }
  for (size_t i = 0; i < c->axes.size(); ++i) c->axes[i].scale = scales[i];
}

// Nothing counts where the hub did not answer since `hub` was made.
void believe(HubWatch& hub, Calibration* c) {
  const std::string problem = hub.problem();
  if (problem.empty()) return;
  c->unheard = true;
  c->attempt.fail({record::Why::hub_silent, problem + ", so that the result does not count", kLookAtServices});
}

double ask_library(Session& session, const Calibration& c) {
  SensorCalibration& cal = session.cal();
  const Step& step = c.step;
  const auto target = static_cast<float>(step.target);
  if (step.channel && step.screen) return cal.cal_api->postScreenChannelData_api(step.type, *step.channel, target);
  if (step.channel) return cal.sensor_calibrate(step.type, *step.channel, target);
  if (!c.reference_hpa) return cal.sensor_calibrate(step.type, step.param);
  return cal.sensor_setconfig(step.type, step.param, static_cast<float>(*c.reference_hpa));
}

}  // namespace

Calibration::Calibration(const Step& of, std::optional<double> reference, record::Attempt* made)
    : step(of), reference_hpa(reference), attempt(*made) {
  if (step.channel) return;
  kind = find_kind(step.type, step.param);
  in_hub = kind != nullptr && hub_runs_colour(step.type);
  golden = kind != nullptr && kind->result == Result::channel_scale && step.param == kGoldenParam;
}

std::vector<double> golden_values(Session& session, const Step& step, size_t values) {
  if (!step.golden.empty()) return {step.golden.begin(), step.golden.begin() + static_cast<long>(values)};
  const Watchdog::Operation operation(session.watchdog());
  const StoredValue* golden = stored_value(step.type, "golden");
  const Reading reading = golden->read(*session.cal().cal_api, step.type, static_cast<int>(values));
  return reading.result != 0 ? std::vector<double>() : reading.values;
}

void run_library(Session& session, Calibration* c) {
  const bool lamp =
      c->kind != nullptr && (c->kind->result == Result::lux_scale || c->kind->result == Result::channel_scale);
  if (lamp) darken_panel(session);
  HubWatch hub(session);
  session.log().start_run();
  (void)session.take_refusal();
  if (!hub.answered()) {
    c->result = -1;
    return believe(hub, c);
  }
  const int lost = session.lost_messages();
  const Session::Clocks start = session.clocks();
  const bool at_panel = !c->step.channel && is_panel_run(c->step.param);
  {
    const Watchdog::Limit limit(session.watchdog(), at_panel ? kLongestAtPanel : kLongest);
    c->result = at_panel ? run_at_panel(session, c) : ask_library(session, *c);
  }
  const Session::Clocks end = session.clocks();
  c->seconds = (end.steady - start.steady).count();
  const double step_s = (end.wall - start.wall).count() - c->seconds;
  if (!at_panel) c->run = session.log().run();
  c->refusal = session.take_refusal();
  c->interrupted = session.interrupted();
  // Its wait went by a clock that was set meanwhile: whatever came of it says nothing.
  if (std::fabs(step_s) > kClockStep) {
    c->unheard = true;
    c->attempt.fail(
        {record::Why::clock_stepped,
         "the wall clock was set by " + plain(std::round(step_s)) + " s during the run, which does not count",
         "let nothing set the phone's time during a run",
         {plain(std::round(step_s))}});
  }
  if (c->interrupted || c->unheard) return;
  // What the library makes of an answer that did not come is no refusal.
  if (c->result == 0 || session.lost_messages() != lost || !test_service_answers({})) believe(hub, c);
  if (c->result != 0 || c->kind == nullptr) return;
  if (!c->in_hub && record_of(session.cal(), *c->kind).status == kRunFinished) read_record(session, c);
  if (c->kind->result != Result::channel_scale || c->golden) return;
  if (!c->unheard) {
    const int lost_before = session.lost_messages();
    find_channel_scales(session, c);
    if (session.lost_messages() != lost_before || !test_service_answers({})) believe(hub, c);
  }
  if (c->unheard) c->axes.clear();  // without its golden values a mean is no scale
}

}  // namespace factory::plan
