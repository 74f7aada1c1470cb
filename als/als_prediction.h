// Coefficients of the predictor, and what turns a residual into samples.
#pragma once

#include <cstdint>

#include "als/als_bits.h"
#include "als/als_state.h"

namespace orbel {

// `order` quantised coefficients. False when one is out of range.
bool AlsReadCoefficients(int32_t coefTable, int32_t order, AlsBits* bits, int16_t* quantised);

// The parameters of long-term prediction, its flag included. False when they are bad.
bool AlsReadLongTerm(const AlsConfig& config, AlsBits* bits, AlsBlock* block);

// Turns the residual in `samples` into samples, the history being in front of it.
void AlsPredict(AlsState* state, const AlsBlock& block, int32_t* samples);

}  // namespace orbel
