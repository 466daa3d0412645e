// Records of runs, kept in tests/data/records, and what the tests of reports share.
#pragma once

#include <string>

#include "folder.h"
#include "record/record.h"

namespace records {

using test::content;
using test::Folder;

// Four steps, all well; one measurement inside its marginal band, one step that took two attempts.
factory::record::Run passed();
// A walked phone, a stuck gyroscope, a silent barometer, a light sensor off the mark; the rest skipped.
factory::record::Run failed();
// The hub did not answer.
factory::record::Run error();
// A failed run in which every text of the head and of one attempt is `text`.
factory::record::Run with_text_everywhere(const std::string& text);

// Markup, quotes, control characters, broken UTF-8, separators of JavaScript, writing from right to left.
std::string hostile_text();

// How often `part` is in the text.
size_t occurrences(const std::string& text, const std::string& part);

}  // namespace records
