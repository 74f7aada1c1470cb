// The lossless decoder (ISO/IEC 14496-3, subpart 11: MPEG-4 ALS): frames to
// interleaved PCM of the stream's own sample size. The adaptive predictor
// (RLS-LMS) is not decoded.
//
// Plain functions over a state record of the caller's and one block of memory;
// nothing is allocated. One frame costs time in proportion to its samples times the
// order of prediction, and to those times 6 * kAlsMaxEntries with correlation between
// channels. A block counts for that as at least as many samples as the order has
// coefficients.
#pragma once

#include <cstdint>

#include "als/als_config.h"
#include "als/als_state.h"

namespace orbel {

// The most memory that a stream gets, in bytes. It bounds channels times frame
// length: 1000 channels of frames of 64000 samples are just within.
constexpr uint64_t kAlsMemoryLimit = uint64_t{256} << 20;

// Results, with the values that the inner functions of the family have.
constexpr int32_t kAlsGood = 0;
constexpr int32_t kAlsCut = 1;          // the data ends before the frame does
constexpr int32_t kAlsNoMemory = 3;     // above kAlsMemoryLimit
constexpr int32_t kAlsBad = 4;          // the frame is not valid
constexpr int32_t kAlsNoRoom = 7;       // the output is too small
constexpr int32_t kAlsUnsupported = 8;  // the stream uses the adaptive predictor

// Whether the stream can be decoded, and in how many bytes.
int32_t AlsMemorySize(const AlsConfig& config, uint64_t* size);

// Sets the state up on `memory`, of that size and at a multiple of 16. The bytes
// that the configuration was parsed from are read once more, and no longer needed
// afterwards.
void AlsInit(AlsState* state, const AlsConfig& config, uint8_t* memory);

// The next frame is the first one, with nothing before it.
void AlsReset(AlsState* state);

struct AlsOutput {
  uint64_t consumed;  // bytes of data
  uint64_t bytes;     // of output that were written
  uint32_t samples;   // per channel that the call stands for; with a bad frame this may
                      // be more than was written
};

// Decodes the next frame, or with `unit` all frames of an access unit that there is
// room for, and at least one. Returns
//   kAlsGood
//   kAlsCut     the frame is not whole yet, or the stream has ended. *result tells
//               what can be dropped; the next call is given the rest and more.
//   kAlsNoRoom  not even one frame has room. Nothing has changed.
//   kAlsBad     the frames that are lost are silence, as far as there is room: those up
//               to the next random-access frame, where there is one, with the data
//               for them; otherwise one frame, and all of the data. Until the
//               next random-access frame there is nothing to predict from, so that
//               frames before it are lost too.
// In a unit a frame cannot be cut: it is bad. A frame is also bad when much more data
// than its samples need do not end it, and when the random-access unit has a known size
// and would not end there.
int32_t AlsDecode(AlsState* state, const uint8_t* data, uint64_t size, bool unit, uint8_t* output,
                  uint64_t room, AlsOutput* result);

// Whether the stream is all decoded.
bool AlsEnded(const AlsState& state);

}  // namespace orbel
