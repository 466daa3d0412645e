// The analysis of variance of a study: what of the scatter is the phones', the stations' and the measurement's own.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "quality/study.h"

namespace factory::grr {

struct AnovaRow {
  const char* source;
  int degrees = 0;
  double squares = 0;
  double mean_square = 0;
  std::optional<double> f = {}, p = {};  // none where there is nothing to compare with
};

struct Component {
  const char* source;
  double variance = 0;
  double sigma = 0;
  std::optional<double> contribution = {};  // of the total variance; shares, not per cents, and so are the following
  std::optional<double> study = {};         // of the total sigma
  std::optional<double> tolerance = {};  // 6 sigma of the limits' width, or 3 of the way from the mean to the only one
};

enum class Judgement { accepted, conditional, rejected, none };
const char* judgement_name(Judgement judgement);

struct Analysis {
  // Phones, stations, interaction, repeatability, total: both factors held against the interaction.
  std::vector<AnovaRow> full;
  // Phones, stations, repeatability, total, where the interaction is taken for repeatability; else empty.
  std::vector<AnovaRow> pooled;
  double mean = 0;
  Component grr{"GRR"};
  Component repeatability{"repeatability"};
  Component reproducibility{"reproducibility"};  // the following two together
  Component stations{"stations"};
  Component interaction{"phones x stations"};
  Component phones{"phone to phone"};
  Component total{"total"};
  std::vector<const char*> negative;  // components that came out below 0 and count as 0
  std::optional<int> categories;      // none: without limit, or nothing scatters
  bool by_tolerance = false;          // what the judgement is by; else by the study variation
  Judgement judgement = Judgement::none;

  std::vector<const Component*> components() const {
    return {&grr, &repeatability, &reproducibility, &stations, &interaction, &phones, &total};
  }
};

constexpr double kUsualAlpha = 0.25;
constexpr double kAcceptedBelow = 0.1;
constexpr double kRejectedAbove = 0.3;

// An interaction whose p is above `alpha` is pooled into repeatability.
Analysis analyse(const Study& study, double alpha = kUsualAlpha);

}  // namespace factory::grr
