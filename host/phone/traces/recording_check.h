// Looks at what was read: timing, and units and signs that the values speak against.
#pragma once

#include <vector>

#include "phone/traces/column_plan.h"
#include "phone/traces/recording.h"

namespace phone {

// Gaps, duplicate and backward times, rates. `lines` has each sample's line in the file.
void check_timing(const ReplayKind& kind, const std::vector<size_t>& lines, Recording* recording);
// Means, the stillest stretch, and slips.
void check_values(const ReplayKind& kind, const ColumnPlan& plan, const ReplayOption& replay, Recording* recording);

}  // namespace phone
