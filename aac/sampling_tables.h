// What depends on the sampling frequency (ISO/IEC 14496-3, subparts 1 and 4), and the
// decoder's small look-ups of rates and channels.
#pragma once

#include <cstdint>

namespace orbel {

// Indices 0 to 12 have a frequency: 96000 down to 7350 Hz.
constexpr int32_t kSamplingIndexCount = 13;

// Hertz; 0 for any other index.
int32_t SamplingFrequency(int32_t index);

// The index for a frequency that a stream spells out; 0 to 11.
int32_t SamplingIndexOf(int32_t frequency);

// Scale factor bands of a window: swb_offset_long_window and swb_offset_short_window.
struct ScaleFactorBands {
  int32_t count;
  const int32_t* offsets;  // count + 1 of them, the last one is the window's length
};

// By sampling index, 0 to 12. Index 12 has no bands: its only offset is 0.
extern const ScaleFactorBands kLongBands[kSamplingIndexCount];
extern const ScaleFactorBands kShortBands[kSamplingIndexCount];

// PRED_SFB_MAX by sampling index; 0 at index 12.
extern const int32_t kPredictorBands[kSamplingIndexCount];

// TNS_MAX_BANDS and TNS_MAX_ORDER, in this order: bands of short windows, bands of long
// windows, order for short windows, order for long windows. `index` is 0 to 12.
void TnsLimits(int32_t index, int32_t objectType, int32_t limits[4]);

// Speaker positions of 1 to 6 channels as a bit set; 0 for any other count.
int32_t ChannelMask(int32_t channels);

}  // namespace orbel
