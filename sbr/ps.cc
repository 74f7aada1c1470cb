#include "sbr/ps.h"

#include <algorithm>
#include <cstring>

#include "dsp/primitives.h"
#include "sbr/ps_decorrelator.h"
#include "sbr/ps_hybrid.h"
#include "sbr/ps_mix.h"
#include "sbr/ps_state.h"

namespace orbel {
namespace {

// Bands that are always worked on: those with all-pass filters, whose memory lasts.
constexpr int32_t kLeastVectors = kPsAllPassVectors;

void ChooseConfiguration(PsState* ps) {
  if (ps->isFresh == 0 || ps->frame.num_env == 0) return;
  const int32_t wanted = ps->level == kPsFull ? ps->frame.wide : 0;
  const int32_t before = ps->configuration;
  if (wanted == before) return;
  ps->configuration = wanted;
  PsHybridRestart(ps);
  PsDecorrelatorRestart(ps);
  PsMixRestart(ps, before);
}

DspPsRows RowsFrom(QmfRow* real, QmfRow* imag, int32_t slot) {
  return {real[slot], imag[slot], kQmfBands};
}

void TakeAhead(PsState* ps, const QmfRow* real, const QmfRow* imag) {
  QmfRow rows[2][kPsAheadRows] = {};
  for (int32_t n = 0; n < kPsAheadRows; ++n) {
    std::copy_n(real[n], kPsAheadBands, rows[0][n]);
    std::copy_n(imag[n], kPsAheadBands, rows[1][n]);
  }
  const DspPsRows input = RowsFrom(rows[0], rows[1], 0);
  const DspPsRows mono = PsMonoRows(ps, kQmfSlots);
  int32_t bands = 0;
  dspPsLimit_32f(&input, &mono, kPsAheadRows, &bands);
}

}  // namespace

int32_t PsStateSize() { return static_cast<int32_t>(sizeof(PsState)); }

void PsInit(PsState* ps) {
  std::memset(static_cast<void*>(ps), 0, sizeof *ps);
  ps->previous.iidCount = 20;
  ps->previous.iccCount = 20;
  ps->previous.phaseCount = 11;
  // Both channels are the mono signal.
  for (int32_t c = 0; c < 2; ++c) {
    std::fill_n(ps->matrices.of[c], kPsBands, 1.0F);
    std::fill_n(ps->values + static_cast<ptrdiff_t>(c) * kDspPsLanes, kDspPsLanes, 1.0F);
  }
}

void PsRestart(PsState* ps) {
  const PsHeader header = ps->header;
  const int32_t hasHeader = ps->hasHeader;
  const int32_t level = ps->level;
  PsInit(ps);
  ps->header = header;
  ps->hasHeader = hasHeader;
  ps->level = level;
}

void PsSetLevel(PsState* ps, int32_t level) { ps->level = level; }

bool PsHasData(const PsState& ps) { return ps.hasData != 0; }

int32_t PsApply(PsState* ps, QmfRow* leftReal, QmfRow* leftImag, QmfRow* rightReal,
                QmfRow* rightImag, const QmfRow* aheadReal, const QmfRow* aheadImag) {
  ChooseConfiguration(ps);
  TakeAhead(ps, aheadReal, aheadImag);
  const DspPsRows input = RowsFrom(leftReal, leftImag, 0);
  const DspPsRows mono = PsMonoRows(ps, 0);
  ps->qmfBands[1] = ps->qmfBands[0];
  dspPsLimit_32f(&input, &mono, kQmfSlots, &ps->qmfBands[0]);
  const int32_t used = std::max(ps->qmfBands[0], ps->qmfBands[1]);
  const int32_t vectors = std::max(used / 4, kLeastVectors);

  PsMixCursor cursor = {};
  for (int32_t slot = 0; slot < kQmfSlots; slot += kPsChunk) {
    const DspPsRows left = RowsFrom(leftReal, leftImag, slot);
    const DspPsRows right = RowsFrom(rightReal, rightImag, slot);
    PsHybridAnalyse(ps, slot, kPsChunk);
    PsDecorrelate(ps, slot, kPsChunk, used);
    PsMix(ps, &cursor, slot, kPsChunk, vectors, left, right);
    PsHybridSynthesise(*ps, 0, left, kPsChunk);
    PsHybridSynthesise(*ps, 1, right, kPsChunk);
  }
  PsMixEnd(ps, &cursor);
  ps->isFresh = 0;
  std::memcpy(ps->monoReal[0], ps->monoReal[kQmfSlots], kPsHistoryRows * sizeof ps->monoReal[0]);
  std::memcpy(ps->monoImag[0], ps->monoImag[kQmfSlots], kPsHistoryRows * sizeof ps->monoImag[0]);
  return 4 * vectors;
}

}  // namespace orbel
