// The hybrid bank: the lowest QMF bands split further.
#pragma once

#include <cstdint>

#include "sbr/ps_state.h"

namespace orbel {

// The QMF rows from `slot` of this frame on, and -14 at the least.
DspPsRows PsMonoRows(PsState* ps, int32_t slot);

// The split bands of a chunk's slots; those of the chunk before become history.
void PsHybridAnalyse(PsState* ps, int32_t slot, int32_t slots);

// After a change of the configuration: the split bands' history.
void PsHybridRestart(PsState* ps);

// Adds up the split bands of `side` into the QMF bands that they came from.
void PsHybridSynthesise(const PsState& ps, int32_t side, const DspPsRows& out, int32_t slots);

}  // namespace orbel
