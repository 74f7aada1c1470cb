// The excitation of comfort noise (ITU-T G.729 Annex B): in each subframe an
// adaptive vector at a random lag, Gaussian noise and four pulses, brought
// together to a wanted level. Decoder and encoder make theirs by the same rules, each
// from a seed of its own.
#pragma once

#include <cstdint>

#include "speech/silence_state.h"

namespace orbel {

inline constexpr int16_t kNoiseSeedStart = 11111;
inline constexpr int32_t kPastExcitation = 154;  // longest lag 143, and the interpolation filter
inline constexpr int32_t kStoredNoiseSubframes = 32;

// What the generator makes in the first subframes from kNoiseSeedStart on, each
// with the three draws of the excitation parameters before it.
struct StoredNoise {
  int16_t samples[kStoredNoiseSubframes][kSilenceSubframe];
  int16_t seed[kStoredNoiseSubframes];         // after the row
  int32_t inverseRoot[kStoredNoiseSubframes];  // of the row's energy, Q30
};
extern const StoredNoise kStoredNoise;

// What an encoder's record of excitation errors takes of a subframe.
struct NoiseSubframe {
  int16_t lag;           // 40 to 103
  int16_t adaptiveGain;  // Q14; 0 when the adaptive vector was dropped
};

// Makes the 80 samples at `excitation`, behind at least 154 past ones. `level` is
// not 0. `seed` and `subframes`, the number of stored rows used up, move on.
// `work` has room for a subframe.
void MakeNoiseExcitation(int16_t level, int16_t* seed, int16_t* subframes, int16_t* excitation,
                         int16_t* work, NoiseSubframe made[2]);

}  // namespace orbel
