// What people and programs get to see of a run.
#pragma once

#include <string>
#include <vector>

#include "record/record.h"

namespace factory {

// All three throw AppError with the file's name when it cannot be written; a file that was there is then unchanged.

// What is to be said of a record beside what it holds: that it comes from a replay, or what of it was not kept.
struct Aside {
  std::string title;
  std::vector<std::string> lines;
};

// One page that needs no other file and no network.
void write_html_report(const record::Run& run, const std::string& file, const Aside& aside = {});

// JUnit's XML form: one test case a step.
void write_junit(const record::Run& run, const std::string& file);

// `folder` is made when it is missing: measurements.csv, and one file for each attempt's sample window.
void write_csv(const record::Run& run, const std::string& folder);

}  // namespace factory
