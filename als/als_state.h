// The lossless decoder's records. The state record holds pointers into one block of
// memory that AlsInit lays out.
#pragma once

#include <cstdint>

#include "als/als_config.h"

namespace orbel {

// Correlation entries that a channel may have in one block. More than any encoder
// sends, and a bound on what a block can cost.
constexpr int32_t kAlsMaxEntries = 64;
constexpr int32_t kAlsMaxBlocks = 32;  // of a channel in a frame

// One reference of a channel to another one's residual.
struct AlsEntry {
  int32_t master;
  int32_t taps;   // 3, or 6 with a delay
  int32_t delay;  // samples; negative: from the past
  int16_t weights[6];
};

// What a block says of itself in front of its residual.
struct AlsBlock {
  int32_t length;  // samples
  bool coded;      // otherwise constant, of `value`
  bool difference;
  bool randomAccess;
  bool longTerm;
  int32_t value;
  int32_t shift;
  int32_t order;
  int32_t gains[5];
  int32_t lag;
  int32_t entryCount;
  int16_t* quantised;  // `order` coefficients, -64 to 63
};

// The dictionary of packed differences, kept over the frames of a stream.
constexpr int32_t kAlsCodes = 32768;
struct AlsDictionary {
  int32_t width;
  int32_t bump;
  int32_t next;
  int32_t frozen;
  uint16_t prefix[kAlsCodes];
  uint16_t length[kAlsCodes];
  uint8_t last[kAlsCodes];
  uint8_t first[kAlsCodes];
};

struct AlsFloatChannel {
  uint32_t factor;  // of the common multiplier, without its leading one; 0: none
  int32_t shift;    // of the exponent
};

// Checksums of the samples against the one in the configuration.
constexpr int32_t kAlsChecksumUnknown = 0;
constexpr int32_t kAlsChecksumGood = 1;
constexpr int32_t kAlsChecksumBad = 2;

// What cannot be decoded after a bad frame.
constexpr int32_t kAlsNothingLost = 0;
constexpr int32_t kAlsUnitLost = 1;  // what comes before the next random-access frame
constexpr int32_t kAlsAllLost = 2;   // all: nothing tells where that one begins

struct AlsState {
  AlsConfig config;
  uint32_t frameNumber;  // of the next frame
  uint64_t samplesDone;  // per channel
  uint32_t crc;
  int32_t checksum;
  int32_t lost;
  int32_t unitKnown;  // the present random-access unit said how long it is
  uint64_t unitLeft;  // bytes of it, from the next frame on
  uint32_t* units;    // bytes of each, where the configuration has them
  int32_t unitOpen;   // frames of an access unit are out, and a rest of it is to come
  uint64_t skip;      // bytes of one that was given up, still to come

  // Per channel `history` samples of the past and room for a frame, `stride` apart.
  int32_t* samples;
  int32_t* work;  // the same for one more signal
  int32_t history;
  int32_t stride;
  int32_t* saved;            // history samples that a shift has changed
  int32_t* coefficients[2];  // two sets, of which one grows out of the other
  AlsBlock* blocks;          // one for each channel with correlation, otherwise one
  int16_t* quantised;        // maxOrder for each of those blocks
  AlsEntry* entries;         // kAlsMaxEntries for each channel
  int32_t* walk;             // channels that wait for their masters
  int32_t* walkEntry;        // and the entry that each of them has come to
  uint8_t* walkState;        // a channel's: new, waiting, ready
  int32_t* position;         // output position of each channel
  AlsFloatChannel* floats;
  AlsDictionary* dictionary;
  uint8_t* characters;  // four for each sample of a frame
};

// What a host can know of a lossless stream.
struct AlsInfo {
  AlsConfig config;
  uint32_t frames;   // done, the lost ones included
  uint64_t samples;  // per channel, likewise
  int32_t checksum;  // kAlsChecksum..., of all samples, once the last one is there
};

inline int32_t* AlsChannel(const AlsState& state, int32_t channel) {
  return state.samples + static_cast<int64_t>(channel) * state.stride + state.history;
}

}  // namespace orbel
