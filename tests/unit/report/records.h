// Records of runs that never took place.
#pragma once

#include <string>

#include "record/record.h"

namespace records {

// Four steps, all well; one measurement inside its marginal band, one step that took two attempts.
factory::record::Run passed();
// A walked phone, a stuck gyroscope, a silent barometer, a light sensor off the mark; the rest skipped.
factory::record::Run failed();
// The hub did not answer.
factory::record::Run error();
// A small failed run whose every text is `text`.
factory::record::Run with_text_everywhere(const std::string& text);

// Markup, quotes, control characters, broken UTF-8, separators of JavaScript, writing from right to left.
std::string hostile_text();

}  // namespace records
