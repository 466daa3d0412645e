// What was under way when: a bar for each sensor, and what the run's seconds went to.
#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "files/numbers.h"
#include "report/html.h"
#include "report/words.h"

namespace factory {
namespace {

// In the order in which a second that several have counts for one.
enum Kind : size_t { settling, samples, fresh, fixture, hub, kKinds };
constexpr struct {
  const char* css_class;
  const char* words;
} kLook[kKinds] = {{"t-settling", "settling"},
                   {"t-samples", "samples of the library's runs"},
                   {"t-fresh", "fresh samples"},
                   {"t-fixture", "fixture and operator"},
                   {"t-hub", "hub and files"}};

using Bar = UnderWay;

// A run of the library's is its settling and its samples, by the share of its events.
std::vector<Bar> bars_of(const record::Span& span, const record::Attempt& attempt) {
  if (!(span.from_s >= 0) || !(span.to_s >= span.from_s) || std::isinf(span.to_s)) return {};
  if (span.what == "fixture") return {{fixture, span.from_s, span.to_s}};
  if (span.what == "verify") return {{fresh, span.from_s, span.to_s}};
  if (span.what != "sample") return {{hub, span.from_s, span.to_s}};
  if (!has_samples(attempt)) return {{samples, span.from_s, span.to_s}};
  const std::vector<record::Sample>& taken = attempt.window->samples;
  const auto settles = [](const record::Sample& sample) { return sample.state == record::SampleState::settling; };
  const auto settled = std::find_if_not(taken.begin(), taken.end(), settles) - taken.begin();
  const double share = static_cast<double>(settled) / static_cast<double>(taken.size());
  const double between = span.from_s + share * (span.to_s - span.from_s);
  return {{settling, span.from_s, between}, {samples, between, span.to_s}};
}

struct Row {
  std::string name;
  Markup bars;
};

// A sensor in words, where a step is its own: a tag may be a number.
std::string name_of(const record::Run& run, const record::Span& span) {
  if (span.sensor.empty()) return span.what == "fixture" ? "fixture" : "hub";
  const auto step = std::find_if(run.steps.begin(), run.steps.end(),
                                 [&](const record::Step& s) { return s.tag == span.sensor && !s.sensor.empty(); });
  return step == run.steps.end() ? span.sensor : step->sensor;
}

Row& row_of(std::vector<Row>& rows, const std::string& name) {
  const auto found = std::find_if(rows.begin(), rows.end(), [&](const Row& row) { return row.name == name; });
  return found != rows.end() ? *found : rows.emplace_back(Row{name, {}});
}

Markup drawn(const Bar& bar, double whole_s, const std::string& title) {
  constexpr double kWidth = 1000;
  constexpr double kSeen = 1;
  const double left = bar.from_s / whole_s * kWidth;
  const double width = std::max(kSeen, (bar.to_s - bar.from_s) / whole_s * kWidth);
  return element(
      "rect",
      {{"class", kLook[bar.kind].css_class}, {"x", fixed(left, 1)}, {"width", fixed(width, 1)}, {"height", "10"}},
      element("title", title + ": " + kLook[bar.kind].words + ", " + duration(bar.to_s - bar.from_s)));
}

Markup legend(const std::array<double, kKinds>& seconds, double run_s) {
  Markup items;
  double rest_s = run_s;
  for (size_t kind = 0; kind < kKinds; ++kind) {
    if (!(seconds[kind] > 0)) continue;
    const std::string sign = std::string("<rect class='") + kLook[kind].css_class + "' y='3' width='16' height='10'/>";
    items += legend_item("", sign, kLook[kind].words + (" " + duration(seconds[kind])));
    rest_s -= seconds[kind];
  }
  constexpr double kWorthTelling = 0.01;
  if (rest_s >= kWorthTelling) items += element("li", "nothing of these " + duration(rest_s));
  return element("ul", {{"class", "legend"}}, items);
}

}  // namespace

Markup time_line(const record::Run& run) {
  std::vector<Bar> bars;
  double whole_s = run.seconds;
  const auto each_bar = [&](const auto& use) {
    for (const record::Step& step : run.steps) {
      for (const record::Attempt& attempt : step.attempts) {
        for (const record::Span& span : attempt.spans) {
          for (const Bar& bar : bars_of(span, attempt)) use(step, span, bar);
        }
      }
    }
  };
  each_bar([&](const record::Step&, const record::Span&, const Bar& bar) {
    bars.push_back(bar);
    whole_s = std::max(whole_s, bar.to_s);
  });
  if (bars.empty() || !(whole_s > 0)) return {};
  std::vector<Row> rows;
  each_bar([&](const record::Step& step, const record::Span& span, const Bar& bar) {
    row_of(rows, name_of(run, span)).bars += drawn(bar, whole_s, step_name(step));
  });
  HtmlTable table("times", {"Sensor", "0 to " + duration(whole_s)});
  for (const Row& row : rows) {
    table.add({row.name, element("svg", {{"viewBox", "0 0 1000 10"}, {"preserveAspectRatio", "none"}, {"role", "img"}},
                                 row.bars)});
  }
  std::array<double, kKinds> seconds{};
  add_seconds(bars, seconds);
  const double library_s = seconds[settling] + seconds[samples];
  const std::string bound = library_s > 0 ? "The library's own runs alone, one after the other, take " +
                                                duration(library_s) + " of these " + duration(whole_s) + "."
                                          : "No run of the library's own was among the steps.";
  return legend(seconds, whole_s) + element("p", bound) + table.markup();
}

}  // namespace factory
