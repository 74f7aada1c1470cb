// The last step of the high band (ISO/IEC 14496-3, subpart 4): smoothed gains, noise
// and sinusoids.
#pragma once

#include <cstdint>

#include "sbr/hf_adjuster.h"

namespace orbel {

// The slots of high band that a frame makes.
struct SbrSpan {
  int32_t channel;
  int32_t start, end;
  int32_t sbrMode;
};

// The row of an output slot: of the frame up to slot 31, of what runs over from there.
inline float* SbrRealRow(SbrWork* work, SbrChannel* state, int32_t slot) {
  return slot < kQmfSlots ? work->outReal[0][slot] : state->overReal[slot - kQmfSlots];
}
inline float* SbrImagRow(SbrWork* work, SbrChannel* state, int32_t slot) {
  return slot < kQmfSlots ? work->outImag[0][slot] : state->overImag[slot - kQmfSlots];
}

// Slots `from` to to - 1, which are those of one envelope. The noise of bands with a
// sinusoid is cleared in `levels`.
void SbrAssemble(const SbrElement& element, const SbrSpan& span, int32_t from, int32_t to,
                 SbrLevels* levels, SbrChannel* state, SbrWork* work);

}  // namespace orbel
