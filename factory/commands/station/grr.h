// What a study of stations takes and tells, wherever its runs come from.
#pragma once

#include <optional>
#include <string>

#include "cli/command.h"
#include "quality/grr_view.h"
#include "quality/stored_study.h"

namespace factory {

struct GrrArguments {
  std::string file, uri, since, until, unit;
  store::Filter filter;
  std::optional<double> low, high;
  double alpha = grr::kUsualAlpha;
  bool full = false;
};

void add_grr_options(ArgumentParser parser, GrrArguments* arguments);

// Throws AppError where arguments do not go together. `made`: the runs are made for the study.
void require_consistent(const GrrArguments& arguments, bool made);

// From the file or the store that is asked for. Throws AppError. Returns the exit code, as tell_grr() does.
int run_grr(const CommonOptions& options, const GrrArguments& arguments);

int tell_grr(const grr::SeriesOfRuns& runs, const CommonOptions& options, const GrrArguments& arguments);

}  // namespace factory
