#include "quality/distributions.h"

#include <boost/math/distributions/chi_squared.hpp>
#include <boost/math/distributions/fisher_f.hpp>
#include <boost/math/distributions/normal.hpp>
#include <boost/math/distributions/students_t.hpp>

namespace factory {
namespace {

template <typename Distribution>
Tails tails_of(const Distribution& spread) {
  return {quantile(spread, kTail), quantile(complement(spread, kTail))};
}

}  // namespace

Tails chi_squared_tails(double freedom) { return tails_of(boost::math::chi_squared(freedom)); }

Tails fisher_tails(double of_first, double of_second) { return tails_of(boost::math::fisher_f(of_first, of_second)); }

double normal_end() { return quantile(complement(boost::math::normal(), kTail)); }

double students_t_end(double freedom, double tail) {
  return quantile(complement(boost::math::students_t(freedom), tail));
}

double fisher_above(double of_first, double of_second, double f) {
  return cdf(complement(boost::math::fisher_f(of_first, of_second), f));
}

double students_t_above(double freedom, double t) { return cdf(complement(boost::math::students_t(freedom), t)); }

}  // namespace factory
