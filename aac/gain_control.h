// Gain control of object type SSR (ISO/IEC 14496-3, subpart 4): an encoder turns
// the level of a band before its transform, and the decoder turns it back.
#pragma once

#include <cstdint>

#include "aac/bit_reader.h"
#include "aac/channel_stream.h"

namespace orbel {

constexpr int32_t kSsrBands = 4;
constexpr int32_t kSsrBandLength = 256;  // lines and samples of a band
constexpr int32_t kSsrShortLength = 32;  // lines of a band of a short window

// A channel's gain control data of the frame; max_band 0 if it has none.
using GainControlRecord = GainControlData;

// What a frame leaves to the next one: the gain of its last window, whose second
// half the next window's first half overlaps. Gains are powers of two, in eighths
// of the exponent, so that a cleared record is the state of a start.
struct GainState {
  int16_t fragment[kSsrBands][kSsrBandLength];  // that of band 0 stays clear
};

// gain_control_data(); window_sequence is known by then.
void GainControlParse(IndividualChannelStream* ics, BitReader* reader);

// Keeps what the frame's filterbank needs of a parse record that is used again.
void CopyGainControl(const IndividualChannelStream& ics, GainControlRecord* record);

void ResetGainControl(GainControlRecord* record, GainState* state);

// Undoes the gain of band 1, 2 or 3 in the windowed output of the inverse
// transform, 512 samples or eight times 64, in place, and brings the state up to
// date. To be called for every frame, whatever the frame's max_band.
void ApplyGainControl(const GainControlRecord& record, int32_t window_sequence, int32_t band,
                      GainState* state, float* windowed);

}  // namespace orbel
