#include "quality/anova.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <map>

#include "files/words.h"
#include "quality/distributions.h"

namespace factory::grr {
namespace {

// Some of the factors, a bit each: one is the factor itself, several are their interaction.
using Effect = unsigned;
constexpr Effect kPhones = 1;

bool contains(Effect all, Effect some) { return (all & some) == some; }
double sign(Effect difference) { return std::popcount(difference) % 2 == 0 ? 1 : -1; }
double square(double value) { return value * value; }

using Rows = std::vector<AnovaRow>;

// A sum of mean squares, each times a number: by their rows.
using Terms = std::map<size_t, double>;

double value_of(const Terms& terms, const Rows& rows) {
  double out = 0;
  for (const auto& [row, times] : terms) out += times * rows[row].mean_square;
  return out;
}

void add(const Terms& more, Terms* terms) {
  for (const auto& [row, times] : more) (*terms)[row] += times;
}

class Table {
 public:
  Table(const Study& study, double alpha) : study_(study), all_((1U << study.factors.size()) - 1) {
    for (Effect effect = 1; effect <= all_; ++effect) effects_.push_back(effect);
    std::stable_sort(effects_.begin(), effects_.end(),
                     [](Effect a, Effect b) { return std::popcount(a) < std::popcount(b); });
    fill();
    test(&full_);
    pool(alpha);
  }

  const Rows& full() const { return full_; }
  const Rows& pooled() const { return pooled_; }
  // What the components are estimated from.
  const Rows& rows() const { return pooled_.empty() ? full_ : pooled_; }
  const std::vector<Effect>& effects() const { return effects_; }

  // What estimates the effect's variance: none of an effect that is pooled.
  Terms variance_of(Effect effect) const {
    Terms out;
    if (is_pooled_[effect]) return out;
    out = terms_without(effect, rows());
    for (auto& [row, times] : out) times /= -readings_each(effect);
    out[row_of(effect, rows())] += 1 / readings_each(effect);
    return out;
  }
  static size_t error(const Rows& rows) { return rows.size() - 2; }

 private:
  double readings_each(Effect effect) const {
    double out = study_.trials;
    for (size_t f = 0; f < study_.factors.size(); ++f) {
      if (!contains(effect, 1U << f)) out *= static_cast<double>(study_.factors[f].levels.size());
    }
    return out;
  }
  int degrees_of(Effect effect) const {
    int out = 1;
    for (size_t f = 0; f < study_.factors.size(); ++f) {
      if (contains(effect, 1U << f)) out *= static_cast<int>(study_.factors[f].levels.size()) - 1;
    }
    return out;
  }
  std::string name_of(Effect effect) const {
    std::vector<std::string> names;
    for (size_t f = 0; f < study_.factors.size(); ++f) {
      if (contains(effect, 1U << f)) names.push_back(study_.factors[f].name);
    }
    return joined(names, " x ");
  }

  // Where among the means of the effect's levels the reading belongs to.
  size_t place_of(size_t reading, Effect effect) const {
    size_t rest = reading / static_cast<size_t>(study_.trials);
    size_t out = 0;
    size_t step = 1;
    for (size_t f = study_.factors.size(); f-- > 0;) {
      const size_t levels = study_.factors[f].levels.size();
      if (contains(effect, 1U << f)) {
        out += rest % levels * step;
        step *= levels;
      }
      rest /= levels;
    }
    return out;
  }

  // Of distances from the study's first value: values that are all alike have none, whatever their size.
  void fill() {
    const auto count = study_.values.size();
    std::vector<std::vector<double>> means(all_ + 1, std::vector<double>(count));
    for (size_t i = 0; i < count; ++i) {
      for (Effect effect = 0; effect <= all_; ++effect)
        means[effect][place_of(i, effect)] += (study_.values[i] - study_.values.front()) / readings_each(effect);
    }
    for (const Effect effect : effects_) full_.push_back({name_of(effect), degrees_of(effect)});
    const int cells = static_cast<int>(count) / study_.trials;
    full_.push_back({"repeatability", cells * (study_.trials - 1)});
    full_.push_back({"total", static_cast<int>(count) - 1});
    for (size_t i = 0; i < count; ++i) {
      const double distance = study_.values[i] - study_.values.front();
      for (size_t e = 0; e < effects_.size(); ++e) {
        double own = 0;
        for (Effect part = 0; part <= effects_[e]; ++part) {
          if (contains(effects_[e], part)) own += sign(effects_[e] ^ part) * means[part][place_of(i, part)];
        }
        full_[e].squares += square(own);
      }
      full_[effects_.size()].squares += square(distance - means[all_][place_of(i, all_)]);
      full_.back().squares += square(distance - means[0][0]);
    }
    drop_rounding();
    for (AnovaRow& row : full_) row.mean_square = row.degrees > 0 ? row.squares / row.degrees : 0;
  }

  // What rounding alone leaves is no scatter.
  void drop_rounding() {
    double largest = 0;
    for (const double value : study_.values) largest = std::max(largest, std::fabs(value));
    const double rounding = 8 * std::numeric_limits<double>::epsilon() * largest;
    for (AnovaRow& row : full_) {
      if (row.squares <= static_cast<double>(study_.values.size()) * square(rounding)) row.squares = 0;
    }
  }

  size_t row_of(Effect effect, const Rows& rows) const {
    if (is_pooled_[effect]) return error(rows);
    size_t place = 0;
    for (const Effect other : effects_) {
      if (other == effect) break;
      place += is_pooled_[other] ? 0 : 1;
    }
    return place;
  }

  // What the effect's mean square has in expectation besides the effect's own variance.
  Terms terms_without(Effect effect, const Rows& rows) const {
    Terms out;
    if (effect == all_) out[error(rows)] = 1;
    for (const Effect larger : effects_) {
      if (larger != effect && contains(larger, effect)) out[row_of(larger, rows)] -= sign(larger ^ effect);
    }
    return out;
  }

  void test(Rows* rows) const {
    for (const Effect effect : effects_) {
      if (is_pooled_[effect]) continue;
      AnovaRow& row = (*rows)[row_of(effect, *rows)];
      row.f.reset();
      row.p.reset();
      const Terms against = terms_without(effect, *rows);
      const double wanted = value_of(against, *rows);
      if (wanted <= 0) {
        if (row.mean_square > 0 && against.size() == 1 && (*rows)[against.begin()->first].degrees > 0) row.p = 0;
        continue;
      }
      double freedom = 0;
      for (const auto& [place, times] : against) {
        const AnovaRow& other = (*rows)[place];
        if (other.degrees > 0) freedom += square(times * other.mean_square) / other.degrees;
      }
      row.f = row.mean_square / wanted;
      row.p = fisher_above(row.degrees, square(wanted) / freedom, *row.f);
    }
  }

  // From the interaction of most factors down.
  void pool(double alpha) {
    for (size_t size = study_.factors.size(); size > 1; --size) {
      std::vector<Effect> taken;
      for (const Effect effect : effects_) {
        if (static_cast<size_t>(std::popcount(effect)) != size) continue;
        const bool is_free = std::all_of(effects_.begin(), effects_.end(), [&](Effect larger) {
          return larger == effect || !contains(larger, effect) || is_pooled_[larger];
        });
        const std::optional<double> p = rows()[row_of(effect, rows())].p;
        if (is_free && (!p || *p > alpha)) taken.push_back(effect);
      }
      if (taken.empty()) return;
      for (const Effect effect : taken) is_pooled_[effect] = true;
      repool();
    }
  }

  void repool() {
    AnovaRow error = full_[effects_.size()];
    pooled_.clear();
    for (size_t e = 0; e < effects_.size(); ++e) {
      if (is_pooled_[effects_[e]]) {
        error.degrees += full_[e].degrees;
        error.squares += full_[e].squares;
      } else {
        pooled_.push_back(full_[e]);
      }
    }
    error.mean_square = error.squares / error.degrees;
    pooled_.push_back(error);
    pooled_.push_back(full_.back());
    test(&pooled_);
  }

  const Study& study_;
  const Effect all_;
  std::vector<Effect> effects_;
  std::array<bool, 8> is_pooled_{};  // by the effect
  Rows full_, pooled_;
};

// Of one sum of mean squares: the modified large-sample interval, of which the lower end takes the greater quantiles of
// what is added and the smaller ones of what is taken away, and the upper end the others.
double reach(const Terms& terms, const Rows& rows, bool up) {
  const auto alone = [&](const AnovaRow& row, bool added) {
    const double n = row.degrees;
    const Tails spread = chi_squared_tails(n);
    return added != up ? 1 - n / spread.high : n / spread.low - 1;
  };
  double variance = 0;
  for (const auto& [place, times] : terms) {
    const AnovaRow& row = rows[place];
    if (times == 0 || row.degrees <= 0) continue;
    const double own = alone(row, times > 0);
    variance += square(own * times * row.mean_square);
    if (times < 0) continue;
    for (const auto& [other_place, less] : terms) {
      const AnovaRow& other = rows[other_place];
      if (less >= 0 || other.degrees <= 0) continue;
      const Tails ratio = fisher_tails(row.degrees, other.degrees);
      const double f = up ? ratio.low : ratio.high;
      const double both = (square(f - 1) - square(own * f) - square(alone(other, false))) / f;
      variance -= both * times * less * row.mean_square * other.mean_square;
    }
  }
  return std::sqrt(std::max(0.0, variance));
}

void set(Component* component, const Terms& terms, const Rows& rows, double variance) {
  component->variance = variance;
  component->low = std::sqrt(std::clamp(value_of(terms, rows) - reach(terms, rows, false), 0.0, variance));
  component->high = std::sqrt(std::max(value_of(terms, rows) + reach(terms, rows, true), variance));
}

void find_components(const Table& table, Analysis* a) {
  const Rows& rows = table.rows();
  const auto estimate = [&](Component* component, const Terms& terms) {
    const double variance = value_of(terms, rows);
    if (variance < 0) a->negative.push_back(component->source);
    set(component, terms, rows, std::max(0.0, variance));
  };
  const Terms error = {{Table::error(rows), 1}};
  estimate(&a->repeatability, error);
  Terms all;
  double variance = 0;
  for (const Effect effect : table.effects()) {
    if (effect == kPhones) continue;
    Component part{table.full()[a->parts.size() + 1].source};
    const Terms terms = table.variance_of(effect);
    estimate(&part, terms);
    add(terms, &all);
    variance += part.variance;
    a->parts.push_back(part);
  }
  set(&a->reproducibility, all, rows, variance);
  add(error, &all);
  set(&a->grr, all, rows, variance += a->repeatability.variance);
  const Terms phones = table.variance_of(kPhones);
  estimate(&a->phones, phones);
  add(phones, &all);
  set(&a->total, all, rows, variance + a->phones.variance);
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
  std::vector<Component*> all = {&a->grr, &a->repeatability, &a->reproducibility, &a->phones, &a->total};
  for (Component& part : a->parts) all.push_back(&part);
  for (Component* c : all) {
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

std::vector<const Component*> Analysis::components() const {
  std::vector<const Component*> out = {&grr, &repeatability, &reproducibility};
  for (const Component& part : parts) out.push_back(&part);
  out.push_back(&phones);
  out.push_back(&total);
  return out;
}

Analysis analyse(const Study& study, double alpha) {
  Analysis out;
  const double count = static_cast<double>(study.values.size());
  for (const double value : study.values) out.mean += value / count;
  const Table table(study, alpha);
  out.full = table.full();
  out.pooled = table.pooled();
  find_components(table, &out);
  fill_shares(study, &out);
  if (study.trials > 1) judge(&out);
  return out;
}

}  // namespace factory::grr
