// Whatever a recording or a replay option holds, it is read or refused with a PhoneError. The first line is the option,
// the rest the file.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include "phone/core/phone.h"
#include "phone/traces/recording_player.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const size_t line_end = std::min(input.find('\n'), input.size());
  std::istringstream file(input.substr(std::min(line_end + 1, input.size())));
  try {
    const phone::ReplayOption replay = phone::parse_replay(input.substr(0, line_end));
    const auto recording = std::make_shared<phone::Recording>(phone::load_recording(file, replay));
    recording->report.lines();
    recording->report.json();
    phone::RecordingPlayer player(recording, replay.own_timing);
    player.enabled(10'000'000);
    for (int i = 0; i < 1000 && player.next(-1); ++i) {
    }
  } catch (const phone::PhoneError&) {
  }
  return 0;
}
