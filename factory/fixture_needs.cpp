#include "fixture_needs.h"

#include <algorithm>

#include "kinds.h"

namespace factory {
namespace {

constexpr int kAnyParam = -1000;

enum class Of { accelerometer, light, panel, proximity, tof };

struct Need {
  Of of;
  int param;
  const char* key;
  const char* value;
};

constexpr Need kNeeds[] = {
    {Of::accelerometer, kAnyParam, "up", "flat"},
    {Of::light, kAnyParam, "lux", "200"},  // the factory lamp
    {Of::light, kAnyParam, "dark-box", "off"},
    {Of::panel, kAnyParam, "dark-box", "on"},  // no light but the panel's own
    {Of::proximity, 0, "target", "none"},
    {Of::proximity, 2, "target", "3"},
    {Of::proximity, 19, "target", "none"},
    {Of::tof, 6, "target", "10"},
    {Of::tof, 7, "target", "none"},
};

bool is(Of of, int type, int param) {
  const Kind* kind = find_kind(type, param);
  const bool light = kind != nullptr && (kind->result == Result::lux_scale || kind->result == Result::channel_scale);
  switch (of) {
    case Of::accelerometer:
      return kind != nullptr && std::string(kind->unit) == "m/s^2";
    case Of::light:
      return light;
    case Of::panel:
      return is_panel_run(param);
    case Of::proximity:
      return type == sensor_type::proximity;
    case Of::tof:
      return type == sensor_type::tof || type == sensor_type::proximity;
  }
  return false;
}

bool set_by_operator(const Options& options, const std::string& key) {
  return std::any_of(options.world.begin(), options.world.end(),
                     [&](const std::string& setting) { return setting.rfind(key + "=", 0) == 0; });
}

}  // namespace

std::vector<std::string> set_up_fixture(Session& session, int type, int param) {
  std::vector<std::string> set;
  for (const Need& need : kNeeds) {
    if (!is(need.of, type, param) || (need.param != kAnyParam && need.param != param)) continue;
    if (set_by_operator(session.options(), need.key)) continue;
    const std::string before = session.fixture().world()[need.key];
    if (before == need.value) continue;
    const std::string problem = session.fixture().set_world(need.key, need.value);
    set.push_back(problem.empty() ? std::string(need.key) + "=" + need.value : problem);
  }
  return set;
}

}  // namespace factory
