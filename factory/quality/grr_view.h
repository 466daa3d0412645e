// Studies and their analyses as JSON, for a terminal and as a page. docs/formats/grr.md has both files.
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
  // Nothing was rejected, and not all that there is is of one trial.
  bool good() const;
  // What several measurements are without, or why they are none, once: a sentence each.
  std::vector<std::string> remarks() const;
};

Json::Value to_json(const Findings& findings);

Json::Value to_json(const Turn& turn);
std::string to_text(const Turn& turn);

// The same share and limits in words: "accepted: 7.2 % of the tolerance; below 10 % ..."
std::string verdict_words(const Analysis& a);
std::string percent_text(const std::optional<double>& share);
std::string interval_text(const Component& c);

// `title`: what was asked, in words.
void write_page(const Findings& findings, const std::string& title, const std::string& file);

// Many studies as a table of one line each, with the whole of each where `full` is wanted; one is shown whole anyway.
std::string to_text(const Findings& findings, bool full);

}  // namespace factory::grr
