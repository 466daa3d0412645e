#include "phone/hub/panel_curve.h"

#include <algorithm>
#include <cmath>

namespace phone {
namespace {

// Panels lie between 1 and 2.4; whole-lux levels of a faint panel bend that.
constexpr double kMinGamma = 0.3;
constexpr double kMaxGamma = 4;
constexpr double kUsualGammas[] = {1, 2.2};

bool is_positive(const PanelPoint& point) {
  return std::isfinite(point.brightness) && std::isfinite(point.value) && point.brightness > 0 && point.value > 0;
}

}  // namespace

double PanelCurve::at(double brightness) const { return k * std::pow(brightness / full, gamma); }

PanelCurve panel_curve(const PanelPoint& high, const PanelPoint& low, double rounding) {
  if (!is_positive(high)) return {};
  PanelCurve curve{.k = high.value, .gamma = 1, .full = high.brightness};
  if (!is_positive(low) || low.brightness >= high.brightness) return curve;
  for (const double usual : kUsualGammas) {
    // The values at full brightness that fit both points.
    const double dimming = std::pow(low.brightness / high.brightness, usual);
    const double least = std::max(high.value - rounding, (low.value - rounding) / dimming);
    const double most = std::min(high.value + rounding, (low.value + rounding) / dimming);
    if (least <= most) return {.k = (least + most) / 2, .gamma = usual, .full = high.brightness};
  }
  const double gamma = std::log(high.value / low.value) / std::log(high.brightness / low.brightness);
  if (gamma >= kMinGamma && gamma <= kMaxGamma) curve.gamma = gamma;
  return curve;
}

}  // namespace phone
