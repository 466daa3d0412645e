#include "quality/capability.h"

#include <cmath>
#include <limits>

#include "quality/distributions.h"

namespace factory::store {
namespace {

std::optional<Index> both_sided(double sigma, double freedom, std::optional<double> low, std::optional<double> high) {
  if (!low || !high || sigma <= 0) return {};
  const Tails spread = chi_squared_tails(freedom);
  const double value = (*high - *low) / (6 * sigma);
  return Index{value, value * std::sqrt(spread.low / freedom), value * std::sqrt(spread.high / freedom)};
}

std::optional<Index> nearer_side(const Moments& all, double sigma, double freedom, std::optional<double> low,
                                 std::optional<double> high) {
  if ((!low && !high) || sigma <= 0) return {};
  double nearer = std::numeric_limits<double>::infinity();
  if (low) nearer = std::min(nearer, all.mean - *low);
  if (high) nearer = std::min(nearer, *high - all.mean);
  const double value = nearer / (3 * sigma);
  const double error = std::sqrt(1 / (9 * static_cast<double>(all.count)) + value * value / (2 * freedom));
  const double reach = normal_end() * error;
  return Index{value, value - reach, value + reach};
}

// Between two neighbours: `at` from 0, the first, to 1, the last.
double percentile(const std::vector<double>& sorted, double at) {
  const double place = at * static_cast<double>(sorted.size() - 1);
  const auto below = static_cast<size_t>(place);
  if (below + 1 >= sorted.size()) return sorted.back();
  return sorted[below] + (place - std::floor(place)) * (sorted[below + 1] - sorted[below]);
}

Moments moments_of(const std::vector<double>& values) {
  Moments all;
  for (const double value : values) all.add({1, value, 0, value, value});
  return all;
}

// The logarithm of the share of normal values below one that is so many deviations off. Far out, where that share comes
// near the least number there is, by its asymptotic series.
double log_share_below(double deviations) {
  constexpr double kFar = -30;
  if (deviations > kFar) return std::log(std::erfc(-deviations / std::sqrt(2.0)) / 2);
  const double inverse = 1 / (deviations * deviations);
  return -deviations * deviations / 2 - std::log(-deviations * std::sqrt(2 * std::acos(-1.0))) +
         std::log1p(-inverse * (1 - 3 * inverse * (1 - 5 * inverse)));
}

}  // namespace

Index share_of(double part, double whole, double deviations) {
  const double share = part / whole;
  const double square = deviations * deviations / whole;
  const double middle = (share + square / 2) / (1 + square);
  const double reach = deviations * std::sqrt(share * (1 - share) / whole + square / whole / 4) / (1 + square);
  return {share, std::max(0.0, middle - reach), std::min(1.0, middle + reach)};
}

Capability capability(const Days& days, std::optional<double> low, std::optional<double> high) {
  Capability out;
  const Moments all = total(days);
  const double sigma = all.sigma().value_or(0);
  const double freedom = static_cast<double>(all.count - 1);
  out.pp = both_sided(sigma, freedom, low, high);
  out.ppk = nearer_side(all, sigma, freedom, low, high);
  out.within = scatter_within(days);
  out.cp = both_sided(out.within.sigma, out.within.freedom, low, high);
  out.cpk = nearer_side(all, out.within.sigma, out.within.freedom, low, high);
  return out;
}

std::optional<Index> drift_a_day(const Days& days, int per_day) {
  if (days.size() < 3 || per_day == 0) return {};
  const Moments all = total(days);
  const auto n = static_cast<double>(all.count);
  double when = 0;  // the mean one, from the first on: days since 1970 would cost digits
  const auto at = [&](int day) { return static_cast<double>(day - days.begin()->first) / per_day; };
  for (const auto& [day, values] : days) when += static_cast<double>(values.count) * at(day) / n;
  double xx = 0;
  double xy = 0;
  for (const auto& [day, values] : days) {
    xx += static_cast<double>(values.count) * (at(day) - when) * (at(day) - when);
    xy += static_cast<double>(values.count) * (at(day) - when) * (values.mean - all.mean);
  }
  const double slope = xy / xx;
  double off = 0;
  for (const auto& [day, values] : days) {
    const double distance = values.mean - all.mean - slope * (at(day) - when);
    off += static_cast<double>(values.count) * distance * distance;
  }
  const auto freedom = static_cast<double>(days.size() - 2);
  const double reach = students_t_end(freedom) * std::sqrt(off / freedom / xx);
  return Index{slope, slope - reach, slope + reach};
}

Robust robust(const std::vector<double>& sorted) {
  if (sorted.empty()) return {};
  Robust out;
  out.median = percentile(sorted, 0.5);
  std::vector<double> distances;
  double sum = 0;
  for (const double value : sorted) {
    distances.push_back(std::abs(value - out.median));
    sum += distances.back();
  }
  std::sort(distances.begin(), distances.end());
  out.sigma = 1.4826 * percentile(distances, 0.5);
  if (out.sigma <= 0) out.sigma = 1.2533 * sum / static_cast<double>(sorted.size());
  return out;
}

std::optional<Normality> normality(const std::vector<double>& sorted) {
  const Moments all = moments_of(sorted);
  const double sigma = all.sigma().value_or(0);
  if (sorted.size() < 8 || sigma <= 0) return {};
  const double n = static_cast<double>(sorted.size());
  const auto off = [&](size_t i) { return (sorted[i] - all.mean) / sigma; };
  double sum = 0;
  for (size_t i = 0; i < sorted.size(); ++i) {
    const double below = log_share_below(off(i));
    const double above = log_share_below(-off(sorted.size() - 1 - i));
    sum += (2 * static_cast<double>(i) + 1) * (below + above);
  }
  const double a2 = (-n - sum / n) * (1 + 0.75 / n + 2.25 / (n * n));
  return Normality{a2, anderson_darling_p(a2)};
}

double anderson_darling_p(double a2) {
  if (a2 < 0.2) return 1 - std::exp(-13.436 + 101.14 * a2 - 223.73 * a2 * a2);
  if (a2 < 0.34) return 1 - std::exp(-8.318 + 42.796 * a2 - 59.938 * a2 * a2);
  if (a2 < 0.6) return std::exp(0.9177 - 4.279 * a2 - 1.38 * a2 * a2);
  const double held = std::min(a2, 10.0);  // the parabola would come up again far out
  return std::exp(1.2937 - 5.709 * held + 0.0186 * held * held);
}

Histogram histogram(const std::vector<double>& sorted, const Robust& middle) {
  if (sorted.empty()) return {};
  Histogram out;
  out.from = std::max(sorted.front(), middle.median - 6 * middle.sigma);
  out.to = std::min(sorted.back(), middle.median + 6 * middle.sigma);
  if (out.to <= out.from) return {};
  constexpr int kMostBins = 30;
  const int count = std::clamp(static_cast<int>(std::sqrt(static_cast<double>(sorted.size()))), 5, kMostBins);
  out.bins.resize(static_cast<size_t>(count));
  for (const double value : sorted) {
    const double place = (value - out.from) / (out.to - out.from) * count;
    ++out.bins[static_cast<size_t>(std::clamp(place, 0.0, count - 0.5))];
  }
  return out;
}

std::optional<Percentiles> percentiles(const std::vector<double>& sorted) {
  if (sorted.size() < kFewestForPercentiles) return {};
  return Percentiles{percentile(sorted, 0.00135), percentile(sorted, 0.5), percentile(sorted, 0.99865)};
}

std::optional<double> percentile_pp(const Percentiles& at, std::optional<double> low, std::optional<double> high) {
  if (!low || !high || at.high <= at.low) return {};
  return (*high - *low) / (at.high - at.low);
}

std::optional<double> percentile_ppk(const Percentiles& at, std::optional<double> low, std::optional<double> high) {
  if ((!low && !high) || (low && at.middle <= at.low) || (high && at.high <= at.middle)) return {};
  double nearer = std::numeric_limits<double>::infinity();
  if (low) nearer = std::min(nearer, (at.middle - *low) / (at.middle - at.low));
  if (high) nearer = std::min(nearer, (*high - at.middle) / (at.high - at.middle));
  return nearer;
}

}  // namespace factory::store
