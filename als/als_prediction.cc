#include "als/als_prediction.h"

#include <algorithm>
#include <cstring>

#include "als/als_tables.h"
#include "dsp/primitives.h"

namespace orbel {
namespace {

constexpr int32_t kPlainTable = 3;
constexpr int32_t kTabulated = 20;
constexpr int32_t kFineFrom = 127;
constexpr int32_t kFractionBits = 20;

int32_t Reflection(const int16_t* quantised, int32_t number) {
  const int32_t q = quantised[number];
  if (number == 0) return AlsCompanded(q);
  if (number == 1) return -AlsCompanded(q);
  return q * (1 << 14) + (1 << 13);
}

// Adds coefficient `number` to the direct form in coefficients[number % 2].
void StepUp(const AlsState& state, const AlsBlock& block, int32_t number) {
  dspAlsStepUp_32s(state.coefficients[number & 1], Reflection(block.quantised, number),
                   state.coefficients[(number + 1) & 1], number);
}

// Samples that have fewer than `order` before them, each with the filter of as many
// coefficients.
void PredictFirst(const AlsState& state, const AlsBlock& block, int32_t count, int32_t* samples) {
  for (int32_t n = 0; n < count; ++n) {
    const int32_t* coefficients = state.coefficients[n & 1];
    uint64_t sum = uint64_t{1} << (kFractionBits - 1);
    for (int32_t i = 0; i < n; ++i)
      sum += static_cast<uint64_t>(int64_t{coefficients[i]} * samples[n - 1 - i]);
    samples[n] = static_cast<int32_t>(static_cast<uint32_t>(samples[n]) -
                                      static_cast<uint32_t>(sum >> kFractionBits));
    StepUp(state, block, n);
  }
}

// The filter of all coefficients, once it stands.
void PredictRest(const AlsState& state, int32_t order, int32_t* samples, int32_t count) {
  if (count < 1 || order == 0) return;
  int32_t* coefficients = state.coefficients[order & 1];
  const int32_t padded = (order + kDspAlsOrderStep - 1) / kDspAlsOrderStep * kDspAlsOrderStep;
  std::fill(coefficients + order, coefficients + padded, 0);
  dspAlsSynthesis_32s_I(coefficients, padded, samples, count);
}

// All but the low bits are predicted: those of the past are put aside.
void PredictShifted(const AlsState& state, const AlsBlock& block, int32_t* samples) {
  if (block.order == 0) return;
  int32_t* past = samples - block.order;
  const auto bytes = static_cast<size_t>(block.order) * sizeof *past;
  std::memcpy(state.saved, past, bytes);
  for (int32_t i = 0; i < block.order; ++i) past[i] >>= block.shift;
  PredictRest(state, block.order, samples, block.length);
  std::memcpy(past, state.saved, bytes);
}

}  // namespace

bool AlsReadCoefficients(int32_t coefTable, int32_t order, AlsBits* bits, int16_t* quantised) {
  for (int32_t i = 0; i < order; ++i) {
    int32_t q;
    if (coefTable == kPlainTable) {
      q = static_cast<int32_t>(bits->Get(7)) - 64;
    } else if (i < kTabulated) {
      const AlsCoefficientCode& code = kAlsCoefficientCodes[coefTable][i];
      const int64_t value = int64_t{bits->Rice(code.parameter)} + code.offset;
      q = static_cast<int32_t>(std::clamp<int64_t>(value, -65, 64));
    } else if (i < kFineFrom) {
      q = std::clamp(bits->Rice(2), -66, 64) + (i & 1);
    } else {
      q = bits->Rice(1);
    }
    if (q < -64 || q > 63) return false;
    quantised[i] = static_cast<int16_t>(q);
  }
  return true;
}

bool AlsReadLongTerm(const AlsConfig& config, AlsBits* bits, AlsBlock* block) {
  block->longTerm = bits->Flag();
  if (!block->longTerm) return true;
  const auto eight = [bits](int32_t parameter) {
    return static_cast<int32_t>(static_cast<uint32_t>(bits->Rice(parameter)) * 8);
  };
  block->gains[0] = eight(1);
  block->gains[1] = eight(2);
  const uint64_t row = bits->Ones();
  if (row > 3) return false;
  block->gains[2] = kAlsLongTermGains[4 * row + bits->Get(2)];
  block->gains[3] = eight(2);
  block->gains[4] = eight(1);
  const int32_t rate = config.samplingFrequency;
  const int32_t lagBits = rate >= 192000 ? 10 : rate >= 96000 ? 9 : 8;
  block->lag = static_cast<int32_t>(bits->Get(lagBits)) + std::max(4, block->order + 1);
  return true;
}

void AlsPredict(AlsState* state, const AlsBlock& block, int32_t* samples) {
  if (block.longTerm) dspAlsLongTerm_32s_I(block.gains, block.lag, samples, block.length);
  if (block.randomAccess) {
    const int32_t first = std::min(block.order, block.length);
    PredictFirst(*state, block, first, samples);
    PredictRest(*state, block.order, samples + first, block.length - first);
  } else {
    for (int32_t i = 0; i < block.order; ++i) StepUp(*state, block, i);
    if (block.shift == 0) {
      PredictRest(*state, block.order, samples, block.length);
    } else {
      PredictShifted(*state, block, samples);
    }
  }
  if (block.shift == 0) return;
  for (int32_t i = 0; i < block.length; ++i)
    samples[i] = static_cast<int32_t>(static_cast<uint32_t>(samples[i]) << block.shift);
}

}  // namespace orbel
