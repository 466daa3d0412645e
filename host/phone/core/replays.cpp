#include "phone/core/replays.h"

#include <SensorType.h>

#include <utility>

#include "phone/core/phone.h"
#include "phone/traces/recording_player.h"

namespace phone {

namespace {

// The two gyroscope types are one chip: a recording of either serves both, unless each has its own.
constexpr std::pair<int, int> kTwins[] = {{sensor_type::gyroscope, sensor_type::gyroscope_uncalibrated},
                                          {sensor_type::gyroscope_uncalibrated, sensor_type::gyroscope}};

Replays read_replays(const std::vector<std::string>& options) {
  Replays replays;
  std::map<int, std::unique_ptr<SampleSource>> twins;
  for (const std::string& text : options) {
    const ReplayOption option = parse_replay(text);
    auto recording = std::make_shared<const Recording>(load_recording(option));
    for (const std::string& line : recording->report.lines()) replays.remarks.push_back(line);
    for (const auto& [type, twin] : kTwins) {
      if (type == option.sensor_type) twins[twin] = std::make_unique<RecordingPlayer>(recording, option.own_timing);
    }
    auto player = std::make_unique<RecordingPlayer>(std::move(recording), option.own_timing);
    if (!replays.sources.try_emplace(option.sensor_type, std::move(player)).second) {
      throw PhoneError("replay '" + text + "': the sensor has a recording already");
    }
  }
  for (auto& [type, player] : twins) replays.sources.try_emplace(type, std::move(player));
  return replays;
}

}  // namespace

Replays open_replays(const std::vector<std::string>& options) {
  try {
    return read_replays(options);
  } catch (const OptionError&) {
    throw;
  } catch (const PhoneError& error) {
    throw OptionError(error.what());
  }
}

}  // namespace phone
