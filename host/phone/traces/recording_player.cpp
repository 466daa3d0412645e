#include "phone/traces/recording_player.h"

#include <algorithm>
#include <utility>

namespace phone {

namespace {

// Some thirty years: clocks may be added to it, and times that leap to and fro never run over.
constexpr int64_t kLatestNs = 1'000'000'000'000'000'000;

}  // namespace

RecordingPlayer::RecordingPlayer(std::shared_ptr<const Recording> recording, bool own_timing)
    : recording_(std::move(recording)), own_timing_(own_timing) {}

void RecordingPlayer::enabled(int64_t period_ns) {
  position_ = used_;
  period_ns_ = std::max<int64_t>(1, period_ns);
  time_ns_ = 0;
  elapsed_ns_ = 0;
}

std::optional<RawSample> RecordingPlayer::next(int64_t) {
  used_ = position_;
  if (position_ >= recording_->samples.size()) return std::nullopt;
  return own_timing_ ? next_own() : next_requested();
}

int64_t RecordingPlayer::distance_ns(size_t index) const {
  const std::vector<RecordedSample>& samples = recording_->samples;
  return std::max<int64_t>(0, samples[index].time_ns - samples[index - 1].time_ns);
}

RawSample RecordingPlayer::next_own() {
  time_ns_ = std::min(kLatestNs, time_ns_ + (time_ns_ == 0 ? period_ns_ : distance_ns(position_)));
  return event(position_++, time_ns_);
}

RawSample RecordingPlayer::next_requested() {
  const size_t count = recording_->samples.size();
  if (time_ns_ == 0) {
    time_ns_ = period_ns_;
    ++position_;
  } else {
    time_ns_ += period_ns_;
    const int64_t until_ns = time_ns_ - period_ns_;  // in the recording, from this enabling's first sample
    while (position_ < count && elapsed_ns_ + distance_ns(position_) <= until_ns) {
      elapsed_ns_ = std::min(kLatestNs, elapsed_ns_ + distance_ns(position_++));
    }
  }
  return event(position_ - 1, time_ns_);
}

RawSample RecordingPlayer::event(size_t index, int64_t time_ns) const {
  RawSample out;
  out.time_ns = time_ns;
  out.count = recording_->first_word + recording_->axes;
  const RecordedSample& sample = recording_->samples[index];
  std::copy_n(sample.v.begin(), recording_->axes, out.value + recording_->first_word);
  return out;
}

}  // namespace phone
