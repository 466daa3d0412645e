#include "phone/core/replays.h"

#include "phone/core/phone.h"
#include "phone/traces/recording_player.h"

namespace phone {

Replays open_replays(const std::vector<std::string>& options) {
  Replays replays;
  for (const std::string& text : options) {
    const ReplayOption option = parse_replay(text);
    auto recording = std::make_shared<const Recording>(load_recording(option));
    for (const std::string& line : recording->report.lines()) replays.remarks.push_back(line);
    auto player = std::make_unique<RecordingPlayer>(std::move(recording), option.own_timing);
    if (!replays.sources.try_emplace(option.sensor_type, std::move(player)).second) {
      throw PhoneError("replay '" + text + "': the sensor has a recording already");
    }
  }
  return replays;
}

}  // namespace phone
