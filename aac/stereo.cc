#include "aac/stereo.h"

#include "aac/quarter_power.h"
#include "dsp/primitives.h"

namespace orbel {
namespace {

// Calls work(group, band, first line, number of lines) for every band of every
// group, in bitstream order.
template <typename Work>
void ForEachBand(const IndividualChannelStream& ics, Work work) {
  const int32_t* offsets = BandOffsets(ics);
  int32_t groupStart = 0;
  for (int32_t g = 0; g < ics.num_window_groups; ++g) {
    const int32_t windows = ics.window_group_length[g];
    for (int32_t b = 0; b < ics.max_sfb; ++b)
      work(g, b, groupStart + offsets[b] * windows, (offsets[b + 1] - offsets[b]) * windows);
    groupStart += offsets[ics.max_sfb] * windows;
  }
}

}  // namespace

void ApplyMidSide(const ChannelPairElement& pair, float* left, float* right) {
  if (pair.ms_mask_present == 0) return;
  const bool all = pair.ms_mask_present == 2;
  const IndividualChannelStream& ics = pair.stream[1];
  ForEachBand(ics, [&](int32_t g, int32_t b, int32_t start, int32_t count) {
    if (!all && pair.ms_used[g][b] == 0) return;
    if (ics.sfb_cb[g][b] >= kNoiseBook) return;
    dspMidSide_32f_I(left + start, right + start, count);
  });
}

void ApplyIntensity(const ChannelPairElement& pair, float* left, float* right) {
  const IndividualChannelStream& ics = pair.stream[1];
  if (ics.hasIntensity == 0) return;
  ForEachBand(ics, [&](int32_t g, int32_t b, int32_t start, int32_t count) {
    const int32_t book = ics.sfb_cb[g][b];
    if (book < kIntensityBookOutOfPhase) return;
    const bool inverted = pair.ms_mask_present == 1 && pair.ms_used[g][b] != 0;
    const bool negative = (book == kIntensityBookOutOfPhase) != inverted;
    const float gain = QuarterPower(-ics.scaleFactors[g][b]);
    dspMulC_32f(left + start, negative ? -gain : gain, right + start, count);
  });
}

}  // namespace orbel
