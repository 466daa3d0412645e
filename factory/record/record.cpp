#include "record/record.h"

#include <algorithm>
#include <cmath>

#include "files/app_error.h"
#include "files/json_text.h"
#include "files/numbers.h"
#include "files/words.h"
#include "record/why.h"

namespace factory::record {

void judge(Measurement* m, double band) {
  m->outcome = Outcome::failed;
  if (!std::isfinite(m->value)) return;
  if (m->low && (m->value < *m->low || (m->strict && m->value == *m->low))) return;
  if (m->high && (m->value > *m->high || (m->strict && m->value == *m->high))) return;
  const double range = m->low && m->high ? *m->high - *m->low : std::fabs(m->high.value_or(m->low.value_or(0)));
  // Between limits that lie evenly around zero the band counts from zero, as the one limit does that they stand for.
  const double margin = band * (m->low && m->high && *m->low == -*m->high ? range / 2 : range);
  const bool near_low = m->low && m->value < *m->low + margin;
  const bool near_high = m->high && m->value > *m->high - margin;
  m->outcome = near_low || near_high ? Outcome::marginal : Outcome::passed;
}

std::string describe(const Measurement& m) {
  const std::string unit = m.unit.empty() ? "" : " " + m.unit;
  std::string out = (m.axis.empty() ? "" : m.axis + ": ") + m.name + " " + plain(m.value);
  if (!std::isfinite(m.value)) return out + " is no number that could pass";
  if (m.standard_error) out += " +/- " + plain(*m.standard_error);
  out += unit;
  const bool bad = m.outcome == Outcome::failed;
  if (m.low && m.high) {
    out += std::string(bad ? " is outside" : " is near") + " the limits of " + plain(*m.low) + " to " + plain(*m.high);
  } else if (m.high) {
    out += std::string(bad ? " is above" : " is near") + " the limit of " + plain(*m.high);
  } else if (m.low) {
    out += std::string(bad ? " is below" : " is near") + " the limit of " + plain(*m.low);
  } else {
    return out + " has no limit";
  }
  return out + unit + (m.section.empty() ? "" : " (" + m.section + ")");
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

void Attempt::fail(const Reason& reason) {
  const Outcome one = reason.why.outcome;
  const bool first = one == Outcome::error && outcome == Outcome::failed;
  if (one == Outcome::error || outcome == Outcome::passed) outcome = one;
  reasons.insert(first ? reasons.begin() : reasons.end(),
                 {std::string(reason.why.code), reason.arguments, reason.text});
  if (reason.hint.empty() || std::find(hints.begin(), hints.end(), reason.hint) != hints.end()) return;
  hints.insert(first ? hints.begin() : hints.end(), reason.hint);
}

void Attempt::measure(Measurement m, double band, const std::string& hint) {
  judge(&m, band);
  if (m.outcome == Outcome::failed) {
    const auto bound = [](const std::optional<double>& limit) { return limit ? plain(*limit) : ""; };
    fail({Why::value_outside,
          describe(m),
          std::isnan(m.value) ? kNoNumbersHint : hint,
          {m.name, m.axis, plain(m.value), bound(m.low), bound(m.high), m.unit}});
  }
  if (m.outcome == Outcome::marginal) notes.push_back("marginal: " + describe(m));
  measurements.push_back(std::move(m));
}

bool phone_may_be_at_fault(const std::string& code) {
  constexpr Ground kAlike[] = {Why::service_gone, Why::service_refuses, Why::hub_silent, Why::call_hangs};
  return std::any_of(std::begin(kAlike), std::end(kAlike), [&](const Ground& why) { return code == why.code; });
}

bool worth_another(const Attempt& attempt) {
  constexpr Ground kLost[] = {Why::fixture_not_set, Why::expected_unknown, Why::other_phone, Why::sensor_absent};
  return std::none_of(attempt.reasons.begin(), attempt.reasons.end(), [&](const Text& reason) {
    return std::any_of(std::begin(kLost), std::end(kLost), [&](const Ground& why) { return reason.code == why.code; });
  });
}

std::string Phone::fact(const std::string& name) const {
  const auto found = facts.find(name);
  return found == facts.end() ? "" : found->second;
}

std::string serial_number(const std::string& option, const std::string& typed) {
  if (typed.empty()) return "";  // none was given
  const std::string serial = trimmed(typed);
  if (serial.empty()) throw AppError(kUsage, option + ": a serial number of blanks is none");
  const bool hidden = std::any_of(serial.begin(), serial.end(), [](char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;  // control characters, DEL
  });
  if (hidden)
    throw AppError(kUsage, option + ": a serial number has no line feed, tabulator or other control character");
  constexpr size_t kMost = 64;  // a file's name holds three letters for each
  if (serial.size() > kMost) {
    throw AppError(kUsage, option + ": a serial number has at most " + std::to_string(kMost) +
                               " characters, this one " + std::to_string(serial.size()));
  }
  return serial;
}

bool is_run_id(const std::string& text) {
  constexpr std::string_view kForm = "xxxxxxxx-xxxx-7xxx-xxxx-xxxxxxxxxxxx";  // x: a digit to base 16
  constexpr std::string_view kDigits = "0123456789abcdef";
  return std::equal(text.begin(), text.end(), kForm.begin(), kForm.end(), [&](char is, char wanted) {
    return wanted == 'x' ? kDigits.find(is) != std::string_view::npos : is == wanted;
  });
}

bool Run::marginal() const {
  return std::any_of(steps.begin(), steps.end(), [](const Step& step) { return step.outcome == Outcome::marginal; });
}

std::string denial_of_pass(const Run& run) {
  if (!passes(run.outcome)) return "";
  for (const Step& step : run.steps) {
    const std::string which = "step " + std::to_string(step.index) + ", " + step.name;
    if (!passes(step.outcome)) return which + ", is " + outcome_name(step.outcome);
    if (step.attempts.empty()) return which + ", has no attempt";
    const Attempt& last = step.attempts.back();
    if (!passes(last.outcome)) return "the last attempt at " + which + ", is " + outcome_name(last.outcome);
    for (const Measurement& told : last.measurements) {
      Measurement m = told;
      m.strict = false;  // a value that is printed like its limit may be beside it
      judge(&m, 0);
      if (m.outcome == Outcome::failed) return which + ", " + describe(m);
      if (!passes(told.outcome))
        return which + ", " + told.name + " " + told.axis + " is " + outcome_name(told.outcome);
    }
  }
  return "";
}

Clock::time_point Run::ended() const {
  return started + std::chrono::milliseconds(static_cast<int64_t>(std::round(seconds * 1000)));
}

}  // namespace factory::record
