// `sensorcal watch`: one sensor, live.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <optional>
#include <utility>

#include <unistd.h>

#include "check/live_view.h"
#include "cli/terminal.h"
#include "commands/phone/commands.h"
#include "files/json_text.h"
#include "files/numbers.h"
#include "phone/session.h"
#include "record/exit_code.h"
#include "sensors/sensor.h"

namespace factory {
namespace {

using Steady = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr double kLineSeconds = 0.2;    // of the phone's time, between two lines
constexpr double kRedrawSeconds = 0.1;  // of real time, on a terminal
constexpr double kQuietSeconds = 1;

struct Arguments {
  std::string tag;
  std::optional<double> seconds;
  std::optional<double> period_ms;
};

// Where the values go: a block that is drawn over and over, lines, or JSON lines.
class Display {
 public:
  Display(LiveView& view, std::string tag, bool json) : view_(view), tag_(std::move(tag)), json_(json) {
    const char* term = std::getenv("TERM");
    redraws_ = !json && isatty(STDOUT_FILENO) != 0 && term != nullptr && std::strcmp(term, "dumb") != 0;
  }

  // After every sample.
  void sampled() {
    if (redraws_ || view_.seconds() < next_line_s_) return;
    next_line_s_ = std::max(next_line_s_ + kLineSeconds, view_.seconds());
    print(view_.now());
  }

  // Every few milliseconds; `quiet` is how long no sample came, in seconds.
  void looked(double quiet) {
    const auto now = Steady::now();
    if (redraws_ && Seconds(now - drawn_).count() >= kRedrawSeconds) {
      drawn_ = now;
      draw(quiet);
    } else if (!redraws_ && !json_ && quiet >= next_quiet_s_) {
      next_quiet_s_ += kQuietSeconds;
      std::cout << "no event for " << fixed(quiet, 0) << " s" << std::endl;
    }
    if (quiet < kQuietSeconds) next_quiet_s_ = kQuietSeconds;
  }

  void summary() {
    const LiveState all = view_.summary();
    if (json_) {
      std::cout << json_line(live_json(all, true)) << std::endl;
      return;
    }
    take_back();
    std::cout << live_block(all, tag_ + ", all") << std::flush;
  }

 private:
  void print(const LiveState& state) {
    std::cout << (json_ ? json_line(live_json(state, false)) : live_line(state)) << std::endl;
  }

  void draw(double quiet) {
    std::string text = view_.events() == 0 ? "" : live_block(view_.now(), tag_);
    if (view_.events() == 0 || quiet >= kQuietSeconds) text += bad("no event for " + fixed(quiet, 1) + " s") + "\n";
    take_back();
    std::cout << text << faint("Ctrl-C ends") << "\n" << std::flush;
    lines_ = std::count(text.begin(), text.end(), '\n') + 1;
  }

  void take_back() {
    if (lines_ > 0) std::cout << terminal_sequence((std::to_string(lines_) + "A").c_str()) << terminal_sequence("J");
  }

  LiveView& view_;
  const std::string tag_;
  const bool json_;
  bool redraws_ = false;
  double next_line_s_ = 0;
  double next_quiet_s_ = kQuietSeconds;
  Steady::time_point drawn_;
  std::ptrdiff_t lines_ = 0;
};

int run(const Options& options, const Arguments& arguments) {
  const int type = parse_tag(arguments.tag);
  Session session(options);
  session.require_ready();
  const std::string tag = tag_of(type);
  const auto* sensor = session.sensor(type);
  if (sensor == nullptr) throw AppError(kFailed, tag + ": the phone lists no such sensor; look at `sensorcal sensors`");
  LiveView view(events_of(type));
  Display display(view, tag, options.json);
  if (!options.json) {
    for (const std::string& remark : session.fixture().remarks()) std::cout << "note: " << remark << "\n";
  }
  {
    EventFeed feed(session.cal().sensor_manager, *sensor, arguments.period_ms.value_or(events_of(type).period_ms));
    if (const auto& problem = feed.problem()) {
      throw AppError(session.sensor_service_there() ? exit_code(problem->why.outcome, true) : kUnreachable,
                     tag + ": " + problem->text + "; " + problem->hint);
    }
    const double slowness = std::max(1.0, 1 / pace_of(options));
    constexpr double kGrace = 1;  // for the first event to come
    feed.follow(session.interrupted(), [&](const std::vector<Sample>& came, Seconds quiet) {
      for (const Sample& sample : came) {
        view.add(sample);
        display.sampled();
        if (arguments.seconds && view.seconds() >= *arguments.seconds) return false;
      }
      display.looked(quiet.count());
      const Seconds enabled = Steady::now() - feed.enabled_at();
      return !arguments.seconds || enabled.count() < *arguments.seconds * slowness + kGrace;
    });
  }
  display.summary();
  if (session.interrupted() || view.events() > 0) return kPassed;
  complain(tag + ": no event came: the sensor is silent; look at its connection and its driver");
  return session.sensor_service_there() ? kFailed : kUnreachable;
}

}  // namespace

Runner set_up_watch(ArgumentParser parser) {
  auto arguments = std::make_shared<Arguments>();
  constexpr double kSecondsMax = 1e6;
  constexpr double kPeriodMax = 10000;
  parser.add_option("TAG", arguments->tag, "sensor by tag or type number", {.required = true});
  parser.add_option("--seconds", arguments->seconds, "how long (default: until Ctrl-C)",
                    {.low = 0.1, .high = kSecondsMax});
  parser.add_option("--period", arguments->period_ms, "sampling period in ms (default: as calibrations have it)",
                    {.low = 0.5, .high = kPeriodMax});
  return [arguments](const Options& options) { return run(options, *arguments); };
}

}  // namespace factory
