// The page of `sensorcal grr`: what the floor is shown of its stations.
#include <algorithm>

#include "files/words.h"
#include "quality/drawing.h"
#include "quality/grr_view.h"
#include "quality/stats_view.h"

namespace factory::grr {
namespace {

using store::short_number;

const char* css_class(Judgement judgement) {
  constexpr const char* kClasses[] = {"passed", "marginal", "failed", "skipped"};
  return kClasses[static_cast<int>(judgement)];
}

std::string categories_of(const Analysis& a) { return a.categories ? std::to_string(*a.categories) : "-"; }

// Every reading by the level of one factor, and the levels' means. A limit that is far off would leave no room.
Markup chart_of(const Study& study, size_t factor) {
  const auto ends = std::minmax_element(study.values.begin(), study.values.end());
  const auto least = ends.first;
  const auto most = ends.second;
  if (*least == *most) return {};
  const size_t levels = study.factors[factor].levels.size();
  size_t step = static_cast<size_t>(study.trials);
  for (size_t f = factor + 1; f < study.factors.size(); ++f) step *= study.factors[f].levels.size();
  const double span = *most - *least;
  double bottom = *least;
  double top = *most;
  const auto is_near = [&](const std::optional<double>& limit) {
    return limit && *limit > *least - span && *limit < *most + span;
  };
  if (is_near(study.subject.low)) bottom = std::min(bottom, *study.subject.low);
  if (is_near(study.subject.high)) top = std::max(top, *study.subject.high);
  Drawing drawing(-0.5, static_cast<double>(levels) - 0.5, bottom, top);
  std::string readings;
  std::vector<double> means(levels);
  for (size_t i = 0; i < study.values.size(); ++i) {
    const size_t level = i / step % levels;
    means[level] += study.values[i] * static_cast<double>(levels) / static_cast<double>(study.values.size());
    readings += "M" + drawing.at(static_cast<double>(level), study.values[i]) + "h0";
  }
  std::string line;
  for (size_t level = 0; level < levels; ++level)
    line += (level == 0 ? "M" : "L") + drawing.at(static_cast<double>(level), means[level]);
  if (is_near(study.subject.low)) drawing.level("limit", *study.subject.low);
  if (is_near(study.subject.high)) drawing.level("limit", *study.subject.high);
  drawing.path("curve", line);
  drawing.path("dots", readings);
  const std::vector<std::string>& names = study.factors[factor].levels;
  const std::string across = levels <= 10 ? joined(names, ", ") : names.front() + " to " + names.back();
  const std::string up = short_number(bottom) + " to " + short_number(top) + " " + study.subject.unit;
  return element("figure", element("figcaption", "By " + study.factors[factor].name) +
                               drawing.markup("readings by " + study.factors[factor].name) +
                               element("small", across + " \u00B7 " + up));
}

Markup in_full(const Study& study, const Analysis& a) {
  HtmlTable table("components", {"Component", "Variance", "% contribution", "Sigma", "95 %", "% study", "% tolerance"});
  for (const Component* c : a.components()) {
    table.add({c->source, short_number(c->variance), percent_text(c->contribution), short_number(c->sigma),
               interval_text(*c), percent_text(c->study), percent_text(c->tolerance)});
  }
  Markup charts;
  for (size_t f = study.factors.size(); f-- > 0;) charts += chart_of(study, f);
  Markup content = element("p", {{"class", "about"}},
                           study.size() + " \u00B7 mean " + short_number(a.mean) + " " + study.subject.unit);
  content += element(
      "p", verdict_words(a) +
               (a.judgement == Judgement::none ? "" : "; distinct categories: " + categories_of(a) + ", 5 are wanted"));
  content += element("div", {{"class", "scrolls"}}, table.markup()) + element("div", {{"class", "charts"}}, charts);
  return element("details", element("summary", study.subject.name) + content);
}

constexpr const char* kLooks =
    ".studies td { overflow-wrap: normal; }\n.studies td small { display: block; margin: 0; white-space: nowrap; }\n"
    ".charts { display: flex; flex-wrap: wrap; gap: 16px; }\n.charts figure { margin: 0; }\n"
    ".charts svg.small { width: 360px; height: 96px; }\n.charts small { display: block; }\n"
    "svg.small .dots { stroke: var(--settling); stroke-width: 3; stroke-linecap: round; }\n"
    "strong.failed { color: var(--failed); }\nstrong.passed { color: var(--passed); }\n"
    "strong.marginal { color: var(--marginal); }\n";

}  // namespace

void write_page(const Findings& findings, const std::string& title, const std::string& file) {
  std::vector<const std::pair<Study, Analysis>*> order;
  for (const auto& found : findings.studies) order.push_back(&found);
  const auto share = [](const Analysis& a) { return (a.by_tolerance ? a.grr.tolerance : a.grr.study).value_or(0); };
  std::stable_sort(order.begin(), order.end(),
                   [&](const auto* x, const auto* y) { return share(x->second) > share(y->second); });
  HtmlTable table("studies", {"Measurement", "Verdict", "% tolerance", "% study", "Categories", "Repeatability",
                              "Reproducibility", "Phone to phone"});
  Markup details;
  const auto sigma = [](const Component& c) {
    return Markup(short_number(c.sigma)) + element("small", interval_text(c));
  };
  for (const auto* found : order) {
    const auto& [study, a] = *found;
    table.add({study.subject.name, element("strong", {{"class", css_class(a.judgement)}}, judgement_name(a.judgement)),
               percent_text(a.grr.tolerance), percent_text(a.grr.study), categories_of(a), sigma(a.repeatability),
               sigma(a.reproducibility), sigma(a.phones)});
    details += in_full(study, a);
  }
  const auto card = [](const char* name, const Markup& content) {
    return element("section", {{"class", "card"}}, element("h2", name) + content);
  };
  Markup body = card("Measurements, worst first",
                     order.empty() ? element("p", "No measurement is a study.")
                                   : element("div", {{"class", "scrolls"}}, table.markup()) +
                                         element("p",
                                                 "GRR below 10 % of the tolerance (without limits: of the study "
                                                 "variation) is accepted, above 30 % rejected; five distinct "
                                                 "categories are wanted (AIAG, Measurement Systems Analysis). "
                                                 "Below each sigma the interval in which it lies by 95 %."));
  if (const auto remarks = findings.remarks(); !remarks.empty()) body += card("Left out", text_list(remarks, "about"));
  if (!details.empty()) body += card("Each measurement", details);
  factory::write_page(file, title, std::string(kLooks) + kDrawingLooks,
                      element("header", {{"class", "banner skipped"}}, element("div", element("h1", title))), body,
                      {"charts", Json::Value(Json::arrayValue), ""});
}

}  // namespace factory::grr
