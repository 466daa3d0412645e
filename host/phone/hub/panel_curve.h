// The panel's own light at a brightness, from the two levels that calibrations store.
#pragma once

namespace phone {

struct PanelPoint {
  double brightness = 0;
  double value = 0;
};

// value = k x (brightness / full)^gamma
struct PanelCurve {
  double k = 0;
  double gamma = 1;
  double full = 1;

  double at(double brightness) const;
};

// The curve through both points, whose values were rounded by up to `rounding` either way. Panels respond linearly or
// with gamma 2.2: where one of these explains both points within their rounding it is taken, else the curve goes
// through the points as they are. Points that no panel gives: see docs/formats/hub-registry.md.
PanelCurve panel_curve(const PanelPoint& high, const PanelPoint& low, double rounding);

}  // namespace phone
