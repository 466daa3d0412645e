#include "tally.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace acceptance {
namespace {

constexpr double kWithin = 0.999;

__attribute__((format(printf, 1, 2))) std::string format(const char* pattern, ...) {
  char line[200];
  va_list values;
  va_start(values, pattern);
  vsnprintf(line, sizeof line, pattern, values);
  va_end(values);
  return line;
}

}  // namespace

double Tally::Spread::percentile() const {
  if (good.empty()) return 0;
  std::vector<double> sorted = good;
  std::sort(sorted.begin(), sorted.end());
  const auto at = static_cast<size_t>(std::ceil(kWithin * static_cast<double>(sorted.size())));
  return sorted[std::max<size_t>(at, 1) - 1];
}

void Tally::add(const Case& phone, const Verdict& verdict) {
  ++phones_;
  Count& count = counts_[phone.population];
  ++count.phones;
  count.passed += verdict.passed ? 1 : 0;
  count.misses += verdict.misses.empty() ? 0 : 1;
  for (const std::string& miss : verdict.misses) misses_.push_back({phone.text(), miss});
  for (const Residual& residual : verdict.residuals) {
    const auto [at, is_new] = spreads_.try_emplace(residual.sensor);
    if (is_new) order_.push_back(residual.sensor);
    Spread& spread = at->second;
    spread.unit = residual.unit;
    spread.limit = residual.limit;
    ++spread.values;
    if (phone.population == Population::good) spread.good.push_back(residual.value);
    if (residual.value < spread.worst) continue;
    spread.worst = residual.value;
    spread.worst_seed = phone.seed;
  }
}

void Tally::add_lost(const Case& phone) {
  ++phones_;
  Count& count = counts_[phone.population];
  ++count.phones;
  ++count.misses;
  misses_.push_back({phone.text(), "the process ended before the phone was judged"});
}

bool Tally::residuals_hold() const {
  return std::all_of(spreads_.begin(), spreads_.end(),
                     [](const auto& entry) { return entry.second.percentile() <= entry.second.limit; });
}

std::string Tally::text() const {
  std::string out = format("%-12s %8s %8s %8s %8s\n", "population", "phones", "passed", "failed", "missed");
  for (const Population population : kPopulations) {
    const auto found = counts_.find(population);
    if (found == counts_.end()) continue;
    const Count& count = found->second;
    out += format("%-12s %8d %8d %8d %8d\n", name_of(population), count.phones, count.passed,
                  count.phones - count.passed, count.misses);
  }
  out += format("\n%-16s %8s %11s %11s %11s  %-12s %s\n", "kept values", "phones", "99.9 % good", "worst", "limit",
                "unit", "worst seed");
  for (const std::string& sensor : order_) {
    const Spread& spread = spreads_.at(sensor);
    out += format("%-16s %8zu %11.5g %11.5g %11.5g  %-12s %llu\n", sensor.c_str(), spread.values, spread.percentile(),
                  spread.worst, spread.limit, spread.unit.c_str(), static_cast<unsigned long long>(spread.worst_seed));
  }
  out += "\n";
  for (const Miss& miss : misses_) out += "MISS " + miss.phone + "\n     " + miss.what + "\n";
  out += std::to_string(misses_.size()) + (misses_.size() == 1 ? " miss\n" : " misses\n");
  return out;
}

Json::Value Tally::json() const {
  Json::Value out;
  for (const auto& [population, count] : counts_) {
    Json::Value& entry = out["populations"][name_of(population)];
    entry["phones"] = count.phones;
    entry["passed"] = count.passed;
    entry["failed"] = count.phones - count.passed;
    entry["missed"] = count.misses;
  }
  for (const std::string& sensor : order_) {
    const Spread& spread = spreads_.at(sensor);
    Json::Value& entry = out["residuals"][sensor];
    entry["phones"] = Json::UInt64{spread.values};
    entry["percentile_99_9_good"] = spread.percentile();
    entry["worst"] = std::isfinite(spread.worst) ? Json::Value(spread.worst) : Json::Value();
    entry["worst_seed"] = Json::UInt64{spread.worst_seed};
    entry["limit"] = spread.limit;
    entry["unit"] = spread.unit;
  }
  out["misses"] = Json::Value(Json::arrayValue);
  for (const Miss& miss : misses_) {
    Json::Value& entry = out["misses"].append(Json::Value());
    entry["phone"] = miss.phone;
    entry["what"] = miss.what;
  }
  return out;
}

}  // namespace acceptance
