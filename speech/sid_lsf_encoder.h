// Encoding of a silence descriptor's LSF, see speech/sid_lsf.h.
#pragma once

#include <cstdint>

#include "speech/sid_lsf.h"

namespace orbel {

// The indices that come nearest to `lsp`. Enters the code vector in the history and
// gives the LSP that the decoder will have.
SidLsfIndices EncodeSidLsf(const int16_t* lsp, SidLsfHistory history, int16_t* quantised);

}  // namespace orbel
