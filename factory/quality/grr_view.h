// Studies and their analyses as JSON and for a terminal. docs/formats/grr.md has both files.
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

#include "quality/anova.h"

namespace factory::grr {

// A measurement that is no study, and why.
struct Skipped {
  std::string name, why;
};

struct Findings {
  double alpha = kUsualAlpha;
  std::vector<std::pair<Study, Analysis>> studies;
  std::vector<Skipped> skipped;

  void add(const Study& study) { studies.emplace_back(study, analyse(study, alpha)); }
  bool any_rejected() const;
};

Json::Value to_json(const Findings& findings);

// Many studies as a table of one line each, with the whole of each where `full` is wanted; one is shown whole anyway.
std::string to_text(const Findings& findings, bool full);

}  // namespace factory::grr
