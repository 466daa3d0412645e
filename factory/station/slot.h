// What a station knows of one slot: the run under way by its runner's events, or the last one until the next begins.
#pragma once

#include <json/value.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>

#include "record/record.h"
#include "station/pace.h"
#include "station/runner.h"
#include "station/settings.h"

namespace factory::station {

inline constexpr const char* kGoldenLot = "golden";

// A run that is to be, as the station ordered it.
struct Ordered {
  int run = 0;  // counts through the station's runs, all slots
  record::Order order;
  std::string id;  // the run's: its runner is told it, and has to put it into the record
  const PlanChoice* plan = nullptr;
  int retest = 0;     // the nth of this phone
  int at_once = 0;    // how many of them the station began by itself
  std::string error;  // of the run before this one, by its code
  bool golden = false;
};

/**
 *         begin()            "begun"              end()
 *   idle ---------> starting -------> running ----------> over
 *                      |                                   |
 *                      +---------------------------------->+----> starting: begin()
 *
 * Guarded by its station's mutex.
 */
class Slot {
 public:
  using Clock = std::chrono::steady_clock;
  enum class Phase { idle, starting, running, over };
  static constexpr int kUntold = -2;  // exit code
  enum class Heard { nonsense, nothing, change, sample };

  explicit Slot(const SlotSettings& settings) : settings_(&settings) {}

  void begin(const Ordered& ordered);
  // A line of its runner.
  Heard hear(const std::string& line);
  // The record of the run: the runner's, or where that does not fit or is missing one of the station's own, which is an
  // error and says why.
  const record::Run& end(const RunnerEnd& end);
  // It is not kept, so that its verdict does not count yet: an error is shown.
  void hold() { held_ = true; }
  // Its verdict is shown.
  void show();
  // What is known of the run before its runner said anything: all that is left of it where the station is killed.
  record::Run trace() const;

  const SlotSettings& settings() const { return *settings_; }
  const Ordered& ordered() const { return ordered_; }
  const record::Run& record() const { return record_; }
  bool busy() const { return phase_ == Phase::starting || phase_ == Phase::running; }
  bool prompts() const { return prompt_.has_value(); }
  // "1-7-2": of slot 1's run 7 the prompt 2; empty: none waits.
  std::string prompt_code() const;
  int prompt_number() const { return prompt_ ? prompt_->number : 0; }
  // Whether it is the code of one of its prompts, of which none waits any more.
  bool was_prompt_code(const std::string& text) const;
  void answered() { prompt_.reset(); }
  bool stopped() const { return stopped_; }
  void stop() { stopped_ = true; }

  Json::Value to_json(const Pace& pace) const;
  // Null before the first sample.
  Json::Value live(const Pace& pace) const;

 private:
  struct Prompt {
    int number = 0;
    Json::Value settings, instructions;
  };

  struct Named {
    std::string name, kind, tag;
  };

  Heard hear_begun(const Json::Value& event);
  Heard hear_warning(const Json::Value& event);
  Heard hear_answer(const Json::Value& event);
  Heard hear_refusal(const Json::Value& event);
  Heard hear_step(const Json::Value& event);
  Heard hear_ended(const Json::Value& event);
  Heard hear_sample(const Json::Value& event);
  Heard hear_prompt(const Json::Value& event);
  Heard hear_record(const Json::Value& event, const std::string& line);
  record::Text misfit(const RunnerEnd& end) const;
  bool is_own() const;
  std::string pass_problem() const;
  record::Plan plan() const;
  void make_error(const RunnerEnd& end, const record::Text& why);
  Named told_of(int step) const;
  void set_clock();
  void compare_error();
  void show_failing();
  void show_failing(int step, const std::string& name, const Json::Value& reasons, const Json::Value& hints);

  const SlotSettings* settings_;
  Phase phase_ = Phase::idle;
  Ordered ordered_;
  Clock::time_point began_, step_began_, ended_;
  record::Clock::time_point started_;
  int step_ = 0, steps_ = 0, attempt_ = 0;
  std::map<int, Named> steps_told_;      // so far
  std::map<int, std::string> verdicts_;  // that were told of steps which ended
  std::string warns_;
  record::Text problem_;  // its words: with the runner's last ones
  std::string last_words_;
  std::optional<Prompt> prompt_;
  int nonsense_ = 0;  // lines so far
  bool stopped_ = false, held_ = false;
  std::optional<record::Run> heard_;  // the runner's record
  int told_code_ = kUntold;           // the exit code that the runner told with it
  record::Text refusal_;
  record::Run record_;
  Json::Value failing_, live_;
};

}  // namespace factory::station
