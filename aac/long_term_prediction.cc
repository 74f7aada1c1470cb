#include "aac/long_term_prediction.h"

#include <algorithm>

namespace orbel {
namespace {

constexpr int32_t kTimeline = 3 * kFrameLength;
constexpr int32_t kShortSamples = 2 * kShortLength;
constexpr int32_t kShortBands = 8;  // the first bands alone are predicted
constexpr int32_t kShortStart = 2 * kFrameLength + 776;

// By ltp_coef.
constexpr float kGains[8] = {0.570829F, 0.696616F, 0.813004F, 0.911304F,
                             0.984900F, 1.067894F, 1.194601F, 1.369533F};

// Samples of the timeline from `start` on times the gain, as far as the timeline
// goes; returns their number.
int32_t TakeEstimate(const LtpContext& context, float gain, int32_t start, int32_t count,
                     float* estimate) {
  count = std::min(count, kTimeline - start);
  for (int32_t i = 0; i < count;) {
    const int32_t part = (start + i) / kFrameLength;
    const float* from = context.history[part] + (start + i) % kFrameLength;
    const int32_t end = std::min(count, (part + 1) * kFrameLength - start);
    for (; i < end; ++i) estimate[i] = gain * *from++;
  }
  return count;
}

void AddLines(const float* lines, int32_t from, int32_t to, float* spectrum) {
  for (int32_t i = from; i < to; ++i) spectrum[i] += lines[i];
}

void PredictLong(const LtpContext& context, const IndividualChannelStream& ics, float gain,
                 float* spectrum) {
  float* const estimate = context.work;
  float* const lines = context.work + 2 * kFrameLength;
  const int32_t taken =
      TakeEstimate(context, gain, 2 * kFrameLength - ics.ltp_lag, 2 * kFrameLength, estimate);
  std::fill(estimate + taken, estimate + 2 * kFrameLength, 0.0F);
  LtpForwardFilterbank(*context.filterbank, estimate, ics.window_sequence, ics.window_shape,
                       context.prevWindowShape, lines);
  if (ics.tns_data_present != 0) TnsAnalysisFilter(*context.tns, 0, lines);
  for (int32_t band = 0; band < ics.max_sfb; ++band) {
    if (ics.ltp_long_used[band] != 0)
      AddLines(lines, ics.swbOffsetLong[band], ics.swbOffsetLong[band + 1], spectrum);
  }
}

void PredictShort(const LtpContext& context, const IndividualChannelStream& ics, float gain,
                  float* spectrum) {
  float* const estimate = context.work;
  float* const lines = context.work + 2 * kFrameLength;
  const int32_t end = ics.swbOffsetShort[std::min(ics.max_sfb, kShortBands)];
  for (int32_t w = 0; w < kMaxWindows; ++w) {
    if (ics.ltp_short_used[w] == 0) continue;
    // The start does not move on with the windows.
    const int32_t start = kShortStart - ics.ltp_short_lag[w] - ics.ltp_lag;
    const int32_t taken = TakeEstimate(context, gain, start, kShortSamples, estimate);
    // As many zeros as samples are missing, but at the front; behind the samples stays
    // what was there.
    std::fill(estimate, estimate + (kShortSamples - taken), 0.0F);
    const int32_t prevShape = w == 0 ? context.prevWindowShape : ics.window_shape;
    LtpForwardFilterbank(*context.filterbank, estimate, kEightShort, ics.window_shape, prevShape,
                         lines);
    if (ics.tns_data_present != 0) TnsAnalysisFilter(*context.tns, w, lines);
    AddLines(lines, 0, end, spectrum + w * kShortLength);
  }
}

}  // namespace

void LtpDataParse(IndividualChannelStream* ics, BitReader* reader) {
  const auto read = [reader](int32_t bits) {
    return static_cast<int32_t>(FastGetBits(reader, bits));
  };
  ics->ltp_lag = read(11);
  ics->ltp_coef = read(3);
  if (ics->window_sequence == kEightShort) {
    for (int32_t w = 0; w < kMaxWindows; ++w) {
      ics->ltp_short_used[w] = read(1);
      ics->ltp_short_lag_present[w] = ics->ltp_short_used[w] != 0 ? read(1) : 0;
      ics->ltp_short_lag[w] = ics->ltp_short_lag_present[w] != 0 ? read(4) : 0;
    }
    return;
  }
  const int32_t sent = std::min(ics->max_sfb, kLtpLongBands);
  for (int32_t band = 0; band < sent; ++band) ics->ltp_long_used[band] = read(1);
  std::fill(ics->ltp_long_used + sent, ics->ltp_long_used + std::max(sent, ics->max_sfb), 0);
}

void ApplyLongTermPrediction(const LtpContext& context, const IndividualChannelStream& ics,
                             float* spectrum) {
  if (ics.ltp_data_present == 0) return;
  const float gain = kGains[ics.ltp_coef];
  if (ics.window_sequence == kEightShort) {
    PredictShort(context, ics, gain, spectrum);
  } else {
    PredictLong(context, ics, gain, spectrum);
  }
}

}  // namespace orbel
