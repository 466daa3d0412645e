// The values of a record in words.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "record/record.h"

namespace factory {

// In full: nine significant digits, "nan", "inf".
std::string number_in_full(double value);
// For people: six significant digits, "not a number", "infinite".
std::string numbers_for_people(const std::vector<double>& values);

// "0.8 s", "3 min 12 s".
std::string duration(double seconds);

// What was under way from one moment to another, by the number of its kind. Adds to the kinds' seconds; each second
// counts once: for the first kind that was under way then.
struct UnderWay {
  size_t kind;
  double from_s, to_s;
};
void add_seconds(const std::vector<UnderWay>& all, std::span<double> seconds_by_kind);

inline bool has_samples(const record::Attempt& attempt) { return attempt.window && !attempt.window->samples.empty(); }
double seconds_of(const record::Step& step);  // all attempts together

std::string step_name(const record::Step& step);

// "0.01200 +/- 0.00100 m/s^2" and "-0.02 to 0.02 m/s^2", "at most 0.2 m/s^2"; empty without a limit.
std::string value_with_error(const record::Measurement& measurement);
std::string limits(const record::Measurement& measurement);

// "variance of x 0.31, limit 0.05"
std::string restart_in_words(const record::Restart& restart);

}  // namespace factory
