// The record of a run as one value: what ran, what was measured, what came of it. docs/formats/run-record.md.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace factory::record {

using Clock = std::chrono::system_clock;

// `error`: the phone could not be judged, since the fixture, a service or the station was not as it has to be.
enum class Outcome { passed, marginal, failed, skipped, aborted, error };
inline constexpr const char* kOutcomeNames[] = {"passed", "marginal", "failed", "skipped", "aborted", "error"};
constexpr int kOutcomes = std::size(kOutcomeNames);
constexpr const char* outcome_name(Outcome outcome) { return kOutcomeNames[static_cast<size_t>(outcome)]; }
constexpr bool passes(Outcome outcome) { return outcome == Outcome::passed || outcome == Outcome::marginal; }

enum class SampleState { settling, discarded, accepted };
inline constexpr const char* kStateNames[] = {"settling", "discarded", "accepted"};
constexpr const char* state_name(SampleState state) { return kStateNames[static_cast<size_t>(state)]; }

// Why a sample window started anew.
enum class Cause { variance, zero_variance, bias };
inline constexpr const char* kCauseNames[] = {"variance", "zero_variance", "bias"};
constexpr const char* cause_name(Cause cause) { return kCauseNames[static_cast<size_t>(cause)]; }
using RestartCounts = std::array<int, std::size(kCauseNames)>;  // by Cause

// A reason, or what to try, in words for a person; for programs its code, which stays when the words change, and what
// the words were made of. Words alone are a text without a code.
struct Text {
  Text() = default;
  Text(std::string words) : text(std::move(words)) {}  // NOLINT(google-explicit-constructor)
  Text(const char* words) : text(words) {}             // NOLINT(google-explicit-constructor)
  Text(std::string stable_code, std::vector<std::string> with, std::string words)
      : code(std::move(stable_code)), arguments(std::move(with)), text(std::move(words)) {}
  operator const std::string&() const { return text; }  // NOLINT(google-explicit-constructor)
  bool operator==(const Text&) const = default;

  std::string code;  // empty: none
  std::vector<std::string> arguments;
  std::string text;
};

// One measured value held against its limits.
struct Measurement {
  std::string name;  // residual, noise ...
  std::string axis;
  double value = 0;
  std::string unit;
  std::optional<double> standard_error = {};
  std::optional<double> low = {};
  std::optional<double> high = {};
  Outcome outcome = Outcome::passed;
  bool strict = false;       // the limits themselves do not pass
  std::string section = {};  // of the document that publishes the limits; empty: none does
};

// Fills the outcome. Not-a-number and infinities never pass. A value is marginal when it lies nearer to a limit than
// `band` times the range between both limits, or times the limit where there is one.
void judge(Measurement* measurement, double band);

// "y: residual -0.31 +/- 0.02 m/s^2 is outside the limits of -0.02 to 0.02 m/s^2".
std::string describe(const Measurement& measurement);

struct Sample {
  int event = 0;               // from 1
  std::vector<double> values;  // per axis
  SampleState state = SampleState::settling;
};

struct Restart {
  int event = 0;
  Cause cause = Cause::variance;
  std::string axis;
  double value = 0;
  double limit = 0;
};

struct Window {
  std::string unit;
  std::vector<std::string> axes;
  int period_ms = 0;
  std::vector<double> bias_limit;  // per axis; empty: none
  std::vector<Sample> samples;
  std::vector<Restart> restarts;
};

// What the hub or a file holds.
struct HeldValue {
  std::string name;
  std::string unit;
  std::vector<double> values;  // empty: not set, or the file is missing
};

struct HubWord {
  int word = 0;  // from 0, after sensor and code
  std::variant<int32_t, float> value;
};

// "w0=0.0271f w1=3".
std::string words(const std::vector<HubWord>& words);

struct HubMessage {
  std::string time;  // with microseconds
  int sensor_type = 0;
  std::string tag;
  int code = 0;
  std::string command;
  std::vector<HubWord> request;
  bool answered = false;
  std::vector<HubWord> reply;
  std::optional<int> reply_sensor_type;  // where they are not the request's
  std::optional<int> reply_code;
  std::string note;
};

struct LogLine {
  int priority = 0;  // Android's number
  std::string tag;
  std::string text;
  bool event_thread = false;
};

// What was under way, and for which sensor.
struct Span {
  std::string sensor;  // its tag
  std::string what;
  double from_s = 0;  // from the run's start
  double to_s = 0;
};

struct Reason;  // why.h

struct Attempt {
  int number = 1;
  Clock::time_point started = Clock::now();
  double seconds = 0;
  Outcome outcome = Outcome::passed;
  std::vector<Text> reasons;
  std::vector<Text> hints;
  std::vector<std::string> notes;
  std::vector<Measurement> measurements;
  RestartCounts restarts = {};
  std::optional<Window> window;  // with samples
  std::vector<HeldValue> before;
  std::vector<HeldValue> after;
  bool kept = false;
  bool put_back = false;
  std::vector<std::string> irreversible;  // told beforehand
  std::vector<Span> spans;
  std::vector<HubMessage> hub;
  std::vector<LogLine> log;
  int log_dropped = 0;

  // An error outweighs a failure, and is told before it: what failed may have failed for that.
  void fail(const Reason& reason);
  // Judges a value and keeps it. `hint`: what to try where it does not pass.
  void measure(Measurement measurement, double band, const std::string& hint);
};

struct Step {
  int index = 1;
  std::string name;
  std::string kind;
  std::string group;
  std::string tag;     // of its sensor; empty: it has none
  std::string sensor;  // the same in words
  std::optional<int> param;
  Outcome outcome = Outcome::skipped;  // of the last attempt
  std::vector<Attempt> attempts;
};

struct Plan {
  std::string name;
  std::string version;
  std::string file;
  std::string sha256;  // of the bytes, in hex; a phone leaves it to the station
  std::string bytes;
};

struct Build {
  std::string version;
  std::string build_id;  // the linker's, in hex
  bool operator==(const Build&) const = default;
};

struct Phone {
  std::map<std::string, std::string> facts;  // "directory", "profile", "seed", "fixture" ...
  std::map<std::string, std::string> properties;
  std::string fact(const std::string& name) const;  // empty: not known
};

// What is said of a run that the phone does not know.
struct Order {
  std::string serial = {};
  std::string station = {};
  std::string operator_name = {};
  std::string lot = {};
  std::string retest_of = {};  // id of the run that this one repeats
};

struct Run : Order {
  std::string id;
  Clock::time_point started;
  double seconds = 0;
  Outcome outcome = Outcome::failed;  // never marginal or skipped
  Plan plan;
  Build application;
  Build library;
  Phone phone;
  std::map<std::string, std::string> world;  // what the fixture was set to
  std::vector<std::string> remarks;
  std::vector<Step> steps;

  bool marginal() const;  // a measurement passed inside a marginal band only
  Clock::time_point ended() const;
};

// What in a record denies the pass that it tells: a step that did not pass, or whose last attempt did not, or that
// measured what is no number, is outside its own limits or failed by its own word. Empty: nothing does, or it tells of
// no pass.
std::string denial_of_pass(const Run& run);

// A serial number as it is kept, without blanks around it. Throws AppError(kUsage), which begins with `option`, where
// it has characters that nobody sees, or more than names of files hold.
std::string serial_number(const std::string& option, const std::string& typed);

// Whether a text has the form of a run's id.
bool is_run_id(const std::string& text);

}  // namespace factory::record
