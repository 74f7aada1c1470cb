#include "als/als_channels.h"

#include "als/als_block.h"
#include "als/als_tables.h"
#include "dsp/primitives.h"

namespace orbel {
namespace {

enum WalkState : uint8_t { kNew, kWaiting, kReady };

int32_t Difference(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

int32_t Sum(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

// A channel by itself.
bool ReadAlone(AlsState* state, const AlsDivision& division, bool randomAccess, int32_t* samples,
               AlsBits* bits) {
  AlsBlock& block = state->blocks[0];
  for (int32_t i = 0; i < division.count; ++i) {
    block.length = division.lengths[i];
    block.randomAccess = randomAccess && i == 0;
    AlsReadBlockKind(state->config, bits, &block);
    if (!AlsReadBlock(state->config, bits, &block, samples)) return false;
    AlsFinishBlock(state, block, samples);
    bits->Align();
    samples += block.length;
  }
  return true;
}

// One of the two blocks of a coupled pair, which comes to lie in `samples`. A
// difference is made in the work signal, from the difference of what went before.
bool ReadPartner(AlsState* state, AlsBlock* block, const int32_t* left, const int32_t* right,
                 int32_t* samples, AlsBits* bits) {
  int32_t* work = state->work + state->history;
  int32_t* place = block->difference ? work : samples;
  if (!AlsReadBlock(state->config, bits, block, place)) return false;
  if (block->difference && block->coded)
    for (int32_t i = 1; i <= block->order; ++i) work[-i] = Difference(right[-i], left[-i]);
  AlsFinishBlock(state, *block, place);
  bits->Align();
  return true;
}

bool ReadCoupled(AlsState* state, int32_t length, bool randomAccess, int32_t* left, int32_t* right,
                 AlsBits* bits) {
  AlsBlock& block = state->blocks[0];
  block.length = length;
  block.randomAccess = randomAccess;
  AlsReadBlockKind(state->config, bits, &block);
  const bool leftDifference = block.difference;
  if (!ReadPartner(state, &block, left, right, left, bits)) return false;
  AlsReadBlockKind(state->config, bits, &block);
  // One of the two has to be a signal.
  if (leftDifference && block.difference) return false;
  if (!ReadPartner(state, &block, left, right, right, bits)) return false;
  const int32_t* work = state->work + state->history;
  if (leftDifference) {
    for (int32_t i = 0; i < length; ++i) left[i] = Difference(right[i], work[i]);
  } else if (block.difference) {
    for (int32_t i = 0; i < length; ++i) right[i] = Sum(left[i], work[i]);
  }
  return true;
}

int32_t Weight(int32_t offset, int32_t parameter, AlsBits* bits, bool* good) {
  const int64_t index = int64_t{offset} + bits->Rice(parameter);
  if (index >= 0 && index < 32) return kAlsCorrelationGains[index];
  *good = false;
  return 0;
}

// The references of one channel to others.
bool ReadEntries(AlsState* state, int32_t channel, AlsBlock* block, AlsBits* bits) {
  const AlsConfig& config = state->config;
  const int32_t channelBits = AlsChannelBits(config.channels);
  const int32_t rate = config.samplingFrequency;
  const int32_t delayBits = rate >= 192000 ? 7 : rate >= 96000 ? 6 : 5;
  AlsEntry* entries = state->entries + int64_t{channel} * kAlsMaxEntries;
  block->entryCount = 0;
  bool good = true;
  while (good && !bits->Flag()) {
    if (bits->IsPast()) return false;
    const auto master = static_cast<int32_t>(bits->Get(channelBits));
    if (master >= config.channels || block->entryCount == kAlsMaxEntries) return false;
    AlsEntry& entry = entries[block->entryCount++];
    entry.master = master;
    entry.taps = 0;
    if (master == channel) continue;
    entry.taps = bits->Flag() ? 6 : 3;
    for (int32_t j = 0; j < entry.taps; ++j)
      entry.weights[j] =
          static_cast<int16_t>(j == 1 ? Weight(14, 2, bits, &good) : Weight(16, 1, bits, &good));
    entry.delay = 0;
    if (entry.taps == 3) continue;
    const bool past = bits->Flag();
    const int32_t delay = static_cast<int32_t>(bits->Get(delayBits)) + 3;
    entry.delay = past ? -delay : delay;
  }
  bits->Align();
  return good;
}

void AddMaster(const AlsEntry& entry, const int32_t* master, int32_t length, int32_t* samples) {
  const int32_t from = entry.delay < 0 ? 1 - entry.delay : 1;
  const int32_t end = entry.delay > 0 ? length - 1 - entry.delay : length - 1;
  if (from < end)
    dspAlsCorrelate_32s_I(entry.weights, entry.taps, entry.delay, master + from, samples + from,
                          end - from);
}

// Undoes the correlation of all channels, each one behind its masters. `offset` is
// the block's first sample. False when channels wait for each other.
bool Decorrelate(AlsState* state, int32_t offset) {
  const int32_t channels = state->config.channels;
  for (int32_t c = 0; c < channels; ++c) state->walkState[c] = kNew;
  for (int32_t start = 0; start < channels; ++start) {
    if (state->walkState[start] != kNew) continue;
    int32_t depth = 0;
    state->walk[0] = start;
    state->walkEntry[0] = 0;
    state->walkState[start] = kWaiting;
    while (depth >= 0) {
      const int32_t c = state->walk[depth];
      const AlsBlock& block = state->blocks[c];
      if (!block.coded || state->walkEntry[depth] == block.entryCount) {
        state->walkState[c] = kReady;
        --depth;
        continue;
      }
      const AlsEntry& entry = state->entries[int64_t{c} * kAlsMaxEntries + state->walkEntry[depth]];
      if (entry.master == c) {
        ++state->walkEntry[depth];
        continue;
      }
      const uint8_t masterState = state->walkState[entry.master];
      if (masterState == kWaiting) return false;
      if (masterState == kNew) {
        ++depth;
        state->walk[depth] = entry.master;
        state->walkEntry[depth] = 0;
        state->walkState[entry.master] = kWaiting;
        continue;
      }
      // A block that is not coded has no residual.
      if (state->blocks[entry.master].coded)
        AddMaster(entry, AlsChannel(*state, entry.master) + offset, block.length,
                  AlsChannel(*state, c) + offset);
      ++state->walkEntry[depth];
    }
  }
  return true;
}

}  // namespace

bool AlsReadChannels(AlsState* state, bool randomAccess, int32_t samples, AlsBits* bits) {
  const AlsConfig& config = state->config;
  AlsDivision division;
  for (int32_t c = 0; c < config.channels; ++c) {
    if (!AlsReadDivision(config, samples, bits, &division)) return false;
    int32_t* left = AlsChannel(*state, c);
    const bool pair = config.jointStereo != 0 && c + 1 < config.channels;
    if (!pair || division.independent) {
      if (!ReadAlone(state, division, randomAccess, left, bits)) return false;
      if (!pair) continue;
    }
    int32_t* right = AlsChannel(*state, ++c);
    if (division.independent) {
      if (!AlsReadDivision(config, samples, bits, &division)) return false;
      if (!ReadAlone(state, division, randomAccess, right, bits)) return false;
      continue;
    }
    for (int32_t i = 0; i < division.count; ++i) {
      const int32_t length = division.lengths[i];
      if (!ReadCoupled(state, length, randomAccess && i == 0, left, right, bits)) return false;
      left += length;
      right += length;
    }
  }
  return true;
}

bool AlsReadCorrelated(AlsState* state, bool randomAccess, int32_t samples, AlsBits* bits) {
  const AlsConfig& config = state->config;
  AlsDivision division;
  if (!AlsReadDivision(config, samples, bits, &division)) return false;
  int32_t offset = 0;
  for (int32_t i = 0; i < division.count; ++i) {
    for (int32_t c = 0; c < config.channels; ++c) {
      AlsBlock& block = state->blocks[c];
      block.length = division.lengths[i];
      block.randomAccess = randomAccess && i == 0;
      AlsReadBlockKind(config, bits, &block);
      if (!AlsReadBlock(config, bits, &block, AlsChannel(*state, c) + offset)) return false;
      if (!ReadEntries(state, c, &block, bits)) return false;
    }
    if (!Decorrelate(state, offset)) return false;
    for (int32_t c = 0; c < config.channels; ++c)
      AlsFinishBlock(state, state->blocks[c], AlsChannel(*state, c) + offset);
    offset += division.lengths[i];
  }
  bits->Align();
  return true;
}

}  // namespace orbel
