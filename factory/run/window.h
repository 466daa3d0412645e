// A run's samples as the library took them, and what became of each.
#pragma once

#include <optional>

#include "phone/held_values.h"
#include "run/calibration.h"

namespace factory::plan {

// Nothing where the calibration had no run of its own.
std::optional<record::Window> window_of(Session& session, const Calibration& calibration,
                                        const std::vector<HeldValue>& before);

}  // namespace factory::plan
