// The decorrelator: all-pass filters for the lower bands, delays for the upper ones,
// and how much of it a transient leaves.
#pragma once

#include <cstdint>

#include "sbr/ps_state.h"

namespace orbel {

// Turns a chunk's QMF rows and split bands into `late` rows and `gains`; QMF
// bands from `qmfBands` on are zero. Of the QMF rows, bands below kPsLateBands are
// written; those above are PsShortRows.
constexpr int32_t kPsLateBands = 36;
void PsDecorrelate(PsState* ps, int32_t slot, int32_t slots, int32_t qmfBands);

// The decorrelated bands from kPsLateBands on, from `slot` on.
DspPsRows PsShortRows(PsState* ps, int32_t slot);

// After a change of the configuration: forgets what belongs to the bands that changed.
void PsDecorrelatorRestart(PsState* ps);

}  // namespace orbel
