// The files that a record becomes.
#pragma once

#include <functional>
#include <string>

#include "cli/argument_parser.h"
#include "report/report.h"

namespace factory {

// Empty: not wanted.
struct RunOutputs {
  std::string html;
  std::string junit;
  std::string csv;  // a folder
};

void add_outputs(ArgumentParser parser, RunOutputs* outputs);

// Empty stays empty.
std::string absolute(const std::string& file);

// Makes the names absolute, and looks at what can be known before there is a record. Throws AppError.
void require_places(RunOutputs* outputs);

// False: it threw, which is told after `what`.
bool delivered(const char* what, const std::function<void()>& deliver);

// False: one could not be written, which is told. The others are written all the same.
bool write_outputs(const record::Run& run, const RunOutputs& outputs, const Aside& aside);

}  // namespace factory
