// The level of comfort noise in 32 steps (ITU-T G.729 Annex B).
#pragma once

#include <cstdint>

namespace orbel {

inline constexpr int32_t kSidGainSteps = 32;

// tab_Sidgain: the level by index, as the mean amplitude of the excitation.
extern const int16_t kSidGain[kSidGainSteps];

struct QuantisedEnergy {
  int16_t index;  // into kSidGain
  int16_t level;  // dB, -12 to 66
};

// The mean of `count` (1 or 2) energies, each a mantissa and an exponent: energy
// = mantissa / 2^exponent. With a count of 0 the one energy is of the last frame
// of excitation, mantissa * 2^exponent.
QuantisedEnergy QuantiseEnergy(const int16_t* energies, const int16_t* exponents, int32_t count);

}  // namespace orbel
