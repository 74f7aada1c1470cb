// One channel's signal path of band replication: QMF rows of the core, the high
// band generated and adjusted, and the banks' states.
#pragma once

#include <cstdint>

#include "sbr/qmf.h"
#include "sbr/sbr_element.h"

namespace orbel {

constexpr int32_t kSbrRows = 40;  // 8 of the frame before and 32 of this one
constexpr int32_t kSbrHistoryRows = 8;
constexpr int32_t kSbrAdjustOffset = 2;  // slot l of a frame is row l + 2 of the low band
constexpr int32_t kSbrSlots = 38;        // of high band: the last envelope may run on
constexpr int32_t kSbrOverSlots = kSbrSlots - kQmfSlots;
constexpr int32_t kSbrSmoothing = 4;  // slots that smoothing looks back

// What a channel keeps. Plain data; zero is its start, and with `started` 0 nothing
// behind it is read: SbrFrameDecode clears it when it first needs it.
struct SbrChannel {
  int32_t started;
  int32_t historyFilled;  // 0: the histories are to be filled from the next gains
  int32_t noiseIndex;
  int32_t sineIndex;
  int32_t prevLA;  // 0 or -1
  float bwArray[kSbrNoiseBands];
  uint8_t sineBefore[kQmfBands];                // by QMF band: had a sinusoid in the frame before
  float gainHistory[kSbrSmoothing][kQmfBands];  // the newest row last
  float noiseHistory[kSbrSmoothing][kQmfBands];
  QmfAnalysis analysis;
  QmfSynthesis synthesis;
  alignas(32) QmfRow lowReal[kSbrRows];  // the core's 32 bands
  alignas(32) QmfRow lowImag[kSbrRows];
  alignas(32) QmfRow overReal[kSbrOverSlots];  // high band that ran past its frame
  alignas(32) QmfRow overImag[kSbrOverSlots];
};

// What a frame works with and does not keep; one for all channels of a decoder. Zero
// before its first use. In the high band place m is QMF band kx + m.
struct SbrWork {
  alignas(32) QmfRow outReal[2][kQmfSlots];
  alignas(32) QmfRow outImag[2][kQmfSlots];
  alignas(32) QmfRow highReal[kSbrSlots];
  alignas(32) QmfRow highImag[kSbrSlots];
  alignas(32) QmfRow alpha[4];  // prediction, by low band and by place
  alignas(32) QmfRow shaped[4];
  alignas(32) QmfRow energy[kSbrEnvelopes];  // of the generated band, summed over slots
  float degree[kQmfBands];                   // of aliasing, by place; real path
  float E_orig[kSbrEnvelopes][kQmfBands];
  float Q_orig[kSbrNoiseFloors][kSbrNoiseBands];
  int32_t envelopes;
  int32_t border[kSbrEnvelopes + 1];  // in slots, 0 to 38
};

// What SbrFrameDecode needs of the decoder.
struct SbrFrameContext {
  int32_t sbrMode;   // kSbrComplex or kSbrReal
  bool downsampled;  // output at the core rate
  SbrWork* work;
  SbrChannel* second;  // with parametric stereo: the second output channel's synthesis
  float* secondPcm;    // and its samples; null without
};

// Turns 1024 core samples in `pcm` into 1024 or 2048 samples of full bandwidth, in
// place. `channel` is 0 or 1, the channel's place in its element; channels of a pair
// come in this order. To be called for every channel of every frame in which the
// stream has band replication; an element without usable data passes its core on with
// an empty high band. Core samples beyond 2^24 are cut there.
void SbrFrameDecode(SbrElement* element, int32_t channel, SbrChannel* state,
                    const SbrFrameContext& context, float* pcm);

// After a change of sbrMode: what is derived from the mode starts anew.
void SbrChannelRestart(SbrChannel* state);

// The dequantised envelopes and noise floors of one channel, of a coupled pair too,
// each at most 2^64 times a balance below 2.
void SbrDequantize(const SbrElement& element, int32_t channel, int32_t bs_amp_res,
                   float (*E_orig)[kQmfBands], float (*Q_orig)[kSbrNoiseBands]);

}  // namespace orbel
