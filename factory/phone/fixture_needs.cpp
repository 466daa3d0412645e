#include "phone/fixture_needs.h"

#include <algorithm>
#include <map>

#include "sensors/kinds.h"

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

FixtureSetUp set_up_fixture(Session& session, int type, int param) {
  std::map<std::string, std::string> before = session.fixture().world();
  Fixture::Settings settings;
  for (const Need& need : kNeeds) {
    if (!is(need.of, type, param) || (need.param != kAnyParam && need.param != param)) continue;
    if (set_by_operator(session.options(), need.key) || before[need.key] == need.value) continue;
    settings.emplace_back(need.key, need.value);
  }
  FixtureSetUp out;
  if (settings.empty()) return out;
  out.problems = session.fixture().arrange(settings).problems;
  std::map<std::string, std::string> after = session.fixture().world();
  for (const auto& [key, value] : settings) {
    if (after[key] != before[key]) out.set.push_back(key + "=" + value);
  }
  return out;
}

}  // namespace factory
