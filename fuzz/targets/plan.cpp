// A plan is good with every number finite and in its range, or refused with problems that name the place.
#include "run/plan.h"

#include <cmath>

#include "support/checks.h"

namespace {

using factory::plan::Bound;
using factory::plan::Plan;
using factory::plan::Step;
using factory::plan::StepKind;

void check_bound(const std::optional<Bound>& bound) {
  if (!bound) return;
  HOLDS(!bound->values.empty());
  for (const double value : bound->values) HOLDS(std::isfinite(value));
}

void check_step(const Step& step) {
  HOLDS(step.repeat >= 1 && step.samples >= 0 && step.settle >= 0 && step.count >= 1);
  for (const auto& bound : {step.limits.residual, step.limits.noise, step.limits.low, step.limits.high}) {
    check_bound(bound);
  }
  HOLDS(std::isfinite(step.limits.marginal));
  for (const auto& number : {step.limits.seconds, step.reference_hpa, step.period_s}) {
    if (number) HOLDS(std::isfinite(*number));
  }
  for (const double value : step.golden) HOLDS(std::isfinite(value));
  for (const double value : step.expected) HOLDS(std::isfinite(value));
  HOLDS(step.samples != 1);  // 0: as many as usual
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::vector<std::string> problems;
  const Plan plan = factory::plan::parse_plan("p", text, &problems);
  for (const std::string& problem : problems) {
    int line = 0;
    int column = 0;
    HOLDS(sscanf(problem.c_str(), "p:%d:%d: ", &line, &column) == 2 && line >= 1 && column >= 1);
  }
  if (!problems.empty()) return 0;
  HOLDS(plan.bytes == text && plan.step_count() >= 1);
  for (const factory::plan::Block& block : plan.blocks) {
    HOLDS(block.repeat >= 1 && !block.steps.empty());
    for (const Step& step : block.steps) check_step(step);
  }
  return 0;
}
