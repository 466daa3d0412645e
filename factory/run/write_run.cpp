// An attempt at a write: note what is held, write, read back, and keep or put back.
#include "run/step_run.h"

namespace factory::plan {

std::string place_of(const StoredValue& value) {
  return value.file != nullptr ? "/" + std::string(value.file) : "the hub";
}

void require_stored(Session& session, int type, const std::string& name, const std::vector<double>& wanted,
                    Attempt* attempt) {
  const StoredValue& value = *stored_value(type, name);
  if (value.read == nullptr) return;
  const int lost = session.lost_messages();
  const Reading reading = value.read(*session.cal().cal_api, type, static_cast<int>(wanted.size()));
  bool answers = value.file != nullptr;
  for (size_t i = 0; i < wanted.size(); ++i) {
    const bool there = reading.result == 0 && i < reading.values.size();
    if (there && static_cast<float>(reading.values[i]) == static_cast<float>(wanted[i])) continue;
    // What was read of a hub that did not answer is not what it holds.
    const std::string silent = answers ? "" : HubWatch::problem(session, lost);
    if (!silent.empty()) return attempt->fail({Why::hub_silent, silent, kLookAtServices});
    answers = true;
    const bool alike = there && plain(reading.values[i]) == plain(wanted[i]);
    const auto shown = [&](double number) { return alike ? plain_exactly(static_cast<float>(number)) : plain(number); };
    attempt->fail({there ? Why::stored_differs : Why::stored_unreadable,
                   name + ": " + shown(wanted[i]) + " was written, and " + place_of(value) + " " +
                       (there ? "holds " + shown(reading.values[i]) : "cannot be read"),
                   value.file != nullptr ? kFileHint : kHubHint,
                   {name, plain(wanted[i])}});
  }
}

void StepRun::run_write() {
  HeldValues held(step_.type, step_.value, step_.count);
  if (!note(held)) return end_changes(held, false);
  begin_changes(held);
  HubWatch hub(session_);
  const StoredValue& value = *stored_value(step_.type, step_.value);
  int result = 0;
  {
    const Span span(*this, "write");
    (void)session_.take_refusal();
    result = value.write(*session_.cal().cal_api, step_.type, step_.numbers);
  }
  const std::string refusal = session_.take_refusal();
  if (result != 0 && (value.file != nullptr || hub.problem().empty())) {
    attempt_.fail({Why::hub_refused,
                   place_of(value) + " was not written: the answer was " + std::to_string(result),
                   value.file != nullptr ? kFileHint : kHubHint,
                   {step_.value, std::to_string(result)}});
  }
  if (!refusal.empty()) attempt_.fail({Why::hub_refused, refusal, kHubHint, {step_.value}});
  if (attempt_.reasons.empty() && hub.problem().empty())
    require_stored(session_, step_.type, step_.value, step_.numbers, &attempt_);
  const std::string lost = hub.problem();
  if (!lost.empty() && attempt_.outcome != Outcome::error)
    attempt_.fail({Why::hub_silent, lost + ", so that the write does not count", kLookAtServices});
  if (value.read != nullptr && attempt_.reasons.empty()) {
    std::string numbers;
    for (const double number : step_.numbers) numbers += " " + plain_exactly(static_cast<float>(number));
    attempt_.notes.push_back(place_of(value) + " holds" + numbers + " " + value.unit(step_.type));
  }
  under_way_.stops(session_);
  end_changes(held, result == 0);
}

}  // namespace factory::plan
