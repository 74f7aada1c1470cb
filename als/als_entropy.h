// The residual of a block: Rice codes or block Gilbert-Moore codes (BGMC).
#pragma once

#include <cstdint>

#include "als/als_bits.h"
#include "als/als_config.h"

namespace orbel {

constexpr int32_t kAlsMaxParts = 8;  // sub-blocks of a block
constexpr int32_t kAlsMaxRice = 31;

struct AlsCode {
  int32_t parts;
  int32_t parameter[kAlsMaxParts];     // 0 to kAlsMaxRice
  int32_t distribution[kAlsMaxParts];  // BGMC: 0 to 15
};

// The number of sub-blocks and their parameters. False when the stream is bad.
bool AlsReadCode(const AlsConfig& config, int32_t length, AlsBits* bits, AlsCode* code);

// `length` values, of which the first `first` (0 to 3) are those of a random-access
// block, on scales of their own. False when the data ends before.
bool AlsReadResidual(const AlsConfig& config, const AlsCode& code, int32_t first, int32_t length,
                     AlsBits* bits, int32_t* residual);

// Bits of a sample in the decoder: those of the stream, 24 with floats.
inline int32_t AlsWidth(const AlsConfig& config) {
  return config.floating != 0 ? 24 : config.bitsPerSample;
}

}  // namespace orbel
