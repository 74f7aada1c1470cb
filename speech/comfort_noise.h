// The receiving side of a silent stretch: comfort noise of ITU-T G.729 Annex B in
// the variant of Annex A, from descriptors of 2 bytes and the frames between them.
#pragma once

#include <cstdint>

#include "speech/noise_excitation.h"
#include "speech/noise_post_filter.h"
#include "speech/sid_lsf.h"
#include "speech/silence_state.h"

namespace orbel {

inline constexpr uint32_t kComfortNoiseDecoderKey = 0xDEC729;

// The fields of a descriptor.
struct SidParameters {
  int16_t mode;    // predictor switch, 1 bit
  int16_t first;   // stage index, 5 bits
  int16_t second;  // stage index, 4 bits
  int16_t gain;    // index, 5 bits
};

struct ComfortNoiseDecoderState {
  SilenceStateHead head;
  SidLsfHistory lsfHistory;
  int16_t synthesis[kLpOrder + kSilenceFrame];  // the last ten samples, the frame
  int16_t excitation[kPastExcitation + kSilenceFrame];
  int16_t lspOld[kLpOrder];  // of the frame before
  int16_t badFrame;
  int16_t frameType;  // FrameNoData or FrameSid, as is previousFrameType
  SidParameters sid;  // the last descriptor's
  int16_t noiseSeed;
  int16_t pitchSharpening;
  int16_t currentGain;
  int16_t sidGain;            // of the last descriptor
  int16_t previousFrameType;  // FrameSpeech until the first frame
  int16_t energy;             // of the last excitation: energy * 2^energyExponent
  int16_t lspSid[kLpOrder];   // of the noise
  int16_t energyExponent;
  int16_t noiseSubframes;  // stored ones used up
  int32_t postFilter;      // 0 off, else on
  NoisePostFilterState postFilterMemory;
  int16_t highPassMemory[6];
};

// Makes the state anew but for the scratch, whose base it takes from the state as
// it finds it: null, or kSilenceScratchBytes. -5 for a mode above 4.
int32_t ComfortNoiseDecoderInit(ComfortNoiseDecoderState* state, int32_t mode);

// One frame of 80 samples. `bits` is not null; its 2 bytes are read for FrameSid
// and FrameSidAfterSpeech, the other type is FrameNoData. Returns 0, or -1 with
// nothing changed: a null pointer, a state that is not set up or has no scratch,
// an unknown type.
int32_t ComfortNoiseDecodeFrame(ComfortNoiseDecoderState* state, const uint8_t* bits,
                                int32_t frameType, int16_t* pcm);

}  // namespace orbel
