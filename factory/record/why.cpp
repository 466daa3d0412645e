#include "record/why.h"

#include <algorithm>
#include <iterator>

namespace factory::record {
namespace {

struct Row {
  Why why;
  const char* code;
  Outcome outcome;
  bool again = true;  // another attempt may come out otherwise
};

constexpr Row kRows[] = {
    {Why::service_gone, "service.gone", Outcome::error},
    {Why::service_refuses, "service.refuses", Outcome::error},
    {Why::hub_silent, "hub.silent", Outcome::error},
    {Why::call_hangs, "call.hangs", Outcome::error},
    {Why::fixture_not_set, "fixture.not_set", Outcome::error, false},
    {Why::expected_unknown, "expected.unknown", Outcome::error, false},
    {Why::other_phone, "plan.other_phone", Outcome::error, false},
    {Why::sensor_absent, "sensor.absent", Outcome::failed, false},
    {Why::sensor_refused, "sensor.refused", Outcome::failed},
    {Why::sensor_silent, "sensor.silent", Outcome::failed},
    {Why::sensor_slow, "sensor.slow", Outcome::failed},
    {Why::sensor_stuck, "sensor.stuck", Outcome::failed},
    {Why::sensor_unsettled, "sensor.unsettled", Outcome::failed},
    {Why::sensor_no_number, "sensor.no_number", Outcome::failed},
    {Why::value_outside, "value.outside", Outcome::failed},
    {Why::value_unsure, "value.unsure", Outcome::failed},
    {Why::value_missing, "value.missing", Outcome::failed},
    {Why::near_wrong, "near.wrong", Outcome::failed},
    {Why::hub_refused, "hub.refused", Outcome::failed},
    {Why::hub_run_failed, "hub.run_failed", Outcome::failed},
    {Why::library_failed, "library.failed", Outcome::failed},
    {Why::panel_refused, "panel.refused", Outcome::failed},
    {Why::panel_dark, "panel.dark", Outcome::failed},
    {Why::panel_followed, "panel.followed", Outcome::failed},
    {Why::stored_unreadable, "stored.unreadable", Outcome::failed},
    {Why::stored_differs, "stored.differs", Outcome::failed},
    {Why::not_calibrated, "report.not_calibrated", Outcome::failed},
    {Why::probe_differs, "probe.differs", Outcome::failed},
    {Why::old_values_lost, "old_values.lost", Outcome::failed},
    {Why::interrupted, "interrupted", Outcome::aborted},
};

constexpr bool in_order() {
  for (size_t i = 0; i < std::size(kRows); ++i) {
    if (kRows[i].why != static_cast<Why>(i)) return false;
  }
  return std::size(kRows) == static_cast<size_t>(Why::interrupted) + 1;
}
static_assert(in_order(), "a row for each cause, in their order");

const Row& row_of(Why why) { return kRows[static_cast<size_t>(why)]; }

}  // namespace

const char* code_of(Why why) { return row_of(why).code; }

Outcome outcome_of(Why why) { return row_of(why).outcome; }

bool worth_another(const Attempt& attempt) {
  return std::none_of(attempt.reasons.begin(), attempt.reasons.end(), [](const Text& reason) {
    return std::any_of(std::begin(kRows), std::end(kRows),
                       [&](const Row& row) { return !row.again && reason.code == row.code; });
  });
}

}  // namespace factory::record
