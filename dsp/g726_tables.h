// Quantiser and adaptation tables of ITU-T G.726, by code.
#pragma once

#include <cstdint>

namespace orbel {

// What one code stands for.
struct G726Code {
  int32_t dqln;  // RECONST: logarithm of the quantised difference, 7 fraction bits
  int32_t wi;    // FUNCTW, 9 fraction bits
  int32_t fi;    // FUNCTF, 9 fraction bits
  int32_t sign;  // -1 for a negative difference, else 0
};

struct G726Rate {
  G726Code codes[32];
  int16_t dlnFrom[15];  // QUAN: least logarithm of magnitudes 1, 2, ...; 32767 where there is none
};

extern const G726Rate kG726Rate16;
extern const G726Rate kG726Rate24;
extern const G726Rate kG726Rate32;
extern const G726Rate kG726Rate40;

}  // namespace orbel
