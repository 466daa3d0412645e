// Small drawings of statistics, for tables.
#pragma once

#include <string>

#include "files/numbers.h"
#include "report/html.h"

namespace factory {

// A small drawing, of paths in its own units.
class Drawing {
 public:
  static constexpr double kWidth = 180, kHeight = 48;

  Drawing(double left, double right, double bottom, double top)
      : left_(left), right_(right), bottom_(bottom), top_(top) {}

  std::string at(double x, double y) const {
    return fixed((x - left_) / (right_ - left_) * kWidth, 1) + " " +
           fixed(kHeight - (y - bottom_) / (top_ - bottom_) * kHeight, 1);
  }
  void path(const char* css_class, const std::string& d) {
    paths_ += element("path", {{"class", css_class}, {"d", d}}, {});
  }
  void upright(const char* css_class, double x) { path(css_class, "M" + at(x, bottom_) + "L" + at(x, top_)); }
  void level(const char* css_class, double y) { path(css_class, "M" + at(left_, y) + "L" + at(right_, y)); }
  Markup markup(const std::string& label) const {
    return element("svg", {{"class", "small"}, {"viewBox", "-3 -3 186 54"}, {"role", "img"}, {"aria-label", label}},
                   paths_);
  }

 private:
  double left_, right_, bottom_, top_;
  Markup paths_;
};

inline constexpr const char* kDrawingLooks =
    "svg.small { width: 112px; height: 32px; display: block; }\n"
    "svg.small path { fill: none; stroke-width: 1.5; stroke: var(--accepted); }\n"
    "svg.small .bars { fill: var(--line); stroke: var(--settling); stroke-width: .5; }\n"
    "svg.small .limit { stroke: var(--limit); stroke-width: 2; }\n"
    "svg.small .then { stroke-width: 1; stroke-dasharray: 2 2; }\n"
    "svg.small .bound { stroke: var(--restart); stroke-width: 1; stroke-dasharray: 4 3; }\n"
    "svg.small .alarm { stroke: var(--failed); stroke-width: 6; stroke-linecap: round; }\n"
    "@media print { .scrolls table { font-size: 6.5pt; } .scrolls td, .scrolls th { font-size: 6.5pt; padding: 2pt 3pt "
    "2pt 0; }\n"
    ".scrolls td small { font-size: 5.5pt; } .scrolls svg.small { width: 84px; height: 24px; } }\n";

}  // namespace factory
