// Primitives of ER BSAC (ISO/IEC 14496-3, subpart 4): arithmetic decoding. General
// contracts stand in dsp/kernels.h.
#pragma once

#include <cstdint>

#include "dsp/bsac_state.h"

// clang-format off
// Init    starts at the first of `length` bytes, with no budget. Bytes are borrowed.
// Symbol  the next symbol of a model: cumulative frequencies in units of 1/16384, falling
//         from below 16384 to 0, where they end.
// Pass    one spectral pass over lines `first` up to `end`, multiples of 4: bit planes from
//         the highest one there down to `threshold` + 1, in each the lines in rising order,
//         of each line the `channels` in theirs. Ends as soon as the budget is not above 0.
//         Wrong borders, channels or thresholds give -7.
//
// Bits that no coder makes set `broken`, and what they stand for is anything, within the
// ranges of DspBsacSpectrum.
#define DSP_BSAC_KERNELS(X)                                                                   \
  X(dspBsacInit, (DspBsacCoder * coder, const uint8_t* bytes, int32_t length),                \
    (coder, bytes, length))                                                                   \
  X(dspBsacSymbol, (DspBsacCoder * coder, const uint16_t* model, int32_t* symbol),            \
    (coder, model, symbol))                                                                   \
  X(dspBsacPass,                                                                              \
    (DspBsacCoder * coder, DspBsacSpectrum* spectrum, int32_t channels, int32_t first,        \
     int32_t end, int32_t threshold),                                                         \
    (coder, spectrum, channels, first, end, threshold))
// clang-format on
