#include "record/record.h"

#include <algorithm>
#include <cmath>

#include "files/json_text.h"

namespace factory::record {

const char* state_name(SampleState state) {
  constexpr const char* kNames[] = {"settling", "discarded", "accepted"};
  return kNames[static_cast<int>(state)];
}

const char* cause_name(Cause cause) {
  constexpr const char* kNames[] = {"variance", "zero_variance", "bias"};
  return kNames[static_cast<int>(cause)];
}

std::string words(const std::vector<HubWord>& words) {
  std::string out;
  for (const HubWord& word : words) {
    const auto* number = std::get_if<float>(&word.value);
    out +=
        (out.empty() ? "w" : " w") + std::to_string(word.word) + "=" +
        (number != nullptr ? number_text(json_number(*number)) + "f" : std::to_string(std::get<int32_t>(word.value)));
  }
  return out;
}

std::string Phone::fact(const std::string& name) const {
  const auto found = facts.find(name);
  return found == facts.end() ? "" : found->second;
}

bool Run::marginal() const {
  return std::any_of(steps.begin(), steps.end(), [](const Step& step) { return step.outcome == Outcome::marginal; });
}

Clock::time_point Run::ended() const {
  return started + std::chrono::milliseconds(static_cast<int64_t>(std::round(seconds * 1000)));
}

}  // namespace factory::record
