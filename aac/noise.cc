#include "aac/noise.h"

#include <cmath>

#include "aac/quarter_power.h"
#include "dsp/primitives.h"

namespace orbel {
namespace {

// A run of bands of one group; one normalisation for all lines of each.
void DrawBands(const int16_t* energies, const int32_t* offsets, int32_t bands, float* lines,
               int32_t* noiseSeed) {
  float sums[kMaxBands];
  dspNoiseBands_32f(noiseSeed, lines, offsets, bands, sums);
  float gains[kMaxBands];
  for (int32_t b = 0; b < bands; ++b) {
    const auto level = static_cast<float>(1.0 / std::sqrt(static_cast<double>(sums[b])));
    gains[b] = QuarterPower(energies[b]) * level;
  }
  dspMulBands_32f(lines, gains, offsets, bands);
}

}  // namespace

void ApplyNoise(const IndividualChannelStream& first, const IndividualChannelStream* second,
                float* left, float* right, int32_t ms_mask_present,
                const int32_t (*ms_used)[kMaxBands], int32_t* noiseSeed) {
  const int32_t channels = second != nullptr ? 2 : 1;
  for (int32_t channel = 0; channel < channels; ++channel) {
    const IndividualChannelStream& ics = channel == 0 ? first : *second;
    if (ics.hasNoise == 0) continue;
    float* spectrum = channel == 0 ? left : right;
    const int32_t* offsets = BandOffsets(ics);
    int32_t groupStart = 0;
    for (int32_t g = 0; g < ics.num_window_groups; ++g) {
      const int32_t windows = ics.window_group_length[g];
      int32_t grouped[kMaxBands + 1];
      const int32_t* borders = offsets;  // long windows have one group
      if (ics.window_sequence == kEightShort) {
        for (int32_t b = 0; b <= ics.max_sfb; ++b) grouped[b] = groupStart + offsets[b] * windows;
        borders = grouped;
      }
      const auto isCopy = [&](int32_t b) {
        return channel == 1 &&
               (ms_mask_present == 2 || (ms_mask_present == 1 && ms_used[g][b] != 0));
      };
      const int32_t* books = ics.sfb_cb[g];
      for (int32_t b = 0; b < ics.max_sfb;) {
        int32_t end = b + 1;
        if (books[b] == kNoiseBook && isCopy(b)) {
          const float gain = QuarterPower(ics.scaleFactors[g][b] - first.scaleFactors[g][b]);
          const bool opposite = ms_mask_present == 1 && ms_used[g][b] == kMsOpposite;
          dspMulC_32f(left + borders[b], opposite ? -gain : gain, right + borders[b],
                      borders[end] - borders[b]);
        } else if (books[b] == kNoiseBook) {
          while (end < ics.max_sfb && books[end] == kNoiseBook && !isCopy(end)) ++end;
          DrawBands(ics.scaleFactors[g] + b, borders + b, end - b, spectrum, noiseSeed);
        }
        b = end;
      }
      groupStart += offsets[ics.max_sfb] * windows;
    }
  }
}

}  // namespace orbel
