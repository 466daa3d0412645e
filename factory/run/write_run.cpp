// An attempt at a write: note what is held, write, read back, and keep or put back.
#include "run/step_run.h"
#include "sensors/stored_values.h"

namespace factory::plan {

void StepRun::run_write() {
  HeldValues held(step_.type, step_.value, step_.count);
  if (!note(held)) return end_changes(held, false);
  begin_changes(held);
  HubWatch hub(session_);
  const StoredValue& value = *stored_value(step_.type, step_.value);
  int result = 0;
  {
    const Span span(*this, "write");
    result = value.write(*session_.cal().cal_api, step_.type, step_.numbers);
  }
  const std::string where = value.file != nullptr ? "/" + std::string(value.file) : "the hub";
  const std::string hint = value.file != nullptr ? kFileHint : "look at the hub's log";
  if (result != 0) {
    attempt_.fail({Why::hub_refused,
                   where + " was not written: the answer was " + std::to_string(result),
                   hint,
                   {step_.value, std::to_string(result)}});
  }
  if (result == 0 && value.read != nullptr) {
    const Reading reading = value.read(*session_.cal().cal_api, step_.type, step_.count);
    for (size_t i = 0; i < step_.numbers.size(); ++i) {
      const bool same = reading.result == 0 && i < reading.values.size() &&
                        static_cast<float>(reading.values[i]) == static_cast<float>(step_.numbers[i]);
      if (same) continue;
      attempt_.fail({reading.result == 0 ? Why::stored_differs : Why::stored_unreadable,
                     step_.value + ": " + plain(step_.numbers[i]) + " was written, and " + where + " " +
                         (reading.result == 0 ? "holds " + plain(reading.values.at(i)) : "cannot be read"),
                     hint,
                     {step_.value, plain(step_.numbers[i])}});
    }
  }
  const std::string lost = hub.problem();
  if (!lost.empty()) attempt_.fail({Why::hub_silent, lost + ", so that the write does not count", kLookAtServices});
  under_way_.stops(session_);
  end_changes(held, result == 0);
}

}  // namespace factory::plan
