// Blocks: how a frame is divided into them, and one of them.
#pragma once

#include <cstdint>

#include "als/als_bits.h"
#include "als/als_state.h"

namespace orbel {

struct AlsDivision {
  bool independent;  // the other channel of a pair has a division of its own
  int32_t count;
  int32_t lengths[kAlsMaxBlocks];  // samples; their sum is the frame's
};

// Reads a frame's division, if there is one, and lays `samples` samples out. False
// when the blocks do not fill the frame.
bool AlsReadDivision(const AlsConfig& config, int32_t samples, AlsBits* bits,
                     AlsDivision* division);

// The kind of the block and whether it is the difference of two channels. Sets
// nothing else but the value of a constant one; length and randomAccess are the
// caller's.
void AlsReadBlockKind(const AlsConfig& config, AlsBits* bits, AlsBlock* block);

// What follows: parameters, and the residual into `samples`. False when the block is
// bad or the data ends.
bool AlsReadBlock(const AlsConfig& config, AlsBits* bits, AlsBlock* block, int32_t* samples);

// Makes samples of it.
void AlsFinishBlock(AlsState* state, const AlsBlock& block, int32_t* samples);

}  // namespace orbel
