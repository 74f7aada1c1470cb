// Mixing of the mono signal and the decorrelated one into two channels, by matrices
// that move in straight lines from envelope border to envelope border.
#pragma once

#include <cstdint>

#include "sbr/ps_state.h"

namespace orbel {

// How far a frame is; zero at its start.
struct PsMixCursor {
  int32_t next;      // the envelope behind the current one
  int32_t end;       // the slot behind the current one
  int32_t isMoving;  // to `target`; otherwise everything stays as it is
  int32_t isComplex;
  PsMatrices target;  // at the end of the current one
  int32_t targetIsComplex;
};

// The matrices of envelope `e` of the frame that was read, in the bands of the
// configuration; moves the smoothing of phases on by one envelope. True when there are
// phases.
bool PsEnvelopeMatrices(PsState* ps, int32_t e, PsMatrices* matrices);

// After a change of the configuration, from that of index `before`.
void PsMixRestart(PsState* ps, int32_t before);

// `slots` slots from `slot` on, in order. Of the QMF bands, `vectors` * 4 are written,
// those that are split with what is to be replaced; the split bands of both sides go to
// splitOutReal and splitOutImag.
void PsMix(PsState* ps, PsMixCursor* cursor, int32_t slot, int32_t slots, int32_t vectors,
           const DspPsRows& left, const DspPsRows& right);

// Behind the last slot: what the next frame starts from.
void PsMixEnd(PsState* ps, PsMixCursor* cursor);

}  // namespace orbel
