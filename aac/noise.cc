#include "aac/noise.h"

#include <cmath>

#include "aac/quarter_power.h"
#include "dsp/primitives.h"

namespace orbel {
namespace {

// One normalisation for all lines of a group's band.
void DrawBand(float* lines, int32_t count, int32_t energy, int32_t* noiseSeed) {
  float sum = 0.0F;
  dspNoise_32f(noiseSeed, lines, count, &sum);
  const float wanted = QuarterPower(energy);
  const auto level = static_cast<float>(1.0 / std::sqrt(static_cast<double>(sum)));
  dspMulC_32f(lines, wanted * level, lines, count);
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
      for (int32_t b = 0; b < ics.max_sfb; ++b) {
        const int32_t count = (offsets[b + 1] - offsets[b]) * windows;
        if (ics.sfb_cb[g][b] != kNoiseBook || count == 0) continue;
        const int32_t start = groupStart + offsets[b] * windows;
        const bool copied =
            channel == 1 && (ms_mask_present == 2 || (ms_mask_present == 1 && ms_used[g][b] != 0));
        if (copied) {
          const int32_t difference = ics.scaleFactors[g][b] - first.scaleFactors[g][b];
          const float gain = QuarterPower(difference);
          dspMulC_32f(left + start, gain, right + start, count);
        } else {
          DrawBand(spectrum + start, count, ics.scaleFactors[g][b], noiseSeed);
        }
      }
      groupStart += offsets[ics.max_sfb] * windows;
    }
  }
}

}  // namespace orbel
