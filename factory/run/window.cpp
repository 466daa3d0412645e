// A run's samples, and what became of each.
#include <algorithm>
#include <utility>

#include "run/calibration.h"

namespace factory::plan {
namespace {

using State = record::SampleState;

const std::vector<double>* held(const Calibration& c, const std::string& name) {
  for (const HeldValue& value : c.attempt.before) {
    if (value.name == name && !value.values.empty()) return &value.values;
  }
  return nullptr;
}

std::vector<double> as_taken(const Calibration& c, const Taking& taking, std::vector<double> event) {
  if (c.panel && c.panel->colour && !event.empty()) event.erase(event.begin());  // lux comes first
  return taking(std::move(event));
}

// One stretch of events between two enablings: the first settle, a restart discards what was gathered, and of the rest
// the run took as many as it wanted, if it finished.
void mark(const RunLog& run, int first, int last, const _sensor_info& record, bool finished, std::vector<State>* out) {
  const auto state = [&](int event) -> State& { return (*out)[static_cast<size_t>(event)]; };
  int start = std::min(last, first + record.skip_num);
  std::fill(out->begin() + first, out->begin() + start, State::settling);
  for (const Restart& restart : run.restarts) {
    if (restart.event > start && restart.event <= last) start = restart.event;
  }
  if (!finished) return;
  for (int event = start; event < std::min(last, start + record.sample_num); ++event) state(event) = State::accepted;
}

std::vector<State> states(const Calibration& c, const _sensor_info& record) {
  const int events = static_cast<int>(c.run.values.size());
  std::vector<State> out(static_cast<size_t>(events), State::discarded);
  std::vector<int> starts = {0};
  if (c.panel) starts.insert(starts.end(), c.run.parts.begin(), c.run.parts.end());
  for (size_t i = 0; i < starts.size(); ++i) {
    const int last = i + 1 < starts.size() ? std::min(starts[i + 1], events) : events;
    const bool finished = i + 1 < starts.size() || record.status == kRunFinished;
    if (starts[i] < last) mark(c.run, starts[i], last, record, finished && !c.interrupted, &out);
  }
  return out;
}

std::vector<std::string> axis_names(const Calibration& c, size_t axes) {
  std::vector<std::string> out;
  for (size_t i = 0; i < axes; ++i) {
    const bool named = c.kind != nullptr && i < static_cast<size_t>(c.kind->values);
    out.push_back(named ? std::string(c.kind->axes[i]) : axes == 1 ? "light" : "c" + std::to_string(i + 1));
  }
  return out;
}

}  // namespace

std::vector<double> Taking::operator()(std::vector<double> event) const {
  for (size_t i = 0; i < event.size(); ++i) {
    if (i < offset.size()) event[i] += offset[i];
    if (i < scale.size()) event[i] /= scale[i];
    if (i < rest.size()) event[i] -= rest[i];
  }
  return event;
}

Taking taking_of(const Calibration& c) {
  Taking out;
  if (c.kind == nullptr) return out;
  out.unit = c.kind->unit;
  if (const auto* offset = held(c, "offset")) out.offset = *offset;
  const auto* scale = held(c, c.kind->values == 1 ? "scale" : "channel-scales");
  if (!c.golden && scale != nullptr) out.scale = *scale;
  if (c.kind->result == Result::offset) out.rest = nominal(c.step.type);
  if (c.reference_hpa) {
    out.rest.resize(std::max<size_t>(out.rest.size(), 1));
    out.rest[0] += *c.reference_hpa;
  }
  return out;
}

const _sensor_info* record_of_run(Session& session, const Calibration& c) {
  if (c.kind != nullptr && !c.in_hub) return &record_of(session.cal(), *c.kind);
  return c.panel ? &panel_record(session, c.step.type) : nullptr;
}

std::optional<record::Window> window_of(Session& session, const Calibration& c) {
  const _sensor_info* record = record_of_run(session, c);
  if (record == nullptr || c.run.values.empty()) return {};
  const Taking taking = taking_of(c);
  record::Window out;
  out.unit = c.kind != nullptr ? c.kind->unit : c.panel->colour ? "counts" : "lux";
  const size_t axes = as_taken(c, taking, c.run.values[0]).size();
  out.axes = axis_names(c, axes);
  out.period_ms = record->period_ms;
  for (size_t i = 0; i < axes; ++i)
    out.bias_limit.push_back(static_cast<double>(record->bias_threshold[std::min<size_t>(i, 9)]));
  const std::vector<State> state = states(c, *record);
  for (size_t i = 0; i < c.run.values.size(); ++i)
    out.samples.push_back({static_cast<int>(i) + 1, as_taken(c, taking, c.run.values[i]), state[i]});
  for (const Restart& restart : c.run.restarts) {
    const auto axis = static_cast<size_t>(restart.axis);
    out.restarts.push_back({restart.event, restart.cause, axis < axes ? out.axes[axis] : std::to_string(restart.axis),
                            restart.value, restart.limit});
  }
  return out;
}

}  // namespace factory::plan
