#include "sbr/ps_mix.h"

#include <algorithm>
#include <cstring>

#include "dsp/primitives.h"
#include "sbr/ps_decorrelator.h"
#include "sbr/ps_hybrid.h"
#include "sbr/ps_parameters.h"

namespace orbel {
namespace {

constexpr int32_t kRealComponents = 4;
constexpr int32_t kPhaseVectors = 2;  // of QMF bands: 17 parameter bands reach band 5

// One component's values at the parameter bands for all lanes.
void Spread(const PsConfiguration& configuration, const float* bands, bool isImaginary,
            float* lanes) {
  const DspPsLayout& layout = configuration.layout;
  for (int32_t lane = 0; lane < layout.splitLanes; ++lane) {
    const float value = bands[layout.splitBand[lane]];
    lanes[lane] = isImaginary && configuration.conjugate[lane] != 0 ? -value : value;
  }
  float* const qmf = lanes + kDspPsSplitLanes;
  std::fill_n(qmf, layout.border[0], 0.0F);
  for (int32_t i = 0; i < layout.runs; ++i) {
    std::fill(qmf + layout.border[i], qmf + layout.border[i + 1], bands[layout.firstBand + i]);
  }
}

void SpreadAll(const PsState& ps, const PsMatrices& matrices, bool isComplex, float* lanes) {
  for (int32_t c = 0; c < (isComplex ? kPsComponents : kRealComponents); ++c) {
    Spread(kPsConfigurations[ps.configuration], matrices.of[c], c >= kRealComponents,
           lanes + static_cast<ptrdiff_t>(c) * kDspPsLanes);
  }
  const ptrdiff_t used = kRealComponents * kDspPsLanes;
  if (!isComplex) std::fill(lanes + used, lanes + 2 * used, 0.0F);
}

// Phases for all bands of the configuration: cosine and sine.
struct Turns {
  float of[kPsBands][2];
};

void SmoothPhases(const PsIndices& indices, int32_t bands, uint8_t (*history)[kPsBands],
                  Turns* turns) {
  for (int32_t b = 0; b < bands; ++b) {
    const int32_t newest = indices.of[b] & 7;
    const float* const turn = kPsTables.phases[newest * 64 + history[0][b] * 8 + history[1][b]];
    turns->of[b][0] = turn[0];
    turns->of[b][1] = turn[1];
    history[1][b] = history[0][b];
    history[0][b] = static_cast<uint8_t>(newest);
  }
}

// Stands on the border of the current envelope.
void EndEnvelope(PsState* ps, PsMixCursor* cursor) {
  if (cursor->isMoving == 0) return;
  cursor->isMoving = 0;
  ps->matrices = cursor->target;
  ps->isComplex = cursor->targetIsComplex;
  SpreadAll(*ps, ps->matrices, ps->isComplex != 0, ps->values);
}

// Moves on to the envelope that `slot` belongs to. One that ends before it only leaves
// its matrices.
void BeginEnvelope(PsState* ps, PsMixCursor* cursor, int32_t slot) {
  const PsFrame& frame = ps->frame;
  do {
    EndEnvelope(ps, cursor);
    if (ps->isFresh == 0 || cursor->next >= frame.num_env) {
      cursor->isComplex = ps->isComplex;
      cursor->end = kQmfSlots;
      std::memset(ps->steps, 0, sizeof ps->steps);
      return;
    }
    cursor->isMoving = 1;
    cursor->end = frame.border[cursor->next] + 1;
    cursor->targetIsComplex = PsEnvelopeMatrices(ps, cursor->next++, &cursor->target) ? 1 : 0;
  } while (cursor->end <= slot);
  cursor->isComplex = ps->isComplex | cursor->targetIsComplex;
  SpreadAll(*ps, cursor->target, cursor->targetIsComplex != 0, ps->steps);
  const float share = 1.0F / static_cast<float>(cursor->end - slot);
  const int32_t count = (cursor->isComplex != 0 ? kPsComponents : kRealComponents) * kDspPsLanes;
  for (int32_t i = 0; i < count; ++i) ps->steps[i] = (ps->steps[i] - ps->values[i]) * share;
}

}  // namespace

bool PsEnvelopeMatrices(PsState* ps, int32_t e, PsMatrices* matrices) {
  const PsFrame& frame = ps->frame;
  const PsParameters& sent = frame.envelope[e];
  const int32_t bands = kPsConfigurations[ps->configuration].layout.bands;
  PsParameters mapped;
  PsMapParameters(sent, bands, bands, &mapped);
  for (int32_t b = 0; b < bands; ++b) {
    const float* const matrix = kPsTables.matrices[frame.mixing][PsIidRow(
        frame.isFine != 0, mapped.iid.of[b])][mapped.icc.of[b]];
    for (int32_t c = 0; c < kRealComponents; ++c) matrices->of[c][b] = matrix[c];
  }
  if (frame.enable_ipdopd == 0 || ps->level != kPsFull) {
    std::memset(ps->phaseHistory, 0, sizeof ps->phaseHistory);
    return false;
  }
  Turns ipd;
  Turns opd;
  SmoothPhases(mapped.ipd, bands, ps->phaseHistory[0], &ipd);
  SmoothPhases(mapped.opd, bands, ps->phaseHistory[1], &opd);
  for (int32_t b = 0; b < bands; ++b) {
    const float* const one = opd.of[b];
    const float* const between = ipd.of[b];
    const float left[2] = {one[0], one[1]};
    const float right[2] = {one[0] * between[0] + one[1] * between[1],
                            one[1] * between[0] - one[0] * between[1]};
    for (int32_t c = 0; c < kRealComponents; ++c) {
      const float* const turn = c % 2 == 0 ? left : right;
      const float value = matrices->of[c][b];
      matrices->of[c][b] = value * turn[0];
      matrices->of[kRealComponents + c][b] = value * turn[1];
    }
  }
  return true;
}

void PsMixRestart(PsState* ps, int32_t before) {
  const int32_t from = kPsConfigurations[before].layout.bands;
  const int32_t to = kPsConfigurations[ps->configuration].layout.bands;
  for (float* component : ps->matrices.of) PsMapMatrix(component, from, to, component);
  std::memset(ps->phaseHistory, 0, sizeof ps->phaseHistory);
  SpreadAll(*ps, ps->matrices, ps->isComplex != 0, ps->values);
}

void PsMixEnd(PsState* ps, PsMixCursor* cursor) {
  // Envelopes that end where the last one did, or before.
  BeginEnvelope(ps, cursor, kQmfSlots);
}

void PsMix(PsState* ps, PsMixCursor* cursor, int32_t slot, int32_t slots, int32_t vectors,
           const DspPsRows& left, const DspPsRows& right) {
  const DspPsRows mono = PsMonoRows(ps, slot);
  const DspPsRows late = {ps->lateReal[0], ps->lateImag[0], kQmfBands};
  const DspPsRows later = PsShortRows(ps, slot);
  const DspPsRows split = {ps->splitReal[kPsLeadDelay], ps->splitImag[kPsLeadDelay],
                           kDspPsSplitLanes};
  const DspPsRows splitLate = {ps->splitLateReal[0], ps->splitLateImag[0], kDspPsSplitLanes};
  const DspPsRows splitLeft = {ps->splitOutReal[0][0], ps->splitOutImag[0][0], kDspPsSplitLanes};
  const DspPsRows splitRight = {ps->splitOutReal[1][0], ps->splitOutImag[1][0], kDspPsSplitLanes};
  const int32_t splitVectors = kPsConfigurations[ps->configuration].layout.splitLanes / 4;
  constexpr int32_t kLateVectors = kPsLateBands / 4;

  for (int32_t n = 0; n < slots;) {
    if (slot + n >= cursor->end) BeginEnvelope(ps, cursor, slot + n);
    const int32_t count = std::min(slots - n, cursor->end - slot - n);
    const bool isComplex = cursor->isComplex != 0;
    const auto mix = [&](bool hasPhases, const DspPsRows& s, const DspPsRows& d, int32_t lane,
                         int32_t at, const DspPsRows& one, const DspPsRows& other, int32_t width) {
      if (width <= 0) return;
      const DspPsRows rows[4] = {PsRowsAt(s, n, lane), PsRowsAt(d, n, lane), PsRowsAt(one, n, lane),
                                 PsRowsAt(other, n, lane)};
      const auto run = hasPhases ? dspPsMixComplex_32f : dspPsMix_32f;
      run(&rows[0], &rows[1], ps->gains[n] + at, &rows[2], &rows[3], ps->values + at,
          ps->steps + at, width, count);
    };
    mix(isComplex, split, splitLate, 0, 0, splitLeft, splitRight, splitVectors);
    const int32_t phased = isComplex ? kPhaseVectors : 0;
    mix(true, mono, late, 0, kDspPsSplitLanes, left, right, phased);
    mix(false, mono, late, 4 * phased, kDspPsSplitLanes + 4 * phased, left, right,
        std::min(vectors, kLateVectors) - phased);
    mix(false, mono, later, kPsLateBands, kDspPsSplitLanes + kPsLateBands, left, right,
        vectors - kLateVectors);
    n += count;
  }
}

}  // namespace orbel
