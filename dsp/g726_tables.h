// Quantiser and adaptation tables of ITU-T G.726, by code.
#pragma once

#include <cstdint>

namespace orbel {

struct G726Rate {
  int16_t dqln[32];     // RECONST: logarithm of the quantised difference, 7 fraction bits
  int16_t fi[32];       // FUNCTF
  int32_t wi[32];       // FUNCTW, times 32
  int16_t dlnFrom[15];  // QUAN: least logarithm of magnitudes 1, 2, ...; 32767 where there is none
};

extern const G726Rate kG726Rate16;
extern const G726Rate kG726Rate24;
extern const G726Rate kG726Rate32;
extern const G726Rate kG726Rate40;

}  // namespace orbel
