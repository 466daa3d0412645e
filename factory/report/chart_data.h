// The sample windows of a record, as the page's script reads them.
#pragma once

#include <string>

#include "record/record.h"

namespace factory {

// Names the attempt's window in the page and in its data.
std::string window_id(const record::Step& step, const record::Attempt& attempt);

bool has_samples(const record::Attempt& attempt);

// JSON by window_id() that may stand inside a <script> element: no "<" and nothing beyond ASCII.
std::string chart_data(const record::Run& run);

}  // namespace factory
