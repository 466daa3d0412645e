#include "quality/comparison.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

#include "cli/terminal.h"
#include "files/app_error.h"
#include "files/json_text.h"
#include "files/numbers.h"
#include "quality/distributions.h"
#include "quality/stats_view.h"

namespace factory::store {
namespace {

void require_free(bool taken, const std::string& side) {
  if (taken) throw AppError(kUsage, "--compare " + side + ": it is asked for of all runs, too; leave one out");
}

// The filter of one side.
Filter narrowed(Filter filter, const std::string& side) {
  if (side.find("..") != std::string::npos) {
    require_free(filter.since_ms || filter.until_ms, side);
    std::tie(filter.since_ms, filter.until_ms) = parse_period("--compare", side);
    return filter;
  }
  std::string keys;
  for (const auto& [name, condition, text, option] : kFilterTexts) {
    if (option == nullptr || text == &Filter::plan) continue;  // a measurement is one of its plan
    const std::string key = option + 2;
    keys += (keys.empty() ? "" : ", ") + key;
    if (!side.starts_with(key + "=") || side.size() == key.size() + 1) continue;
    require_free(!(filter.*text).empty(), side);
    filter.*text = side.substr(side.find('=') + 1);
    return filter;
  }
  throw AppError(kUsage,
                 "--compare " + side + ": give KEY=VALUE with " + keys + ", or FROM..UNTIL, two times or days in UTC");
}

Json::Value side_json(const Moments& m) {
  return json_object(
      {{"count", m.count}, {"mean", m.count == 0 ? Json::Value() : json_number(m.mean)}, {"sigma", m.sigma()}});
}

double variance(const Moments& m) { return std::max(0.0, m.squares) / static_cast<double>(m.count - 1); }

std::string with_interval(const std::optional<Index>& index) {
  return index ? short_number(index->value) + " (" + short_number(index->low) + " to " + short_number(index->high) + ")"
               : "-";
}

}  // namespace

void contrast(Contrast* c) {
  const auto& [a, b] = c->sides;
  if (a.count < 2 || b.count < 2) return;
  const auto na = static_cast<double>(a.count);
  const auto nb = static_cast<double>(b.count);
  const double ea = variance(a) / na;
  const double eb = variance(b) / nb;
  const double distance = b.mean - a.mean;
  if (ea + eb <= 0) return;
  const double freedom = (ea + eb) * (ea + eb) / (ea * ea / (na - 1) + eb * eb / (nb - 1));
  const double reach = students_t_end(freedom) * std::sqrt(ea + eb);
  c->difference = Index{distance, distance - reach, distance + reach};
  const double pooled = std::sqrt((variance(a) * (na - 1) + variance(b) * (nb - 1)) / (na + nb - 2));
  c->size = std::fabs(distance) / pooled;
  if (ea <= 0 || eb <= 0) return;
  const double ratio = std::sqrt(variance(b) / variance(a));
  c->ratio = Index{ratio, ratio / std::sqrt(fisher_tails(nb - 1, na - 1).high),
                   ratio * std::sqrt(fisher_tails(na - 1, nb - 1).high)};
}

Comparison compare(Database* database, const Filter& filter, const std::vector<std::string>& sides,
                   const Choices& choices) {
  Comparison out;
  // Limits may be drawn elsewhere on the two sides.
  std::map<decltype(Characteristic().key()), std::array<Moments, 2>> found;
  std::array<Filter, 2> filters;
  if (sides[0] == sides[1]) throw AppError(kUsage, "--compare " + sides[0] + ": is the same twice");
  for (size_t i = 0; i < 2; ++i) {
    filters[i] = narrowed(filter, sides[i]);
    try {
      require_known(database, &filters[i]);
    } catch (const AppError& error) {  // "--station NAME: ...": here it was given otherwise
      const std::string text = error.what();
      throw AppError(error.code, "--compare " + sides[i] + text.substr(text.find(": ")));
    }
  }
  for (size_t i = 0; i < 2; ++i) {
    out.names[i] = sides[i];
    for (const Characteristic& c : characteristics(database, filters[i], choices)) {
      if (!c.is_duration()) found[c.key()][i].add(c.all);
    }
  }
  for (size_t i = 0; i < 2; ++i) {
    const bool any =
        std::any_of(found.begin(), found.end(), [i](const auto& entry) { return entry.second[i].count > 0; });
    if (!any) throw AppError(kUsage, "--compare " + sides[i] + ": no run of it has a value");
  }
  for (const auto& [names, moments] : found) {
    const auto& [plan, step, name, axis, unit, nth] = names;
    out.contrasts.push_back({plan, step, name, axis, unit, moments, {}, {}, 0});
    contrast(&out.contrasts.back());
  }
  std::stable_sort(out.contrasts.begin(), out.contrasts.end(), [](const Contrast& a, const Contrast& b) {
    return std::tuple(!a.difference, -a.size) < std::tuple(!b.difference, -b.size);
  });
  return out;
}

Json::Value to_json(const Comparison& comparison) {
  Json::Value out;
  out["sides"] = json_list(comparison.names);
  out["measurements"] = json_list(comparison.contrasts, [](const Contrast& c) {
    return json_object({{"plan", c.plan},
                        {"step", c.step},
                        {"name", c.name},
                        {"axis", c.axis},
                        {"unit", c.unit},
                        {"sides", json_list(c.sides, side_json)},
                        {"difference", to_json(c.difference)},
                        {"ratio_of_sigmas", to_json(c.ratio)},
                        {"size", c.difference ? json_number(c.size) : Json::Value()},
                        {"differs", c.differs()}});
  });
  return valid(out);
}

std::string to_text(const Comparison& comparison, const std::string& question) {
  const auto& [a, b] = comparison.names;
  std::string out = question + ", " + shown(b) + " against " + shown(a) + "\n\n";
  std::vector<std::vector<std::string>> rows = {
      {"measurement", "values", "mean", "difference", "ratio of sigmas", "in sigmas", ""}};
  for (const Contrast& c : comparison.contrasts) {
    const auto& [first, second] = c.sides;
    const auto mean = [](const Moments& m) { return m.count == 0 ? std::string("-") : short_number(m.mean); };
    rows.push_back({shown(c.step + ": " + c.name + (c.axis.empty() ? "" : " " + c.axis)),
                    std::to_string(first.count) + ", " + std::to_string(second.count),
                    mean(first) + ", " + mean(second) + in_unit(c.unit), with_interval(c.difference),
                    with_interval(c.ratio), c.difference ? fixed(c.size, 2) : "-", c.differs() ? "differs" : ""});
  }
  if (rows.size() == 1) return out + "No measurement has a value.\n";
  return out + table(rows) +
         "In brackets: intervals of 95 %, of normal values; of 20 measurements that are alike one differs by chance.\n";
}

}  // namespace factory::store
