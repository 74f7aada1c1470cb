// The record of parametric stereo: what was read, and the signal path's memory and
// work rows. Plain data of fixed size.
#pragma once

#include <cstddef>
#include <cstdint>

#include "dsp/ps_kernels.h"
#include "sbr/ps_tables.h"
#include "sbr/sbr_element.h"

namespace orbel {

constexpr int32_t kPsFull = 411;  // level; any other is the baseline
constexpr int32_t kPsEnvelopes = 4;
constexpr int32_t kPsHybridReach = 6;  // slots in front of one and behind it that it is split by
constexpr int32_t kPsLongDelay = 14;   // of the decorrelator, bands 23 to 34
constexpr int32_t kPsShortDelay = 1;   // bands above
constexpr int32_t kPsLeadDelay = 2;    // in front of the all-pass filters
constexpr int32_t kPsHistoryRows = kPsLongDelay;
constexpr int32_t kPsChunk = 16;  // slots that are worked on together

struct PsHeader {
  int32_t enable_iid;
  int32_t iid_mode;
  int32_t enable_icc;
  int32_t icc_mode;
  int32_t enable_ext;
};

// The rows from `row` on, and of those the lanes from `lane` on.
inline DspPsRows PsRowsAt(const DspPsRows& rows, int32_t row, int32_t lane) {
  const ptrdiff_t at = static_cast<ptrdiff_t>(row) * rows.stride + lane;
  return {rows.real + at, rows.imag + at, rows.stride};
}

// Indices of one kind for the parameter bands of an envelope.
struct PsIndices {
  int8_t of[kPsBands];
};

// Parameters with the bands as they were sent; behind `count` and `phaseCount` bands
// there are zeros. A kind that is not sent has its bands at 0.
struct PsParameters {
  int32_t iidCount;  // 10, 20 or 34
  int32_t iccCount;
  int32_t phaseCount;  // 5, 11 or 17
  PsIndices iid, icc, ipd, opd;
};

struct PsFrame {
  int32_t num_env;  // 0: everything stays as it is
  int32_t isFine;   // the grid of the level differences
  int32_t mixing;   // 0: Ra, 1: Rb
  int32_t wide;     // 1: level differences or correlations have 34 bands
  int32_t enable_ipdopd;
  int32_t border[kPsEnvelopes];  // last slot of an envelope; need not increase
  PsParameters envelope[kPsEnvelopes];
};

// Mixing matrices at the parameter bands: H11, H12, H21, H22, then imaginary parts.
constexpr int32_t kPsComponents = 8;
struct PsMatrices {
  float of[kPsComponents][kPsBands];
};

struct PsState {
  int32_t level;
  int32_t hasHeader;
  int32_t hasData;
  int32_t isFresh;  // `frame` has not been applied yet
  PsHeader header;
  PsParameters previous;  // the last envelope that was sent
  PsFrame frame;

  int32_t configuration;                 // index to kPsConfigurations
  int32_t isComplex;                     // `matrices` have imaginary parts other than 0
  int32_t qmfBands[2];                   // bands that hold anything: this frame, the one before
  PsMatrices matrices;                   // at the last border
  uint8_t phaseHistory[2][2][kPsBands];  // ipd, opd; the newest set, the one before
  DspPsTransients transients;

  alignas(16) float values[kPsComponents * kDspPsLanes];  // `matrices` spread over lanes
  alignas(16) float steps[kPsComponents * kDspPsLanes];
  alignas(16) float splitAllPass[kDspPsSplitLanes / 4 * kDspPsAllPassState];
  alignas(16) float qmfAllPass[kPsAllPassVectors * kDspPsAllPassState];
  // Input rows: history, the frame, and the lowest bands of what follows.
  alignas(16) float monoReal[kPsHistoryRows + kQmfSlots + kPsHybridReach][kQmfBands];
  alignas(16) float monoImag[kPsHistoryRows + kQmfSlots + kPsHybridReach][kQmfBands];
  // Split bands: history, then a chunk.
  alignas(16) float splitReal[kPsLeadDelay + kPsChunk][kDspPsSplitLanes];
  alignas(16) float splitImag[kPsLeadDelay + kPsChunk][kDspPsSplitLanes];
  // Decorrelated signal and results of a chunk.
  alignas(16) float gains[kPsChunk][kDspPsGainStride];
  alignas(16) float lateReal[kPsChunk][kQmfBands];
  alignas(16) float lateImag[kPsChunk][kQmfBands];
  alignas(16) float splitLateReal[kPsChunk][kDspPsSplitLanes];
  alignas(16) float splitLateImag[kPsChunk][kDspPsSplitLanes];
  alignas(16) float splitOutReal[2][kPsChunk][kDspPsSplitLanes];
  alignas(16) float splitOutImag[2][kPsChunk][kDspPsSplitLanes];
};

}  // namespace orbel
