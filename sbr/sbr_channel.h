// One channel's signal path of band replication: QMF rows of the core, the high
// band generated and adjusted, and the banks' states.
#pragma once

#include <cstdint>

#include "sbr/qmf.h"
#include "sbr/sbr_element.h"

namespace orbel {

constexpr int32_t kSbrRows = 40;        // 8 of the frame before and 32 of this one
constexpr int32_t kSbrHistoryRows = 8;

struct SbrChannel {
  int32_t started;  // 0: everything behind this is still to be cleared
  float bwArray[kSbrNoiseBands + 1];
  float sineIndexMapped[2][kQmfBands];  // the frame before, this one
  int32_t noiseIndex;
  int32_t sineIndex;
  int32_t historyFill;
  int32_t prevLA;
  float gainHistory[5][kSbrBandRoom];
  float noiseHistory[5][kSbrBandRoom];
  float E_orig[kSbrEnvelopes][kQmfBands];
  float Q_orig[kSbrNoiseFloors + 1][kSbrNoiseBands + 1];
  QmfAnalysis analysis;
  QmfSynthesis synthesis;
  alignas(32) QmfRow lowReal[kSbrRows];
  alignas(32) QmfRow lowImag[kSbrRows];
  alignas(32) QmfRow highReal[kSbrRows];
  alignas(32) QmfRow highImag[kSbrRows];
};

// What a frame works with and does not keep; one for all channels of a decoder.
struct SbrWork {
  alignas(32) QmfRow outReal[2][kQmfSlots];
  alignas(32) QmfRow outImag[2][kQmfSlots];
  alignas(32) float scratch[8192];
};

// What SbrFrameDecode needs of the decoder.
struct SbrFrameContext {
  int32_t sbrMode;      // kSbrComplex or kSbrReal
  bool downsampled;     // output at the core rate
  SbrWork* work;
  SbrChannel* second;   // with parametric stereo: the second output channel's synthesis
  float* secondPcm;     // and its samples; null without
};

// Turns 1024 core samples in `pcm` into 1024 or 2048 samples of full bandwidth, in
// place. `channel` is 0 or 1, the channel's place in its element. To be called for
// every channel of every frame in which the stream has band replication; an element
// without usable data passes its core on with an empty high band.
void SbrFrameDecode(SbrElement* element, int32_t channel, SbrChannel* state,
                    const SbrFrameContext& context, float* pcm);

// After a change of sbrMode: what is derived from the mode starts anew.
void SbrChannelRestart(SbrChannel* state);

// The parts, for the driver and tests.
void SbrDequantize(const SbrElement& element, int32_t bs_amp_res, SbrChannel* first,
                   SbrChannel* second);

}  // namespace orbel
