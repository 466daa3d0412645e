// What people and programs get to see of a run.
#pragma once

#include <string>

#include "record/sink.h"

namespace factory {

// All three throw AppError with the file's name when it cannot be written; a file that was there is then unchanged.

// One page that needs no other file and no network.
void write_html_report(const record::Run& run, const std::string& file, const record::Aside& aside = {});

// JUnit's XML form: one test case a step.
void write_junit(const record::Run& run, const std::string& file);

// `folder` is made when it is missing: measurements.csv, and one file for each attempt's sample window. One that has a
// run already is refused: files of both would stand side by side.
void require_no_csv(const std::string& folder);
void write_csv(const record::Run& run, const std::string& folder);

// The names of its columns, and a row for each measurement of a run: those of many runs make one table.
std::string csv_header();
std::string csv_rows(const record::Run& run);

}  // namespace factory
