// How capable a process is: its deviation against its limits, and whether its values are as the figures suppose.
#pragma once

#include <optional>
#include <vector>

#include "quality/moments.h"

namespace factory::store {

struct Index {
  double value;
  double low, high;  // its two-sided 95 % confidence interval
};

// A share of a count, with Wilson's interval ("Probable Inference, the Law of Succession, and Statistical Inference",
// Journal of the American Statistical Association 22, 1927), whose ends are so many standard normal deviations off; the
// usual ones are those of 95 %. Of one or more.
Index share_of(double part, double whole, double deviations = 1.959963985);

/**
 * Performance (Pp, Ppk: the overall deviation) and capability (Cp, Cpk: the deviation within subgroups), as ISO 22514-2
 * and the AIAG manual "Statistical Process Control" have them, of normal values:
 *
 *   Pp = (high - low) / 6 sigma, Ppk = the mean's distance from the nearer limit / 3 sigma
 *
 * None without scatter; Pp and Cp take both limits, Ppk and Cpk also one. Intervals: of Pp and Cp by the chi-square
 * distribution; of Ppk and Cpk by the normal approximation +/- 1.96 sqrt(1 / 9n + index^2 / 2 freedom) (Bissell, "How
 * reliable is your capability index?", Applied Statistics 39, 1990).
 */
struct Capability {
  std::optional<Index> pp, ppk, cp, cpk;
  Within within;
};

Capability capability(const Days& days, std::optional<double> low, std::optional<double> high);

/**
 * How much the mean of subgroups moves in a day: the line through the means by least squares, weighted by their numbers
 * of values, and Student's 95 % interval of its slope. By the means' distances from the line, not by single values:
 * days differ by more than values within a day tell. Of three subgroups or more, so many of which are a day.
 */
std::optional<Index> drift_a_day(const Days& days, int per_day);

// Where the middle of values lies and how far they scatter, whatever single ones do.
struct Robust {
  double median = 0;
  double sigma = 0;  // 0: all are equal
};

/**
 * Median, and 1.4826 times the median distance from it, which is sigma of normal values (Iglewicz and Hoaglin, "How to
 * Detect and Handle Outliers", ASQC 1993). Where more than half of the values are equal that is 0, and 1.2533 times the
 * mean distance stands in. Of sorted values.
 */
Robust robust(const std::vector<double>& sorted);

struct Normality {
  double a2 = 0;  // Anderson and Darling's, corrected for the number of values
  double p = 1;
};
constexpr double kNormalBelow = 0.05;  // a p below it: not normal

/**
 * Whether values can be normal ones of unknown mean and deviation: Anderson and Darling's test with the correction and
 * the p of D'Agostino and Stephens, "Goodness-of-Fit Techniques" (1986), table 4.9. None of fewer than eight values,
 * for which these do not hold, or of equal ones. Of sorted values.
 */
std::optional<Normality> normality(const std::vector<double>& sorted);
double anderson_darling_p(double a2);

struct Percentiles {
  double low, middle, high;  // 0.135 %, 50 %, 99.865 %
};
constexpr size_t kFewestForPercentiles = 741;  // 1 / 0.00135: with fewer, these lie beyond the least and greatest value

// So many values in each of the bins, which are equally wide; those far off are in the outer ones.
struct Histogram {
  double from = 0, to = 0;
  std::vector<long long> bins;  // none: all values are equal
};

// Of sorted values: from the least to the greatest, but no farther than six robust sigmas from the median.
Histogram histogram(const std::vector<double>& sorted, const Robust& middle);

// Between neighbours where one falls between them. Of sorted values, kFewestForPercentiles at least.
std::optional<Percentiles> percentiles(const std::vector<double>& sorted);

/**
 * Pp and Ppk of values of any distribution: its percentiles in the place of mean - 3 sigma, mean and mean + 3 sigma
 * (ISO 22514-2; AIAG, chapter IV).
 */
std::optional<double> percentile_pp(const Percentiles& at, std::optional<double> low, std::optional<double> high);
std::optional<double> percentile_ppk(const Percentiles& at, std::optional<double> low, std::optional<double> high);

}  // namespace factory::store
