// The distributions that intervals and tests are read from, in one file: the library behind them is long to compile.
#pragma once

namespace factory {

constexpr double kTail = 0.025;  // on each side of an interval of 95 %

// What a tail lies below, and what one lies above.
struct Tails {
  double low = 0;
  double high = 0;
};
Tails chi_squared_tails(double freedom);
Tails fisher_tails(double of_first, double of_second);
double normal_end();
double students_t_end(double freedom, double tail = kTail);

// The share that lies above.
double fisher_above(double of_first, double of_second, double f);
double students_t_above(double freedom, double t);

}  // namespace factory
