#include "record/record.h"

#include <algorithm>
#include <cmath>

#include "files/app_error.h"
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

std::string serial_number(const std::string& option, const std::string& typed) {
  const size_t begin = typed.find_first_not_of(" \t\r\n");
  if (begin == std::string::npos) return "";
  const std::string serial = typed.substr(begin, typed.find_last_not_of(" \t\r\n") + 1 - begin);
  const bool hidden = std::any_of(serial.begin(), serial.end(), [](char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;  // control characters, DEL
  });
  if (hidden)
    throw AppError(kUsage, option + ": a serial number has no line feed, tabulator or other control character");
  return serial;
}

bool Run::marginal() const {
  return std::any_of(steps.begin(), steps.end(), [](const Step& step) { return step.outcome == Outcome::marginal; });
}

Clock::time_point Run::ended() const {
  return started + std::chrono::milliseconds(static_cast<int64_t>(std::round(seconds * 1000)));
}

}  // namespace factory::record
