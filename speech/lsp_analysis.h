// From filters to line spectral pairs (ITU-T G.729), and from these to frequencies.
// LSP and filters as in speech/lsp.h.
#pragma once

#include <cstdint>

#include "speech/silence_state.h"

namespace orbel {

// LSP of a filter. When it has fewer than ten roots on the grid, those of `old`.
void FilterToLsp(const int16_t* filter, const int16_t* old, int16_t* lsp);

// LSF as fractions of the sampling rate in Q15, 0 to 16384.
void LspToLsfQ15(const int16_t* lsp, int16_t* lsf);

// LSF in radians, Q13.
void LspToLsfQ13(const int16_t* lsp, int16_t* lsf);

}  // namespace orbel
