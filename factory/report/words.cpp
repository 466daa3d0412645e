#include "report/words.h"

#include <algorithm>
#include <cmath>

#include "files/json_text.h"
#include "files/numbers.h"

namespace factory {
namespace {

std::string with_unit(const std::string& number, const record::Measurement& m) {
  return m.unit.empty() ? number : number + " " + m.unit;
}

std::string number_for_people(double value) {
  if (std::isnan(value)) return "not a number";
  if (std::isinf(value)) return value > 0 ? "infinite" : "minus infinite";
  return significant(value, 6);
}

}  // namespace

std::string number_in_full(double value) { return number_text(json_number(value)); }

std::string numbers_for_people(const std::vector<double>& values) {
  std::string out;
  for (const double value : values) out += (out.empty() ? "" : ", ") + number_for_people(value);
  return out;
}

std::string duration(double seconds) {
  if (!std::isfinite(seconds)) return "";
  if (seconds < 120) return fixed(seconds, seconds < 10 ? 2 : 1) + " s";
  return fixed(std::floor(seconds / 60), 0) + " min " + fixed(std::floor(std::fmod(seconds, 60)), 0) + " s";
}

void add_seconds(const std::vector<UnderWay>& all, std::span<double> seconds_by_kind) {
  struct Edge {
    double at_s;
    size_t kind;
    int more;
  };
  std::vector<Edge> edges;
  for (const auto& [kind, from_s, to_s] : all) {
    edges.push_back({from_s, kind, 1});
    edges.push_back({to_s, kind, -1});
  }
  std::sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) { return a.at_s < b.at_s; });
  std::vector<int> under_way(seconds_by_kind.size());
  double at_s = 0;
  for (const Edge& edge : edges) {
    const auto first = std::find_if(under_way.begin(), under_way.end(), [](int count) { return count > 0; });
    if (first != under_way.end()) seconds_by_kind[static_cast<size_t>(first - under_way.begin())] += edge.at_s - at_s;
    under_way[edge.kind] += edge.more;
    at_s = edge.at_s;
  }
}

double seconds_of(const record::Step& step) {
  double out = 0;
  for (const record::Attempt& attempt : step.attempts) out += attempt.seconds;
  return out;
}

std::string step_name(const record::Step& step) {
  for (const std::string* name : {&step.name, &step.tag, &step.kind}) {
    if (!name->empty()) return *name;
  }
  return "step " + std::to_string(step.index);
}

std::string value_with_error(const record::Measurement& m) {
  if (!std::isfinite(m.value)) return number_for_people(m.value);
  const double error = m.standard_error.value_or(0);
  if (!(error > 0) || std::isinf(error)) return with_unit(number_for_people(m.value), m);
  // Three digits of the error, and the value to the same place: what lies beyond is noise.
  const int decimals = 2 - static_cast<int>(std::floor(std::log10(error)));
  const bool short_enough = decimals >= 0 && decimals <= 9 && std::fabs(m.value) < 1e9;
  return with_unit(short_enough ? fixed(m.value, decimals) + " \u00B1 " + fixed(error, decimals)
                                : significant(m.value, 6) + " \u00B1 " + significant(error, 3),
                   m);
}

std::string limits(const record::Measurement& m) {
  if (!m.low && !m.high) return "";
  if (!m.low) return with_unit("at most " + number_for_people(*m.high), m);
  if (!m.high) return with_unit("at least " + number_for_people(*m.low), m);
  return with_unit(number_for_people(*m.low) + " to " + number_for_people(*m.high), m);
}

std::string restart_in_words(const record::Restart& restart) {
  if (restart.cause == record::Cause::zero_variance) return restart.axis + " never changed (variance 0)";
  const std::string what = restart.cause == record::Cause::bias ? "mean" : cause_name(restart.cause);
  return what + " of " + restart.axis + " " + number_for_people(restart.value) + ", limit " +
         number_for_people(restart.limit);
}

}  // namespace factory
