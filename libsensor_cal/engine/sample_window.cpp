// Averages a run's samples under variance and bias limits. Single precision throughout: the required arithmetic.
#define LOG_TAG "libsensor_cal"
#include <math.h>

#include <algorithm>

#include "base/log.h"
#include "engine/run.h"

namespace {

constexpr char kName[] = "cal_process_sample";

// Moves the run from running to finished. False when the waiting side declared a time-out first.
bool claim_finish(_sensor_info* info) {
  int32_t running = run_state::running;
  return __atomic_compare_exchange_n(&info->status, &running, run_state::finished, false, __ATOMIC_ACQ_REL,
                                     __ATOMIC_ACQUIRE);
}

// Judges one axis of a full window; kDone when it passes.
SampleOutcome judge_axis(_sensor_info* info, int i) {
  const float count = static_cast<float>(info->sample_count);
  info->variance[i] = (info->sum_sq[i] - info->sum[i] * info->sum[i] / count) / count;
  if (info->variance[i] > info->variance_threshold) {
    LOGE("%s: Variance exceeded, restarting algorithm. index: %i; variance: %9.4f; variance threshold: %9.4f", kName, i,
         static_cast<double>(info->variance[i]), static_cast<double>(info->variance_threshold));
    return kHighVariance;
  }
  if (info->variance[i] == 0 && info->zero_variance_check != 0) {
    LOGE("%s: Zero variance found, restarting algorithm. index: %i; variance: %9.4f", kName, i,
         static_cast<double>(info->variance[i]));
    return kZeroVariance;
  }
  const float mean = info->sum[i] / count;
  if (fabsf(mean) > info->bias_threshold[i]) {
    LOGE(
        "%s: High BIAS found, restarting algorithm. index: %i; sum %9.4f, numsamples %d, bias: %9.4f, threshold: %9.4f",
        kName, i, static_cast<double>(info->sum[i]), info->sample_count, static_cast<double>(mean),
        static_cast<double>(info->bias_threshold[i]));
    return kHighBias;
  }
  return kDone;
}

void clear_sums(_sensor_info* info, int axes) {
  for (int i = 0; i < axes; ++i) info->variance[i] = info->sum_sq[i] = info->sum[i] = 0;
}

void add(_sensor_info* info, int i, float value) {
  info->sum[i] += value;
  info->sum_sq[i] += value * value;
}

// A full window finishes the run or restarts it. A call: inlined, its registers would cost every sample.
__attribute__((noinline)) SampleOutcome judge_window(_sensor_info* info, int axes) {
  for (int i = 0; i < axes; ++i) {
    const SampleOutcome outcome = judge_axis(info, i);
    if (outcome == kDone) continue;
    info->sample_count = 0;
    return outcome;
  }
  for (int i = 0; i < axes; ++i) info->mean[i] = info->sum[i] / static_cast<float>(info->sample_num);
  return claim_finish(info) ? kDone : kTaken;
}

}  // namespace

int cal_process_sample(_sensor_info* info, float* sample) {
  if (__atomic_load_n(&info->status, __ATOMIC_ACQUIRE) != run_state::running) return kTaken;
  const int axes = std::min<int>(info->axis_num, kAxes);
  const int32_t before = info->sample_count;
  const int32_t count = before < INT32_MAX ? before + 1 : before;
  info->sample_count = count;
  if (before == 0) clear_sums(info, axes);
    // Unrolled, for the axes are few: preparing a vector loop costs more than it saves.
#pragma GCC unroll 10
  for (int i = 0; i < axes; ++i) add(info, i, sample[i]);
  return count == info->sample_num ? judge_window(info, axes) : kTaken;
}
