// The filterbank of object type SSR (ISO/IEC 14496-3, subpart 4): four bands with
// an inverse transform and gain control each, put together by a polyphase
// quadrature filter.
#pragma once

#include <cstdint>

#include "aac/filterbank.h"
#include "aac/gain_control.h"

namespace orbel {

constexpr int32_t kSsrTaps = 24;  // of each of the synthesis filter's four phases

// Floats of a channel's `ssrBuffers`: the overlaps of the bands, then the samples
// that the synthesis filter still needs. Cleared at reset.
constexpr int32_t kSsrOverlapLength = kSsrBands * kSsrBandLength;
constexpr int32_t kSsrHistoryLength = kSsrBands * (kSsrTaps - 1);
static_assert(kSsrOverlapLength + kSsrHistoryLength <= 2048);

// 1024 lines (eight times 128 in window order for short windows) give 1024
// samples. `spec` is one for object type 3; `output` may be where the spectrum is.
void SsrFilterbank(const FilterbankSpec& spec, const float* spectrum, int32_t window_sequence,
                   int32_t windowShape, int32_t prevWindowShape, const GainControlRecord& gain,
                   GainState* state, float* ssrBuffers, float* output);

// 256 samples of each band, interleaved by fours, to 1024 samples. The 23 times 4
// samples before them lie in front and are read too.
void SsrSynthesis(const float* bands, float* output);

}  // namespace orbel
