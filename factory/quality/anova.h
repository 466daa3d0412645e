// The analysis of variance of a study: what of the scatter is the phones', the stations' or operators' and the
// measurement's own.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "quality/study.h"

namespace factory::grr {

struct AnovaRow {
  std::string source;
  int degrees = 0;
  double squares = 0;
  double mean_square = 0;
  std::optional<double> f = {}, p = {};  // none where there is nothing to compare with
};

struct Component {
  std::string source;
  double variance = 0;
  double sigma = 0;
  double low = 0, high = 0;                 // sigma's two-sided 95 % confidence interval
  std::optional<double> contribution = {};  // of the total variance; shares, not per cents, and so are the following
  std::optional<double> study = {};         // of the total sigma
  std::optional<double> tolerance = {};  // 6 sigma of the limits' width, or 3 of the way from the mean to the only one
};

enum class Judgement { accepted, conditional, rejected, none };
const char* judgement_name(Judgement judgement);

struct Analysis {
  // Factors, their interactions, repeatability, total. A row is held against what it has in expectation when its own
  // part is none: the interaction, of two factors.
  std::vector<AnovaRow> full;
  // The same without the interactions that are taken for repeatability; empty where none is.
  std::vector<AnovaRow> pooled;
  double mean = 0;
  Component grr{"GRR"};
  Component repeatability{"repeatability"};
  Component reproducibility{"reproducibility"};  // the following parts together
  std::vector<Component> parts;                  // stations, operators, and all interactions
  Component phones{"phone to phone"};
  Component total{"total"};
  std::vector<std::string> negative;  // components that came out below 0 and count as 0
  std::optional<int> categories;      // none: without limit, or nothing scatters
  bool by_tolerance = false;          // what the judgement is by; else by the study variation
  Judgement judgement = Judgement::none;

  std::vector<const Component*> components() const;
};

constexpr double kUsualAlpha = 0.25;
constexpr double kAcceptedBelow = 0.1;
constexpr double kRejectedAbove = 0.3;
constexpr int kWantedCategories = 5;

/**
 * All factors random, crossed and balanced (AIAG, Measurement Systems Analysis, 4th edition, appendix A; with three
 * factors by the same rules for expected mean squares). An interaction whose p is above `alpha` is pooled into
 * repeatability, if all that contain it are. A row without an exact test has Satterthwaite's approximate one ("An
 * Approximate Distribution of Estimates of Variance Components", Biometrics Bulletin 2, 1946). Intervals are the
 * modified large-sample ones (Burdick, Borror and Montgomery, "Design and Analysis of Gauge R&R Studies", 2005). Of one
 * trial there is no judgement: repeatability and interaction are then one.
 */
Analysis analyse(const Study& study, double alpha = kUsualAlpha);

}  // namespace factory::grr
