// The constants of parametric stereo (ISO/IEC 14496-3, subpart 8): bands, filters,
// mixing matrices. Made once when the library loads, read-only from then on.
#pragma once

#include <cstdint>

#include "dsp/ps_kernels.h"

namespace orbel {

constexpr int32_t kPsBands = 34;               // the most parameter bands
constexpr int32_t kPsPhaseBands = 17;          // of those, the most with phases
constexpr int32_t kPsLargestIid[2] = {7, 15};  // index magnitude: default grid, fine grid
constexpr int32_t kPsLargestIcc = 7;
constexpr int32_t kPsIidCount = 46;
constexpr int32_t kPsAllPassVectors = 6;  // of QMF bands with an all-pass filter, and band 23

// One of the two ways to look at the bands: 20 parameter bands, or 34.
struct PsConfiguration {
  DspPsLayout layout;
  int32_t splitQmfBands;                // 3 or 5
  int32_t splitSizes[5];                // bands that each of them becomes
  uint8_t conjugate[kDspPsSplitLanes];  // 1: of negative frequency
  int8_t centre[kDspPsSplitLanes];      // frequency in 24ths of a QMF band
};
extern const PsConfiguration kPsConfigurations[2];

struct PsTables {
  // Of the configurations, for dspPsSplit20_32f, dspPsSplit34_32f and dspPsAllPass_32f.
  alignas(16) float split20[kDspPsFilterFloats + 4];
  alignas(16) float split34[5 * kDspPsFilterFloats];
  alignas(16) float allPassSplit[2][kDspPsSplitLanes / 4 * kDspPsAllPassFloats];
  alignas(16) float allPassQmf[2][kPsAllPassVectors * kDspPsAllPassFloats];
  // H11, H12, H21, H22 for mixing Ra and Rb, by level difference (the default grid's
  // indices from the lowest on, then those of the fine grid) and correlation.
  float matrices[2][kPsIidCount][kPsLargestIcc + 1][4];
  // Cosine and sine of a smoothed phase, by the indices of the last three envelopes: the
  // newest times 64, plus the one before times 8, plus the oldest.
  float phases[512][2];
};
extern const PsTables& kPsTables;

inline int32_t PsIidRow(bool isFine, int32_t index) {
  return isFine ? 2 * kPsLargestIid[0] + 1 + kPsLargestIid[1] + index : kPsLargestIid[0] + index;
}

}  // namespace orbel
