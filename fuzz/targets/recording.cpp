// Whatever a recording or a replay option holds, it is read or refused with a PhoneError. The first line is the option,
// the rest the file.
#include "phone/traces/recording.h"

#include <cmath>
#include <sstream>

#include "phone/core/phone.h"
#include "phone/traces/recording_player.h"
#include "support/checks.h"

namespace {

void check_samples(const phone::Recording& recording) {
  HOLDS(!recording.samples.empty() && recording.samples.size() == recording.report.samples);
  HOLDS(recording.axes >= 1 && recording.axes <= phone::kMaxRecordedValues);
  HOLDS(recording.samples[0].time_ns == 0);
  for (const phone::RecordedSample& sample : recording.samples) {
    for (int i = 0; i < recording.axes; ++i) HOLDS(std::isfinite(sample.v[static_cast<size_t>(i)]));
  }
}

// Events come in order, and with own timing each sample once.
void play(const std::shared_ptr<const phone::Recording>& recording, bool own_timing) {
  phone::RecordingPlayer player(recording, own_timing);
  player.enabled(10'000'000);
  int64_t last_ns = 0;
  size_t events = 0;
  for (; events < 1000; ++events) {
    const auto sample = player.next(-1);
    if (!sample) break;
    HOLDS(sample->time_ns >= last_ns);
    HOLDS(sample->count == recording->first_word + recording->axes && sample->count <= 16);
    last_ns = sample->time_ns;
  }
  if (own_timing) HOLDS(events == std::min<size_t>(1000, recording->samples.size()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const size_t line_end = std::min(input.find('\n'), input.size());
  std::istringstream file(input.substr(std::min(line_end + 1, input.size())));
  try {
    const phone::ReplayOption replay = phone::parse_replay(input.substr(0, line_end));
    const auto recording = std::make_shared<phone::Recording>(phone::load_recording(file, replay));
    check_samples(*recording);
    HOLDS(!recording->report.lines().empty());
    HOLDS(recording->report.json().isObject());
    play(recording, replay.own_timing);
  } catch (const phone::PhoneError&) {
  }
  return 0;
}
