// A factory plan: what to set up, calibrate, verify and check, in which order and within which limits.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "record/record.h"

namespace factory::plan {

// A limit for each axis, or one for all of them.
struct Bound {
  std::vector<double> values;
  bool relative = false;  // shares of what is expected
  double at(size_t axis) const { return values[axis < values.size() ? axis : values.size() - 1]; }
};

inline std::optional<double> limit_at(const std::optional<Bound>& bound, size_t axis) {
  return bound ? std::optional(bound->at(axis)) : std::nullopt;
}

struct Limits {
  std::optional<Bound> residual;  // fresh mean minus what is expected, either way
  std::optional<Bound> noise;     // standard deviation of fresh samples
  std::optional<Bound> low;       // of the value itself
  std::optional<Bound> high;
  std::optional<int> restarts;  // of a calibration's sample window
  std::optional<double> seconds;
  double marginal = 0;  // share of a limit next to it that passes, but is reported
};

enum class StepKind { fixture, calibrate, verify, check, probe, write };

const char* kind_name(StepKind kind);

struct Step {
  StepKind kind = StepKind::fixture;
  std::string name;
  bool stop_on_failure = true;
  int repeat = 1;  // attempts at most
  Limits limits;

  std::vector<std::pair<std::string, std::string>> world;  // fixture: as Fixture::set_world() takes them

  int type = 0;  // calibrate, verify, check
  int param = 0;
  std::optional<double> reference_hpa;
  std::vector<double> golden;  // calibrate: written to the hub beforehand
  std::optional<int> channel;  // calibrate: one channel, to a target
  double target = 0;
  bool screen = false;            // calibrate: the screen's channel
  std::optional<int> brightness;  // calibrate, at the panel: what is full brightness there
  bool far = false;               // calibrate, proximity thresholds: looked at without the target, too
  int samples = 0;                // verify
  int settle = 3;
  std::optional<double> period_s;
  std::vector<double> expected;
  std::optional<bool> near;  // verify of the proximity sensor

  bool report = false;                 // check: the calibration report
  std::vector<std::string> positions;  // sensors of the report; empty: all that it holds
  std::string value;                   // check, write: name of the stored value
  int count = 1;
  std::vector<double> numbers;  // write

  std::string probe;
  int answer = 1;
};

// Whether it is the calibration that finds the proximity sensor's near and far thresholds.
bool sets_thresholds(const Step& step);

// A group, or a step that stands alone.
struct Block {
  std::string group;  // empty: a step that stands alone
  int repeat = 1;
  bool stop_on_failure = true;
  bool overlap = true;  // verifications next to each other look at their sensors together
  std::vector<Step> steps;
};

// How many steps from this one on look at their sensors together: those of verifications next to each other, as long as
// each is of another chip and none must be alone. 1: it stands alone.
size_t looks_together(const Block& block, size_t first);

// Whether a step may run while fresh samples of a calibration come: a calibration of another chip, where none of both
// must be alone, or a fixture whose settings the sensor does not notice. Of two channel scales the second waits: all of
// them are in one file, which is put back as a whole.
bool runs_beside(const Step& step, const Step& calibration);
// The same of the step behind this one.
bool next_runs_beside(const Block& block, size_t at);

struct Plan : record::Plan {
  std::vector<std::string> phones;  // products that it is for; empty: any
  std::vector<Block> blocks;
  std::vector<std::string> notes;  // what it cannot see

  int step_count() const;
};

// Reads and checks a plan as a whole. `problems` holds a line for each thing that is wrong, with its place in the file;
// the plan is good when there is none.
Plan parse_plan(const std::string& file, const std::string& bytes, std::vector<std::string>* problems);

// The same of a file, which may be none that can be read.
Plan read_plan(const std::string& file, std::vector<std::string>* problems);

// Reads the file and throws AppError(kUsage) with all problems.
Plan load_plan(const std::string& file);
// The same of its bytes.
Plan load_plan(const std::string& file, const std::string& bytes);

// The plan of calibrations that are asked for one by one. One group a step: the fixture as the step needs it, but for
// what `world` ("key=value") already says, then the step. Throws AppError(kUsage) for a step that the library does not
// have.
Plan plan_of(const std::string& name, const std::vector<Step>& steps, const std::vector<std::string>& world);

// A stored value that is written, in its own unit, and read back.
Plan plan_of_write(int type, const std::string& value, const std::vector<double>& numbers);

}  // namespace factory::plan
