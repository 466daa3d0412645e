#include "quality/anova.h"

#include <algorithm>
#include <boost/math/distributions/fisher_f.hpp>
#include <cmath>
#include <limits>

namespace factory::grr {
namespace {

enum Row : size_t { kPhones, kStations, kInteraction, kRepeatability, kTotal, kRows };

struct Means {
  double all = 0;
  std::vector<double> phones, stations, cells;
};

// Of distances from the study's first value: values that are all alike have none, whatever their size.
Means means_of(const Study& study) {
  const size_t phones = study.phones.size();
  const size_t stations = study.stations.size();
  Means out{0, std::vector<double>(phones), std::vector<double>(stations), std::vector<double>(phones * stations)};
  const double reference = study.values.front();
  for (size_t p = 0; p < phones; ++p) {
    for (size_t s = 0; s < stations; ++s) {
      double& cell = out.cells[p * stations + s];
      for (int t = 0; t < study.trials; ++t) cell += study.at(p, s, t) - reference;
      cell /= study.trials;
      out.phones[p] += cell / static_cast<double>(stations);
      out.stations[s] += cell / static_cast<double>(phones);
      out.all += cell / static_cast<double>(phones * stations);
    }
  }
  return out;
}

double square(double value) { return value * value; }

std::vector<double> squares_of(const Study& study, const Means& means) {
  const size_t stations = study.stations.size();
  const double reference = study.values.front();
  std::vector<double> out(kRows);
  for (size_t p = 0; p < study.phones.size(); ++p) {
    for (size_t s = 0; s < stations; ++s) {
      const double cell = means.cells[p * stations + s];
      out[kPhones] += study.trials * square(means.phones[p] - means.all);
      out[kStations] += study.trials * square(means.stations[s] - means.all);
      out[kInteraction] += study.trials * square(cell - means.phones[p] - means.stations[s] + means.all);
      for (int t = 0; t < study.trials; ++t) {
        const double distance = study.at(p, s, t) - reference;
        out[kRepeatability] += square(distance - cell);
        out[kTotal] += square(distance - means.all);
      }
    }
  }
  return out;
}

// What rounding alone leaves is no scatter.
void drop_rounding(const Study& study, std::vector<double>* squares) {
  double largest = 0;
  for (const double value : study.values) largest = std::max(largest, std::fabs(value));
  const double rounding = 8 * std::numeric_limits<double>::epsilon() * largest;
  for (double& sum : *squares) {
    if (sum <= static_cast<double>(study.values.size()) * square(rounding)) sum = 0;
  }
}

void test(AnovaRow* row, const AnovaRow& against) {
  if (against.mean_square <= 0) {
    if (row->mean_square > 0) row->p = 0;
    return;
  }
  row->f = row->mean_square / against.mean_square;
  row->p = boost::math::cdf(boost::math::complement(boost::math::fisher_f(row->degrees, against.degrees), *row->f));
}

std::vector<AnovaRow> full_table(const Study& study) {
  const int phones = static_cast<int>(study.phones.size());
  const int stations = static_cast<int>(study.stations.size());
  std::vector<double> squares = squares_of(study, means_of(study));
  drop_rounding(study, &squares);
  std::vector<AnovaRow> rows = {{"phones", phones - 1},
                                {"stations", stations - 1},
                                {"phones x stations", (phones - 1) * (stations - 1)},
                                {"repeatability", phones * stations * (study.trials - 1)},
                                {"total", phones * stations * study.trials - 1}};
  for (size_t i = 0; i < kRows; ++i) {
    rows[i].squares = squares[i];
    rows[i].mean_square = squares[i] / rows[i].degrees;
  }
  test(&rows[kPhones], rows[kInteraction]);
  test(&rows[kStations], rows[kInteraction]);
  test(&rows[kInteraction], rows[kRepeatability]);
  return rows;
}

std::vector<AnovaRow> pooled_table(const std::vector<AnovaRow>& full) {
  std::vector<AnovaRow> rows = {full[kPhones], full[kStations], full[kRepeatability], full[kTotal]};
  AnovaRow& error = rows[2];
  error.degrees += full[kInteraction].degrees;
  error.squares += full[kInteraction].squares;
  error.mean_square = error.squares / error.degrees;
  for (size_t i = 0; i < 2; ++i) {
    rows[i].f.reset();
    rows[i].p.reset();
    test(&rows[i], error);
  }
  return rows;
}

void set_variance(Analysis* a, Component* component, double variance) {
  if (variance < 0) a->negative.push_back(component->source);
  component->variance = std::max(0.0, variance);
}

void find_components(const Study& study, Analysis* a) {
  const double phones = static_cast<double>(study.phones.size());
  const double stations = static_cast<double>(study.stations.size());
  const bool pooled = !a->pooled.empty();
  const double error = pooled ? a->pooled[2].mean_square : a->full[kRepeatability].mean_square;
  const double interaction = pooled ? error : a->full[kInteraction].mean_square;
  a->repeatability.variance = error;
  set_variance(a, &a->interaction, (interaction - error) / study.trials);
  set_variance(a, &a->stations, (a->full[kStations].mean_square - interaction) / (phones * study.trials));
  set_variance(a, &a->phones, (a->full[kPhones].mean_square - interaction) / (stations * study.trials));
  a->reproducibility.variance = a->stations.variance + a->interaction.variance;
  a->grr.variance = a->repeatability.variance + a->reproducibility.variance;
  a->total.variance = a->grr.variance + a->phones.variance;
}

// Six sigma of it are 100 %; none without limits, or where the mean lies beyond the only one.
std::optional<double> tolerance_of(const Subject& subject, double mean) {
  if (subject.low && subject.high)
    return *subject.high > *subject.low ? std::optional<double>(*subject.high - *subject.low) : std::nullopt;
  if (!subject.low && !subject.high) return {};
  const double room = subject.low ? mean - *subject.low : *subject.high - mean;
  return room > 0 ? std::optional<double>(2 * room) : std::nullopt;
}

void fill_shares(const Study& study, Analysis* a) {
  const std::optional<double> tolerance = tolerance_of(study.subject, a->mean);
  for (Component* c :
       {&a->grr, &a->repeatability, &a->reproducibility, &a->stations, &a->interaction, &a->phones, &a->total}) {
    c->sigma = std::sqrt(c->variance);
    if (a->total.variance > 0) {
      c->contribution = c->variance / a->total.variance;
      c->study = std::sqrt(*c->contribution);
    }
    if (tolerance) c->tolerance = 6 * c->sigma / *tolerance;
  }
}

void judge(Analysis* a) {
  constexpr double kCategoriesPerRatio = 1.41;
  if (a->grr.variance > 0) {
    const double categories = kCategoriesPerRatio * a->phones.sigma / a->grr.sigma;
    a->categories = static_cast<int>(std::clamp(categories, 1.0, 1e9));
  }
  a->by_tolerance = a->grr.tolerance.has_value();
  const std::optional<double> share = a->by_tolerance ? a->grr.tolerance : a->grr.study;
  if (!share || a->total.variance <= 0) return;
  a->judgement = *share < kAcceptedBelow    ? Judgement::accepted
                 : *share <= kRejectedAbove ? Judgement::conditional
                                            : Judgement::rejected;
}

}  // namespace

const char* judgement_name(Judgement judgement) {
  constexpr const char* kNames[] = {"accepted", "conditional", "rejected", "none"};
  return kNames[static_cast<int>(judgement)];
}

Analysis analyse(const Study& study, double alpha) {
  Analysis out;
  const double count = static_cast<double>(study.values.size());
  for (const double value : study.values) out.mean += value / count;
  out.full = full_table(study);
  const AnovaRow& interaction = out.full[kInteraction];
  if (!interaction.p || *interaction.p > alpha) out.pooled = pooled_table(out.full);
  find_components(study, &out);
  fill_shares(study, &out);
  judge(&out);
  return out;
}

}  // namespace factory::grr
