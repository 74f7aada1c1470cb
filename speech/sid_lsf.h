// The quantiser of a silence descriptor's LSF (ITU-T G.729 Annex B): a moving
// average predictor of two modes over the last four code vectors, and two stages
// of codebooks. Here its memory and the decoding; LSF in Q13 radians.
#pragma once

#include <cstdint>

#include "speech/silence_state.h"

namespace orbel {

inline constexpr int32_t kSidHistoryRows = 4;
inline constexpr int16_t kSidLowestLsf = 40;
inline constexpr int16_t kSidHighestLsf = 25681;

// The indices of a descriptor.
struct SidLsfIndices {
  int16_t mode;    // of the predictor, 0 or 1
  int16_t first;   // 0 to 31
  int16_t second;  // 0 to 15
};

// Code vectors, newest first.
using SidLsfHistory = int16_t[kSidHistoryRows][kLpOrder];

void ResetSidLsfHistory(SidLsfHistory history);

// The LSP that the indices stand for. Enters the code vector in the history.
void DecodeSidLsf(const SidLsfIndices& indices, SidLsfHistory history, int16_t* lsp);

}  // namespace orbel
