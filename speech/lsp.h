// Line spectral pairs of ITU-T G.729, order 10: LSP are cosines in Q15, falling;
// LSF are the angles in Q13 radians, rising. Filters are Q12, a[0] first.
#pragma once

#include <cstdint>

#include "speech/silence_state.h"

namespace orbel {

// table2 and slope_cos of G.729: the cosine at 64 steps of half the circle, Q15,
// and its slope, Q19.
extern const int16_t kLspCosine[64];
extern const int16_t kLspCosineSlope[64];

// The start of the LSP memory on both sides.
extern const int16_t kLspStart[kLpOrder];

void LspToFilter(const int16_t* lsp, int16_t* filter);

// LSP from LSF.
void LsfToLsp(const int16_t* lsf, int16_t* lsp);

// The filters of the two subframes: the first from the mean of old and new, the
// second from the new, which then becomes the old.
void InterpolateFilters(int16_t* oldLsp, const int16_t* newLsp, int16_t* first, int16_t* second);

}  // namespace orbel
